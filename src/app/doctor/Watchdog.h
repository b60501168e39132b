#pragma once

#include "core/Clock.h"

#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace velmo {

/// For what must happen on the main thread and may hang: acts on a thread of its own when the time is up,
/// unless it is gone by then. The action should end the process, since nobody else will.
class Watchdog {
public:
    Watchdog(Clock::TimePoint end, std::function<void()> action)
        : thread_([this, end, action = std::move(action)] {
            std::unique_lock lock(mutex_);
            if (!changed_.wait_until(lock, end, [this] { return isCalledOff_; }))
                action();
        })
    {}
    Watchdog(const Watchdog&) = delete;
    Watchdog& operator=(const Watchdog&) = delete;
    /// Waits for an action that has begun.
    ~Watchdog()
    {
        {
            const std::scoped_lock lock(mutex_);
            isCalledOff_ = true;
        }
        changed_.notify_all();
        thread_.join();
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    bool isCalledOff_ = false;
    std::thread thread_; ///< Last: it uses the members above.
};

} // namespace velmo
