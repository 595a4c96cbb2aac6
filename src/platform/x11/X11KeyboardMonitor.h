#pragma once

#include "platform/api/KeyboardMonitor.h"

#include <memory>

// Watches every key press on the X display (XWayland included) through the RECORD extension,
// on a thread of its own with connections of its own, and turns each press into the key's
// text in the current layout with xkbcommon (compose sequences and dead keys included).
class X11KeyboardMonitor final : public KeyboardMonitor {
public:
    X11KeyboardMonitor();
    ~X11KeyboardMonitor() override;

    bool start(Handler onKeyDown, LostHandler onLost) override;
    void stop() override;
    bool isRunning() const override;
    QString lastError() const override { return m_lastError; }

    struct Session;

private:
    std::unique_ptr<Session> m_session;
    QString m_lastError;
};
