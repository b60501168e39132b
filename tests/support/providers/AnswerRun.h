#pragma once

#include "core/async/TaskScope.h"
#include "providers/LLMProvider.h"
#include "support/core/EventLoop.h"

#include <QStringList>

namespace velmo {

/// Reads one answer to its end, as the session does.
class AnswerRun {
public:
    explicit AnswerRun(AnswerChannel::Reader reader)
        : reader_(std::move(reader))
    {
        tasks_.start(readAll());
    }
    AnswerRun(const AnswerRun&) = delete;
    AnswerRun& operator=(const AnswerRun&) = delete;

    /// Runs the event loop until the answer has ended.
    [[nodiscard]] bool waitForEnd(std::chrono::milliseconds guard = kGuard)
    {
        return turnUntil([this] { return ended_; }, guard);
    }

    [[nodiscard]] const QStringList& pieces() const { return pieces_; }
    [[nodiscard]] bool hasEnded() const { return ended_; }
    [[nodiscard]] const std::optional<StreamFailure>& failure() const { return failure_; }
    [[nodiscard]] QString failureText() const
    {
        return failure_ ? localizedDescription(*failure_) : QStringLiteral("(no failure)");
    }

private:
    async::Task<> readAll()
    {
        while (true) {
            const auto batch = co_await reader_.nextBatch();
            if (batch.empty())
                break;
            for (const QString& piece : batch)
                pieces_.append(piece);
        }
        failure_ = reader_.error();
        ended_ = true;
    }

    AnswerChannel::Reader reader_;
    QStringList pieces_;
    std::optional<StreamFailure> failure_;
    bool ended_ = false;
    async::TaskScope tasks_;
};

} // namespace velmo
