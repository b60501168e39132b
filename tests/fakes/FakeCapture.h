#pragma once

#include "core/SessionCollaborators.h"
#include "core/async/OneShot.h"

#include <QSize>
#include <vector>

namespace velmo {

/// A capture whose result comes when the test says so. Like the real one it stops when its task is cancelled.
class FakeCapture final : public AnnotatedCapture {
public:
    using Outcome = Result<QByteArray, PlatformError>;

    struct Request {
        std::optional<quint32> displayID;
        QSize overlaySize;
        QImage overlay;
        bool isCancelled = false; ///< The waiting task was told to stop.
        async::OneShot<std::optional<Outcome>> result;
    };

    void freezeScreen(std::optional<quint32> displayID) override
    {
        frozen.push_back(displayID);
        if (onFreeze)
            onFreeze();
    }

    async::Task<Outcome> captureWithAnnotations(std::optional<quint32> displayID,
                                                QImage drawingOverlay) override
    {
        const auto request =
            std::make_shared<Request>(Request{displayID, drawingOverlay.size(), drawingOverlay, false, {}});
        requests.push_back(request);
        std::optional<Outcome> outcome;
        try {
            outcome = co_await request->result.value();
        } catch (const async::Cancelled&) {
            request->isCancelled = true;
            throw;
        }
        if (!outcome)
            throw async::Cancelled{};
        co_return std::move(*outcome);
    }

    void succeed(size_t request, const QByteArray& image)
    {
        requests.at(request)->result.resolve(Outcome(image));
    }
    void fail(size_t request, const QString& description)
    {
        requests.at(request)->result.resolve(
            Outcome(Failure{PlatformError{PlatformError::Kind::Failed, description}}));
    }
    /// The capture itself gives up with the third outcome, though nobody cancelled its task.
    void giveUp(size_t request) { requests.at(request)->result.resolve(std::nullopt); }

    /// Every call of freezeScreen().
    std::vector<std::optional<quint32>> frozen;
    std::function<void()> onFreeze;
    /// In the order in which the captures began.
    std::vector<std::shared_ptr<Request>> requests;
};

} // namespace velmo
