#pragma once

#include "core/async/OneShot.h"
#include "core/async/TaskScope.h"
#include "fakes/FakeAudioRecorder.h"
#include "platform/linux/CurlHttpClient.h"
#include "support/core/Environment.h"
#include "support/core/EventLoop.h"
#include "support/core/LogLines.h"
#include "support/core/Printing.h"
#include "support/practice/PracticeServer.h"
#include "voice/ReplicateWhisperService.h"

#include <QDir>
#include <QFileInfo>
#include <QTemporaryDir>
#include <gmock/gmock.h>

namespace velmo {

/// The client that the program uses, watched.
class WatchedClient final : public HttpClient {
public:
    std::unique_ptr<HttpExchange> send(HttpRequest request, HeadHandler onHead) override
    {
        if (onSend)
            onSend(request);
        requests.push_back(request);
        if (limit)
            request.idleTimeout = request.totalTimeout = *limit;
        return client_.send(std::move(request), std::move(onHead));
    }

    std::vector<HttpRequest> requests;
    std::function<void(const HttpRequest&)> onSend;
    /// For requests that a test waits for until they are given up.
    std::optional<std::chrono::milliseconds> limit;

private:
    CurlHttpClient client_;
};

/// A voice service with a fake microphone, the real client, and a prediction service on this computer. Waits
/// between polls cost no time and are counted.
class VoiceTest : public testing::Test {
protected:
    using Transcribed = Result<QString, TranscriptionFailure>;

    static inline const QString kKey = QStringLiteral("dummy-token-of-this-test");
    static inline const QString kVersion =
        QStringLiteral("0123456789abcdef0123456789abcdef0123456789abcdef0123456789abcdef");

    /// One call of stopAndTranscribe().
    struct Run {
        std::shared_ptr<std::optional<Transcribed>> outcome = std::make_shared<std::optional<Transcribed>>();
        async::TaskHandle<> task;

        [[nodiscard]] bool hasEnded() const { return task.isFinished(); }
        /// The transcript, or the failure's description after "! ".
        [[nodiscard]] QString text() const
        {
            if (!outcome->has_value())
                return QStringLiteral("(no outcome)");
            const Transcribed& transcribed = **outcome;
            return transcribed ? transcribed.value()
                               : QStringLiteral("! ") + localizedDescription(transcribed.error());
        }
    };

    VoiceTest()
        : client(std::make_unique<WatchedClient>())
    {}
    ~VoiceTest() override
    {
        tasks.reset();
        service.reset();
        client.reset();
        settle();
        EXPECT_EQ(temporaryFiles(), QStringList());
        EXPECT_EQ(recorders.recordersAlive(), 0);
        EXPECT_EQ(recorders.readinessAlive(), 0);
        EXPECT_FALSE(log.text().contains(kKey)) << "the key was logged";
    }

    void SetUp() override
    {
        ASSERT_NE(server.start(), 0) << server.errorString().toStdString();
        baseUrl.assign(server.baseUrl().toUtf8());
        renewService();
    }

    void renewService(const QString& key = kKey) { service = makeService(*client, key); }
    [[nodiscard]] std::unique_ptr<ReplicateWhisperService> makeService(HttpClient& http,
                                                                       const QString& key = kKey)
    {
        const auto pause = [this](std::chrono::milliseconds duration) { return countedPause(duration); };
        return std::make_unique<ReplicateWhisperService>(key, kVersion,
                                                         VoiceCollaborators{recorders, http, pause});
    }

    Run start(async::Task<Transcribed> task)
    {
        Run run;
        run.task = tasks->start(keepOutcome(std::move(task), run.outcome));
        return run;
    }
    Run transcribe() { return start(service->stopAndTranscribe()); }
    /// A whole recording; its transcript, or "! " and what went wrong.
    QString recordAndTranscribe()
    {
        service->startRecording();
        const Run run = transcribe();
        EXPECT_TRUE(turnUntil([&run] { return run.hasEnded(); }));
        return run.text();
    }

    [[nodiscard]] QStringList temporaryFiles() const
    {
        return QDir(temporary.path()).entryList(QDir::NoDotAndDotDot | QDir::AllEntries | QDir::Hidden);
    }

    /// The messages since the last call; all are of the service's category.
    QStringList messages()
    {
        QStringList result;
        const QString category = QStringLiteral("[Replicate] ");
        for (const QString& line : log.take()) {
            EXPECT_TRUE(line.startsWith(category)) << line.toStdString();
            result.append(line.sliced(category.size()));
        }
        return result;
    }
    /// The first two messages of a transcription of the usual sound.
    [[nodiscard]] QStringList beginning() const
    {
        const QString file = QFileInfo(recorders.requestedPaths.last()).fileName();
        return {QStringLiteral("Recording started file=") + file,
                QStringLiteral("Starting transcription modelVersion=") + kVersion +
                    QStringLiteral(" audioBytes=") + QString::number(recorders.sound.size())};
    }

    /// What the prediction service says when the answer is given byte by byte.
    [[nodiscard]] static practice::Scenario custom(int status, const QByteArray& body)
    {
        practice::Scenario scenario;
        scenario.kind = practice::ScenarioKind::Custom;
        scenario.status = status;
        scenario.contentType = "application/json";
        scenario.blocks = {body};
        // Chunks end with bytes of their own, which must not follow a status that has no body.
        scenario.headers = {{"Content-Length", QByteArray::number(body.size())}};
        return scenario;
    }
    /// A creation as usual, and then a poll that is answered so.
    void answerPoll(int status, const QByteArray& body)
    {
        server.enqueue({practice::Scenario{}, custom(status, body)});
    }
    void answerOutput(const QByteArray& json)
    {
        answerPoll(200, R"({"status":"succeeded","output":)" + json + '}');
    }

    LogLines log; ///< Before the folder for temporary files is changed: its file stays out of it.
    QTemporaryDir temporary;
    EnvironmentVariable temporaryFolder{"TMPDIR", temporary.path().toUtf8()};
    EnvironmentVariable baseUrl{"REPLICATE_BASE_URL"};
    practice::PracticeServer server;
    FakeAudioRecorders recorders;
    std::unique_ptr<WatchedClient> client;
    std::unique_ptr<ReplicateWhisperService> service;
    std::vector<std::chrono::milliseconds> pauses;
    std::function<void()> onPause;
    bool pausesEnd = true;
    std::unique_ptr<async::TaskScope> tasks = std::make_unique<async::TaskScope>();

private:
    static async::Task<> keepOutcome(async::Task<Transcribed> task,
                                     std::shared_ptr<std::optional<Transcribed>> outcome)
    {
        outcome->emplace(co_await std::move(task));
    }
    async::Task<> countedPause(std::chrono::milliseconds duration)
    {
        pauses.push_back(duration);
        if (onPause)
            onPause();
        if (!pausesEnd)
            co_await async::OneShot<bool>().value();
    }
};

} // namespace velmo
