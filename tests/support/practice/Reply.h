#pragma once

#include <QByteArray>
#include <QList>

#include <chrono>
#include <functional>

namespace velmo::practice {

/// What a connection does next while it answers.
struct Step {
    enum class Kind {
        Write,  ///< Send the bytes, and push them to the network before the next step.
        Wait,   ///< Do nothing for a while.
        Finish, ///< The answer is complete; the connection is used again if the client allows it.
        Close,  ///< Send what is still queued, then close in good order.
        Reset,  ///< Tear the connection down, so that the client sees a reset.
        Hang,   ///< Say nothing more, and keep the connection until the client leaves.
    };

    Kind kind = Kind::Finish;
    QByteArray bytes{};
    std::chrono::milliseconds pause{0};

    [[nodiscard]] static Step write(const QByteArray& bytes) { return {.kind = Kind::Write, .bytes = bytes}; }
    [[nodiscard]] static Step wait(std::chrono::milliseconds pause)
    {
        return {.kind = Kind::Wait, .pause = pause};
    }
    [[nodiscard]] static Step finish() { return {.kind = Kind::Finish}; }
    [[nodiscard]] static Step close() { return {.kind = Kind::Close}; }
    [[nodiscard]] static Step reset() { return {.kind = Kind::Reset}; }
    [[nodiscard]] static Step hang() { return {.kind = Kind::Hang}; }
};

/// An answer: each call returns the next step, the last of which is neither Write nor Wait. A generator
/// rather than a list, so that an answer of any size needs no memory.
using Reply = std::function<Step()>;

/// The reply that performs these steps, then finishes.
[[nodiscard]] Reply replyOf(const QList<Step>& steps);

} // namespace velmo::practice
