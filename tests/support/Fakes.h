#pragma once

#include "platform/api/ClipboardReader.h"
#include "platform/api/FrontmostApplication.h"
#include "platform/api/Scheduler.h"

#include <QObject>
#include <QPointer>
#include <mutex>
#include <vector>

// A scheduler on a virtual clock: work waits until the test runs it. Safe to feed from any
// thread, since the monitor thread schedules hand-offs.
class FakeScheduler final : public Scheduler {
public:
    struct Pending {
        std::chrono::milliseconds delay;
        QPointer<QObject> context;
        std::function<void()> work;
    };

    void schedule(std::chrono::milliseconds delay, QObject* context,
                  std::function<void()> work) override
    {
        std::lock_guard lock(m_lock);
        m_pending.push_back({delay, context, std::move(work)});
    }

    std::vector<Pending> takePending()
    {
        std::lock_guard lock(m_lock);
        return std::exchange(m_pending, {});
    }

    // Runs everything queued so far whose context still exists; returns how many ran.
    int runAll()
    {
        int ran = 0;
        for (Pending& p : takePending()) {
            if (!p.context)
                continue;
            p.work();
            ++ran;
        }
        return ran;
    }

private:
    std::mutex m_lock;
    std::vector<Pending> m_pending;
};

class FakeClipboard final : public ClipboardReader {
public:
    std::optional<QString> plainText() const override
    {
        std::lock_guard lock(m_lock);
        return m_text;
    }
    void setText(std::optional<QString> text)
    {
        std::lock_guard lock(m_lock);
        m_text = std::move(text);
    }

private:
    mutable std::mutex m_lock;
    std::optional<QString> m_text;
};

class FakeFrontmost final : public FrontmostApplication {
public:
    bool isOwnApplicationFrontmost() const override { return own.load(); }
    std::atomic<bool> own{false};
};
