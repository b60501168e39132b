#pragma once

#include "platform/ApplicationInstance.h"

#include <utility>

namespace velmo {

/// A place that the test asks through.
class FakeApplicationInstance final : public ApplicationInstance {
public:
    [[nodiscard]] RemoteOutcome claim(std::optional<RemoteVerb>) override
    {
        return {RemoteOutcome::Kind::First};
    }
    [[nodiscard]] RemoteOutcome deliver(RemoteVerb) override { return {}; }
    void serve(Handler handler) override { handler_ = std::move(handler); }
    [[nodiscard]] bool awaitEnd(qint32, std::chrono::milliseconds) override { return true; }
    void setProblemHandler(std::function<void(const QString&)> handler) override
    {
        onProblem = std::move(handler);
    }

    /// As another start does.
    [[nodiscard]] RemoteReply ask(RemoteVerb verb) const { return handler_(verb); }

    std::function<void(const QString&)> onProblem;

private:
    Handler handler_;
};

} // namespace velmo
