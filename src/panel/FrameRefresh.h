#pragma once

#include <QElapsedTimer>
#include <QTimer>
#include <algorithm>
#include <functional>

namespace velmo {

/// For views of what changes faster than a screen shows: refreshes on a later turn of the main loop, and no
/// more often than once a frame. Main thread.
class FrameRefresh {
public:
    explicit FrameRefresh(std::function<void()> refresh)
    {
        timer_.setSingleShot(true);
        timer_.setTimerType(Qt::PreciseTimer);
        timer_.callOnTimeout([this, refresh = std::move(refresh)] {
            sinceLast_.start();
            refresh();
        });
    }

    void request()
    {
        if (timer_.isActive())
            return;
        constexpr qint64 kFrameMilliseconds = 16;
        const qint64 passed = sinceLast_.isValid() ? sinceLast_.elapsed() : kFrameMilliseconds;
        timer_.start(static_cast<int>(std::max<qint64>(kFrameMilliseconds - passed, 0)));
    }

    /// What was requested does not come any more.
    void cancel() { timer_.stop(); }

private:
    QTimer timer_;
    QElapsedTimer sinceLast_;
};

} // namespace velmo
