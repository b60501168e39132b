#pragma once

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QThread>
#include <chrono>
#include <functional>

namespace velmo {

/// Long enough for any machine; a test that gets there has failed.
inline constexpr std::chrono::milliseconds kGuard{10'000};

/// Runs the event loop until the predicate holds. False: the guard ran out first.
[[nodiscard]] inline bool turnUntil(const std::function<bool()>& predicate,
                                    std::chrono::milliseconds guard = kGuard)
{
    QElapsedTimer timer;
    timer.start();
    while (!predicate()) {
        if (timer.elapsed() > guard.count())
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents);
        QThread::msleep(1);
    }
    return true;
}

/// Runs everything that is due on the main loop, and what that makes due. Nothing that waits for a clock or
/// for another thread is awaited.
inline void settle()
{
    constexpr int kTurns = 20;
    for (int turn = 0; turn < kTurns; ++turn)
        QCoreApplication::processEvents(QEventLoop::AllEvents);
}

/// Runs the event loop for a time.
inline void turnFor(std::chrono::milliseconds duration)
{
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < duration.count()) {
        QCoreApplication::processEvents(QEventLoop::AllEvents);
        QThread::msleep(1);
    }
}

} // namespace velmo
