#pragma once

#include <chrono>
#include <functional>

class QObject;

// Runs work on the main thread after a delay. A delayed step is tied to a context object and
// silently dropped when that object is gone, so a destroyed service cancels its own timeline.
class Scheduler {
public:
    virtual ~Scheduler() = default;
    // May be called from any thread; the work always runs on the context's thread.
    virtual void schedule(std::chrono::milliseconds delay, QObject* context,
                          std::function<void()> work) = 0;
};
