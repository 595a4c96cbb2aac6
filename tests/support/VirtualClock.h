#pragma once

#include "platform/api/Scheduler.h"

#include <QPointer>
#include <map>
#include <mutex>
#include <vector>

// Delayed work on a virtual clock: time moves only when the test says so. Safe to feed from
// any thread, since the keyboard monitor's thread schedules hand-offs; run from the test's.
class VirtualClock final : public Scheduler {
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
        m_queue.emplace(std::pair{m_now + delay.count(), m_sequence++},
                        Pending{delay, QPointer<QObject>(context), std::move(work)});
    }

    // Moves time on by `ms`, running what falls due in order; work whose context is gone is
    // dropped, as a destroyed service cancels its steps.
    void advance(qint64 ms)
    {
        std::unique_lock lock(m_lock);
        const qint64 until = m_now + ms;
        while (!m_queue.empty() && m_queue.begin()->first.first <= until) {
            auto entry = m_queue.extract(m_queue.begin());
            m_now = entry.key().first;
            lock.unlock();
            if (entry.mapped().context)
                entry.mapped().work();
            lock.lock();
        }
        m_now = until;
    }

    // Runs everything queued so far, whatever its delay; returns how many ran.
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

    // Everything queued so far, in time order, taken off the clock.
    std::vector<Pending> takePending()
    {
        std::lock_guard lock(m_lock);
        std::vector<Pending> out;
        for (auto& [when, pending] : m_queue)
            out.push_back(std::move(pending));
        m_queue.clear();
        return out;
    }

    qint64 now() const
    {
        std::lock_guard lock(m_lock);
        return m_now;
    }

private:
    mutable std::mutex m_lock;
    qint64 m_now = 0;
    int m_sequence = 0;
    std::map<std::pair<qint64, int>, Pending> m_queue;
};
