#pragma once

#include "KeyEvent.h"

#include <QString>
#include <functional>

// Watches the keys pressed in every application. The handler runs on the monitor's own thread
// for each key press, in order.
class KeyboardMonitor {
public:
    using Handler = std::function<void(const KeyEvent&)>;

    virtual ~KeyboardMonitor() = default;

    // Starts watching and returns once keys are being seen; false, with the reason in
    // lastError(), when the system does not allow it.
    virtual bool start(Handler onKeyDown) = 0;
    virtual void stop() = 0;
    virtual bool isRunning() const = 0;
    virtual QString lastError() const = 0;
};
