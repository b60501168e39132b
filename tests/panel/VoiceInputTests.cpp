#include "panel/VoiceInputTest.h"

namespace velmo {

namespace {

using std::chrono::milliseconds;
using testing::Contains;
using testing::ElementsAre;

constexpr milliseconds kLong{2000};
const QString kUsual = QStringLiteral("Ask anything about the annotated area…");

} // namespace

TEST_F(VoiceInput, AQuestionHeldOnReturnIsTranscribedAndAsked)
{
    pressReturn();
    EXPECT_TRUE(isRecording());
    EXPECT_TRUE(text().isReadOnly());
    EXPECT_EQ(microphone().tint(), QColor(255, 69, 58));
    voice.time += kLong;
    releaseReturn();

    EXPECT_TRUE(voice.recorders.recordings.back()->isStopped);
    ASSERT_EQ(messages().size(), 1);
    EXPECT_EQ(messages().back().text, QString());
    EXPECT_TRUE(messages().back().isStreaming);
    EXPECT_EQ(shownText(row(0)), QStringLiteral("Transcribing…"));
    EXPECT_TRUE(isTranscribingShown());
    EXPECT_TRUE(text().isReadOnly());
    EXPECT_FALSE(sendButton().isEnabled());
    EXPECT_EQ(microphone().tint(), QueryPanelTheme::dimText());

    ASSERT_TRUE(voice.awaitPoll());
    EXPECT_FALSE(voice.hasFiles());
    voice.predictions.succeed(QStringLiteral("  why does it jump? \n"));
    ASSERT_TRUE(turnUntil([this] { return !scene->provider.requests.empty(); }));
    ASSERT_EQ(messages().size(), 2);
    EXPECT_EQ(messages().front().text, QStringLiteral("why does it jump?"));
    EXPECT_FALSE(messages().front().isStreaming);
    EXPECT_EQ(messages().back().role, ChatMessageRole::Assistant);
    EXPECT_TRUE(turnUntil([this] { return shownText(row(0)) == QStringLiteral("why does it jump?"); }));
    EXPECT_FALSE(isTranscribingShown());
    EXPECT_EQ(scene->session.state().value(), SessionState::Streaming);
    EXPECT_THAT(lines(),
                ElementsAre(QStringLiteral("[QueryPanel] Keyboard hold-to-record started"),
                            QStringLiteral("[QueryPanel] Keyboard hold-to-record ended duration=2.00s"),
                            QStringLiteral("[QueryPanel] transcription submitted chars=17")));
}

TEST_F(VoiceInput, AQuestionHeldOnTheMicrophoneIsTranscribedAndAsked)
{
    pressMicrophone();
    EXPECT_TRUE(isRecording());
    EXPECT_TRUE(text().isReadOnly());
    voice.time += milliseconds(1504);
    // Wherever the pointer is.
    sendMouse(QEvent::MouseMove, {-400, 300}, Qt::NoButton, Qt::LeftButton);
    EXPECT_TRUE(isRecording());
    releaseMicrophone({-400, 300});
    ASSERT_TRUE(voice.awaitPoll());
    voice.predictions.succeed(QStringLiteral("🙂👍🏽"));
    ASSERT_TRUE(turnUntil([this] { return !scene->provider.requests.empty(); }));
    EXPECT_THAT(lines(),
                ElementsAre(QStringLiteral("[QueryPanel] Button hold-to-record ended duration=1.50s"),
                            QStringLiteral("[QueryPanel] transcription submitted chars=2")));
}

TEST_F(VoiceInput, SilenceIsSaidAndNothingIsSent)
{
    holdReturn(std::chrono::seconds(3));
    ASSERT_TRUE(voice.awaitPoll());
    voice.predictions.succeed(QStringLiteral(" \n\t "));
    ASSERT_TRUE(turnUntil([this] { return !messages().front().isStreaming; }));
    EXPECT_EQ(messages().front().text, QStringLiteral("No speech detected."));
    EXPECT_EQ(messages().size(), 1);
    EXPECT_TRUE(scene->provider.requests.empty());
    EXPECT_EQ(scene->session.state().value(), SessionState::Querying);
    EXPECT_FALSE(text().isReadOnly());
    EXPECT_FALSE(isTranscribingShown());
    EXPECT_EQ(lines().back(), QStringLiteral("[QueryPanel] transcription produced empty transcript"));
}

TEST_F(VoiceInput, AFailureIsWrittenIntoTheMessageAndTheLog)
{
    holdReturn(kLong);
    ASSERT_TRUE(voice.awaitPoll());
    voice.predictions.fail(QStringLiteral("out of memory"));
    ASSERT_TRUE(turnUntil([this] { return !messages().front().isStreaming; }));
    EXPECT_EQ(messages().front().text,
              QStringLiteral("[Transcription failed: Transcription failed: out of memory]"));
    EXPECT_TRUE(scene->provider.requests.empty());
    EXPECT_FALSE(text().isReadOnly());
    EXPECT_EQ(lines().back(), QStringLiteral("[QueryPanel] transcription failed error=Transcription failed: "
                                             "out of memory"));
}

TEST_F(VoiceInput, ARecorderThatCannotBeginShowsOnlyWhenTheTextIsAskedFor)
{
    voice.recorders.startFailure = FakeAudioRecorders::failure(QStringLiteral("There is no microphone"));
    pressReturn();
    settle();
    EXPECT_TRUE(text().isReadOnly()) << "it counts as a recording all the same";
    voice.time += kLong;
    releaseReturn();
    ASSERT_TRUE(turnUntil([this] { return !messages().empty() && !messages().front().isStreaming; }));
    EXPECT_EQ(messages().front().text, QStringLiteral("[Transcription failed: There is no microphone]"));

    holdReturn(milliseconds(1000));
    EXPECT_EQ(messages().size(), 1);
    EXPECT_EQ(placeholder(), kUsual);
}

TEST_F(VoiceInput, ClosingThePanelDiscardsARecording)
{
    pressReturn();
    ASSERT_TRUE(voice.hasFiles());
    scene->content->detach();
    EXPECT_EQ(voice.recorders.recordersAlive(), 0);
    EXPECT_EQ(voice.recorders.readinessAlive(), 0) << "nothing is kept connected for a panel that is gone";
    EXPECT_FALSE(voice.hasFiles());
    EXPECT_THAT(log.take(), Contains(QStringLiteral("[Replicate] Recording discarded")));
    voice.time += kLong;
    releaseReturn();
    EXPECT_TRUE(messages().isEmpty());
}

TEST_F(VoiceInput, ATranscriptionThatOutlivesItsPanelSubmitsNothingIntoTheNextSession)
{
    for (const bool isPanelStillFading : {true, false}) {
        useMicrophone();
        removeCapture();
        holdReturn(kLong);
        ASSERT_TRUE(voice.awaitPoll());
        log.take();
        scene->content->detach();
        if (!isPanelStillFading)
            scene->content.reset();
        scene->session.end();
        scene->session.begin(false);
        scene->session.noteDrawingBegan({1, 1});
        scene->session.advanceToQuery();
        settle();
        voice.predictions.succeed(QStringLiteral("late"));
        ASSERT_TRUE(turnUntil([this] { return !voice.tasks.isBusy(); }));
        settle();
        EXPECT_TRUE(messages().isEmpty());
        EXPECT_TRUE(scene->provider.requests.empty());
        EXPECT_FALSE(voice.hasFiles());
        EXPECT_TRUE(lines().isEmpty());
    }
}

TEST_F(VoiceInput, TheConnectionToTheSoundServerIsKeptWhileThePanelIsThere)
{
    EXPECT_EQ(voice.recorders.readinessAlive(), 1);
    scene.reset();
    EXPECT_EQ(voice.recorders.readinessAlive(), 0);
    scene = std::make_unique<PanelScene>();
    scene->show();
    EXPECT_EQ(voice.recorders.readinessAlive(), 0);
}

} // namespace velmo
