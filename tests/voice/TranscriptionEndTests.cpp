#include "core/async/WorkerPool.h"
#include "support/voice/VoiceTest.h"

#include <future>
#include <ostream>

namespace velmo {

using practice::ScenarioKind;

namespace {

/// What a transcription waits for.
enum class Stage { Beginning, RecordingEnd, Reading, Creation, CreationBody, Pause, Poll, PollBody };

void PrintTo(Stage stage, std::ostream* out)
{
    constexpr std::array kNames{"Beginning",    "RecordingEnd", "Reading", "Creation",
                                "CreationBody", "Pause",        "Poll",    "PollBody"};
    *out << kNames.at(static_cast<size_t>(stage));
}

/// Keeps all workers busy until it goes.
class BusyWorkers {
public:
    BusyWorkers()
    {
        for (int worker = 0; worker < 2; ++worker)
            async::runOnWorker([free = free_] { free.wait(); });
    }
    BusyWorkers(const BusyWorkers&) = delete;
    BusyWorkers& operator=(const BusyWorkers&) = delete;
    ~BusyWorkers() { release_.set_value(); }

private:
    std::promise<void> release_;
    std::shared_future<void> free_ = release_.get_future().share();
};

} // namespace

/// Transcriptions that are ended from outside, wherever they are.
class TranscriptionEndTest : public VoiceTest, public testing::WithParamInterface<Stage> {
protected:
    /// A transcription that stands at the stage.
    Run runTo(Stage stage)
    {
        const practice::Scenario usual;
        const practice::Scenario silent{.kind = ScenarioKind::NeverAnswers};
        // The rest of the body never comes.
        practice::Scenario endless = custom(200, "{");
        endless.headers = {{"Content-Length", "1000"}};
        const auto requests = [this](int count) {
            return turnUntil([this, count] { return server.requests().size() >= count; });
        };
        if (stage == Stage::Reading)
            busy = std::make_unique<BusyWorkers>();
        recorders.answersStopAtOnce = stage != Stage::RecordingEnd;
        pausesEnd = stage != Stage::Pause;
        if (stage == Stage::Creation)
            server.enqueue({silent});
        if (stage == Stage::CreationBody)
            server.enqueue({endless});
        if (stage == Stage::Poll)
            server.enqueue({usual, silent});
        if (stage == Stage::PollBody)
            server.enqueue({usual, endless});

        service->startRecording();
        const Run run = transcribe();
        switch (stage) {
        case Stage::Beginning:
            break;
        case Stage::RecordingEnd:
        case Stage::Reading:
            settle();
            EXPECT_EQ(recorders.recordersAlive(), 1);
            break;
        case Stage::Creation:
            EXPECT_TRUE(requests(1));
            break;
        case Stage::CreationBody:
            EXPECT_TRUE(turnUntil([this] { return server.sentBytes() > 0; }));
            settle();
            break;
        case Stage::Pause:
            EXPECT_TRUE(turnUntil([this] { return !pauses.empty(); }));
            break;
        case Stage::Poll:
        case Stage::PollBody:
            EXPECT_TRUE(requests(2));
            settle();
            break;
        }
        EXPECT_FALSE(run.hasEnded());
        EXPECT_FALSE(run.outcome->has_value());
        return run;
    }
    [[nodiscard]] static bool isInTheNetwork(Stage stage)
    {
        return stage == Stage::Creation || stage == Stage::CreationBody || stage == Stage::Poll ||
               stage == Stage::PollBody;
    }
    void expectNothingLeft(Stage stage)
    {
        EXPECT_EQ(recorders.recordersAlive(), 0);
        EXPECT_EQ(temporaryFiles(), QStringList());
        if (isInTheNetwork(stage)) {
            // The loop turns, since a head that has just come waits on it for nobody.
            EXPECT_TRUE(turnUntil([this] { return server.closedConnections() > 0; }))
                << "the request went on";
        }
    }

