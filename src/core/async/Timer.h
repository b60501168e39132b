#pragma once

#include "core/async/TaskContext.h"

#include <QTimer>
#include <chrono>

namespace velmo::async {

/// Waits for a time on the monotonic clock, within a millisecond. Main thread.
class SleepWait final : public Wait {
public:
    explicit SleepWait(std::chrono::milliseconds duration)
        : duration_(duration)
    {}
    ~SleepWait() override { endWait(); }
    void await_resume() const { throwIfCancelled(); }

private:
    bool arm() override
    {
        timer_.setSingleShot(true);
        timer_.setTimerType(Qt::PreciseTimer);
        timer_.callOnTimeout([this] { wake(); });
        timer_.start(duration_);
        return true;
    }
    void disarm() override { timer_.stop(); }

    std::chrono::milliseconds duration_;
    QTimer timer_;
};

[[nodiscard]] inline SleepWait sleepFor(std::chrono::milliseconds duration)
{
    return SleepWait(duration);
}

/// Waits for the next turn of the main loop.
[[nodiscard]] inline SleepWait nextTurn()
{
    return SleepWait(std::chrono::milliseconds(0));
}

} // namespace velmo::async
