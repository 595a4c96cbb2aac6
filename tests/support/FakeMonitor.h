#pragma once

#include "platform/api/KeyboardMonitor.h"

#include <thread>

// A monitor that refuses a chosen number of starts, then runs until told its connection broke.
class FakeMonitor final : public KeyboardMonitor {
public:
    int refusals = 0;
    int starts = 0;
    int stops = 0;
    Handler keys;
    LostHandler lost;

    bool start(Handler onKeyDown, LostHandler onLost) override
    {
        ++starts;
        if (refusals > 0) {
            --refusals;
            return false;
        }
        m_running = true;
        keys = std::move(onKeyDown);
        lost = std::move(onLost);
        return true;
    }
    void stop() override
    {
        ++stops;
        m_running = false;
    }
    bool isRunning() const override { return m_running; }
    QString lastError() const override
    {
        return QStringLiteral("The X server has no RECORD extension.");
    }
    // What the monitor thread does when the server goes away.
    void breakConnection()
    {
        m_running = false;
        std::thread(lost).join();
    }

private:
    bool m_running = false;
};
