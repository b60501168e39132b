#pragma once

#include <chrono>

namespace velmo {

/// The program's one source of time.
namespace Clock {

using TimePoint = std::chrono::steady_clock::time_point;

/// Monotonic: for waits, holds and durations. Any thread.
[[nodiscard]] inline TimePoint now()
{
    return std::chrono::steady_clock::now();
}

} // namespace Clock

} // namespace velmo
