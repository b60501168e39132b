#pragma once

#include <QCoreApplication>
#include <QTimer>
#include <QTimerEvent>
#include <chrono>
#include <gtest/gtest.h>

namespace velmo {

/// The clock of timers that look at something every second. While it exists, a second passes for such a timer
/// when a test says so, and at no other time.
class FakeSeconds final : public QObject {
public:
    FakeSeconds() { QCoreApplication::instance()->installEventFilter(this); }

    /// Nothing happens when the timer does not run.
    void pass(const QTimer& timer)
    {
        if (!timer.isActive())
            return;
        ASSERT_TRUE(looksEverySecond(timer)) << timer.interval() << " ms";
        passing_ = &timer;
        QTimerEvent elapsed(timer.timerId());
        // Only the clock may tell a timer that it has elapsed, and this is the clock.
        QCoreApplication::sendEvent(const_cast<QTimer*>(&timer), &elapsed);
        passing_ = nullptr;
    }

protected:
    bool eventFilter(QObject* receiver, QEvent* event) override
    {
        if (event->type() != QEvent::Timer || receiver == passing_)
            return false;
        const auto* timer = qobject_cast<const QTimer*>(receiver);
        return timer != nullptr && looksEverySecond(*timer);
    }

private:
    static bool looksEverySecond(const QTimer& timer)
    {
        return !timer.isSingleShot() && timer.intervalAsDuration() == std::chrono::seconds(1);
    }

    const QTimer* passing_ = nullptr;
};

} // namespace velmo
