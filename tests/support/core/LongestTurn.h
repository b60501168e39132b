#pragma once

#include "core/Clock.h"
#include "support/core/EventLoop.h"

#include <algorithm>

namespace velmo::test {

/// The longest that the main thread was away from its loop, in milliseconds.
class LongestTurn {
public:
    /// Something that the main thread does.
    template <typename Work>
    void run(const Work& work)
    {
        const auto begin = Clock::now();
        work();
        const std::chrono::duration<double, std::milli> turn = Clock::now() - begin;
        longest_ = std::max(longest_, turn.count());
    }
    [[nodiscard]] bool turnUntil(const std::function<bool()>& predicate)
    {
        return velmo::turnUntil([&] {
            run([] { QCoreApplication::processEvents(); });
            return predicate();
        });
    }
    [[nodiscard]] double milliseconds() const { return longest_; }

    /// A server that does not answer would hold it for ever; a loaded machine does not for so long.
    static constexpr double kGuard = 300;

private:
    double longest_ = 0;
};

} // namespace velmo::test
