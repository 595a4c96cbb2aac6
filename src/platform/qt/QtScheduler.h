#pragma once

#include "platform/api/Scheduler.h"

// Scheduler on Qt timers in the context object's thread.
class QtScheduler final : public Scheduler {
public:
    void schedule(std::chrono::milliseconds delay, QObject* context,
                  std::function<void()> work) override;
};
