#pragma once

#include "platform/api/KeyEvent.h"

#include <QString>
#include <functional>

// Watches the keys pressed in every application. The handler runs on the monitor's own thread
// for each key press, in order.
class KeyboardMonitor {
public:
    using Handler = std::function<void(const KeyEvent&)>;
    using LostHandler = std::function<void()>;

    virtual ~KeyboardMonitor() = default;

    // Starts watching and returns once keys are being seen; false, with the reason in
    // lastError(), when the system does not allow it. `onLost` (may be empty) runs once, on the
    // monitor's thread, when the connection to the system breaks later on; from then on the
    // monitor is not running, and start() may be called again once the system is back.
    // It never runs for a stop().
    virtual bool start(Handler onKeyDown, LostHandler onLost) = 0;
    virtual void stop() = 0;
    virtual bool isRunning() const = 0;
    virtual QString lastError() const = 0;
};
