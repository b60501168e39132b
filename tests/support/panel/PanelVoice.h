#pragma once

#include "core/async/TaskScope.h"
#include "fakes/FakeAudioRecorder.h"
#include "panel/PanelDesktop.h"
#include "support/core/EventLoop.h"
#include "voice/ReplicateWhisperService.h"

#include <QDir>
#include <QJsonDocument>
#include <QJsonObject>
#include <deque>

namespace velmo {

/// A prediction service that answers when the test says so: the creation at once, the poll later.
class FakePredictions final : public HttpClient {
public:
    [[nodiscard]] std::unique_ptr<HttpExchange> send(HttpRequest request, HeadHandler onHead) override
    {
        if (request.method == QByteArrayLiteral("POST")) {
            ++created;
            answer(onHead,
                   R"({"urls":{"get":"https://api.replicate.com/v1/predictions/1"},"status":"starting"})");
        } else {
            polls_.push_back(std::move(onHead));
        }
        return std::make_unique<HttpExchange>();
    }

    [[nodiscard]] bool isPolled() const { return !polls_.empty(); }
    void succeed(const QString& transcript)
    {
        finish({{QStringLiteral("status"), QStringLiteral("succeeded")},
                {QStringLiteral("output"), transcript}});
    }
    void fail(const QString& error)
    {
        finish({{QStringLiteral("status"), QStringLiteral("failed")}, {QStringLiteral("error"), error}});
    }

    int created = 0;

private:
    class Body final : public HttpBody {
    public:
        explicit Body(QByteArray bytes)
            : bytes_(std::move(bytes))
        {}
        void read(Consumer consumer, EndHandler onEnd) override
        {
            consumer(bytes_);
            onEnd(std::nullopt);
        }

    private:
        QByteArray bytes_;
    };

    static void answer(const HeadHandler& onHead, const QByteArray& body)
    {
        constexpr int kOk = 200;
        onHead(HttpResponse{{kOk, {}}, std::make_unique<Body>(body)});
    }
    void finish(const QJsonObject& prediction)
    {
        const HeadHandler onHead = std::move(polls_.front());
        polls_.pop_front();
        answer(onHead, QJsonDocument(prediction).toJson());
    }

    std::deque<HeadHandler> polls_;
};

/// All that a panel with a voice works with. Time stands still but for what a test lets pass.
struct PanelVoice {
    [[nodiscard]] std::shared_ptr<ReplicateWhisperService> makeService()
    {
        return std::make_shared<ReplicateWhisperService>(
            QStringLiteral("replicate-key"), QStringLiteral("version"),
            VoiceCollaborators{recorders, predictions,
                               [](std::chrono::milliseconds) -> async::Task<> { co_return; }});
    }
    void addTo(PanelDesktop& desktop)
    {
        desktop.startLasting = [this](async::Task<> task) { tasks.start(std::move(task)); };
        desktop.now = [this] { return time; };
    }
    /// The sound has been read and sent; the text is being waited for.
    [[nodiscard]] bool awaitPoll() const
    {
        return turnUntil([this] { return predictions.isPolled(); });
    }
    [[nodiscard]] bool hasFiles() const
    {
        return std::any_of(recorders.requestedPaths.begin(), recorders.requestedPaths.end(),
                           [](const QString& path) { return QFile::exists(path); });
    }

    FakeAudioRecorders recorders;
    FakePredictions predictions;
    Clock::TimePoint time = Clock::now();
    async::TaskScope tasks;
};

} // namespace velmo
