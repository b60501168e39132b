#pragma once

#include <QCoreApplication>
#include <chrono>
#include <functional>
#include <thread>

namespace velmo::test {

/// Long enough for a loaded machine; a condition that holds ends the wait at once.
inline constexpr std::chrono::milliseconds kPatience{10'000};

/// Waits until the condition holds, running the main loop meanwhile where there is one. False when it never
/// does.
inline bool awaitCondition(const std::function<bool()>& condition,
                           std::chrono::milliseconds limit = kPatience)
{
    const auto end = std::chrono::steady_clock::now() + limit;
    for (;;) {
        if (QCoreApplication::instance() != nullptr)
            QCoreApplication::processEvents();
        if (condition())
            return true;
        if (std::chrono::steady_clock::now() >= end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

} // namespace velmo::test