    std::unique_ptr<BusyWorkers> busy;
};

/// Those whose request has no answer yet.
class RequestEndTest : public TranscriptionEndTest {};

TEST_P(TranscriptionEndTest, CancellingTheTaskLeavesNothingBehind)
{
    const Run run = runTo(GetParam());
    run.task.cancel();
    ASSERT_TRUE(turnUntil([&run] { return run.hasEnded(); }));
    EXPECT_FALSE(run.outcome->has_value());
    // The scope still keeps what there is of the ended task.
    expectNothingLeft(GetParam());
}

TEST_P(TranscriptionEndTest, DestroyingTheScopeLeavesNothingBehind)
{
    const Run run = runTo(GetParam());
    tasks.reset();
    expectNothingLeft(GetParam());
    (void)messages();
    busy.reset();
    settle();
    EXPECT_FALSE(run.outcome->has_value());
    EXPECT_EQ(messages(), QStringList());
}

TEST_P(TranscriptionEndTest, TheTaskOutlivesItsServiceAndLeavesNothingBehind)
{
    const Run run = runTo(GetParam());
    service->cancelRecording();
    service.reset();
    settle();
    if (GetParam() == Stage::RecordingEnd)
        recorders.finishStop(0);
    busy.reset();
    if (isInTheNetwork(GetParam())) {
        // The service at the other end stops; so does the task.
        server.stop();
        ASSERT_TRUE(turnUntil([&run] { return run.hasEnded(); }));
        EXPECT_TRUE(std::holds_alternative<HttpError>(run.outcome->value().error()));
    } else if (GetParam() == Stage::Pause) {
        EXPECT_FALSE(run.hasEnded());
    } else {
        ASSERT_TRUE(turnUntil([&run] { return run.hasEnded(); }));
        EXPECT_EQ(run.text(), u"practice transcript of 5 audio bytes");
    }
    expectNothingLeft(Stage::Pause);
}

TEST_P(RequestEndTest, AClientThatGoesFirstEndsTheTask)
{
    const Run run = runTo(GetParam());
    client.reset();
    ASSERT_TRUE(turnUntil([&run] { return run.hasEnded(); }));
    EXPECT_EQ(run.text(), u"! The request was cancelled.");
    expectNothingLeft(GetParam());
}

INSTANTIATE_TEST_SUITE_P(AtEveryStage, TranscriptionEndTest,
                         testing::Values(Stage::Beginning, Stage::RecordingEnd, Stage::Reading,
                                         Stage::Creation, Stage::CreationBody, Stage::Pause, Stage::Poll,
                                         Stage::PollBody),
                         testing::PrintToStringParamName());

INSTANTIATE_TEST_SUITE_P(AtBothRequests, RequestEndTest, testing::Values(Stage::Creation, Stage::Poll),
                         testing::PrintToStringParamName());

TEST_F(TranscriptionEndTest, ATaskThatIsNeverStartedLeavesNothingBehind)
{
    service->startRecording();
    {
        const auto task = service->stopAndTranscribe();
        EXPECT_EQ(recorders.recordersAlive(), 1);
    }
    EXPECT_EQ(recorders.recordersAlive(), 0);
    EXPECT_EQ(temporaryFiles(), QStringList());
}

TEST_F(TranscriptionEndTest, ANewRecordingDoesNotDisturbATranscription)
{
    recorders.answersStopAtOnce = false;
    service->startRecording();
    const Run first = transcribe();
    settle();
    recorders.sound = "another sound";
    service->startRecording();
    EXPECT_EQ(recorders.recordersAlive(), 2);
    const Run second = transcribe();
    recorders.finishStop(0);
    ASSERT_TRUE(turnUntil([&first] { return first.hasEnded(); }));
    EXPECT_EQ(first.text(), u"practice transcript of 5 audio bytes");
    EXPECT_EQ(recorders.recordersAlive(), 1);
    recorders.finishStop(1);
    ASSERT_TRUE(turnUntil([&second] { return second.hasEnded(); }));
    EXPECT_EQ(second.text(), u"practice transcript of 13 audio bytes");
}

} // namespace velmo
