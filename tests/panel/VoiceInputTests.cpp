#include "panel/HoldToRecordButton.h"
#include "panel/PanelTest.h"

#include <QAccessible>
#include <QMouseEvent>

namespace velmo {

namespace {

using std::chrono::milliseconds;
using testing::Contains;
using testing::ElementsAre;
using testing::Not;

constexpr milliseconds kLong{2000};
const QString kHint = QStringLiteral("Hold Enter to record");
const QString kUsual = QStringLiteral("Ask anything about the annotated area…");

} // namespace

/// A panel with a microphone, asked for its first question; the first picture has been taken away.
class VoiceInput : public PanelTest {
protected:
    VoiceInput()
    {
        useMicrophone();
        removeCapture();
        log.take();
    }

    void pressReturn() { pressKey(text(), Qt::Key_Return); }
    void releaseReturn()
    {
        releaseKey(text(), Qt::Key_Return);
        settle();
    }
    void holdReturn(Clock::TimePoint::duration duration)
    {
        pressReturn();
        voice.time += duration;
        releaseReturn();
    }

    [[nodiscard]] HoldToRecordButton& microphone() const { return widget<HoldToRecordButton>(); }
    void sendMouse(QEvent::Type type, QPointF at, Qt::MouseButton button, Qt::MouseButtons buttons) const
    {
        QMouseEvent event(type, at, microphone().mapToGlobal(at), button, buttons, Qt::NoModifier);
        QApplication::sendEvent(&microphone(), &event);
    }
    void pressMicrophone() const
    {
        sendMouse(QEvent::MouseButtonPress, {10, 10}, Qt::LeftButton, Qt::LeftButton);
    }
    void releaseMicrophone(QPointF at = {10, 10}) const
    {
        sendMouse(QEvent::MouseButtonRelease, at, Qt::LeftButton, Qt::NoButton);
        settle();
    }

    [[nodiscard]] bool isRecording() const
    {
        return !voice.recorders.recordings.empty() && voice.recorders.recordings.back()->isRunning();
    }
    [[nodiscard]] std::size_t recordings() const { return voice.recorders.recordings.size(); }
    [[nodiscard]] QString placeholder() const { return field().placeholderField().text(); }
    [[nodiscard]] bool isTranscribingShown() const
    {
        const auto labels = scene->content->findChildren<QLabel*>();
        return std::ranges::any_of(labels, [](const QLabel* label) {
            return label->isVisibleTo(label->window()) && label->text() == QStringLiteral("Transcribing…");
        });
    }
    /// The panel's own lines since the last time.
    [[nodiscard]] QStringList lines() { return log.take().filter(QStringLiteral("[QueryPanel]")); }
};

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

TEST_F(VoiceInput, ATapTeachesTheGestureAndLeavesNoRecording)
{
    for (const milliseconds tap : {milliseconds(0), milliseconds(350)}) {
        holdReturn(tap);
        EXPECT_EQ(placeholder(), kHint);
        EXPECT_EQ(voice.recorders.recordersAlive(), 0);
        EXPECT_FALSE(voice.hasFiles());
        EXPECT_TRUE(turnUntil([this] { return placeholder() == kUsual; }));
    }
    EXPECT_EQ(recordings(), 2U);
    EXPECT_TRUE(messages().isEmpty());
    EXPECT_THAT(log.take(), Contains(QStringLiteral("[Replicate] Recording discarded")).Times(2));
    EXPECT_EQ(voice.predictions.created, 0);
}

TEST_F(VoiceInput, AHoldBetweenTapAndQuestionIsDroppedSilently)
{
    for (const auto hold : {Clock::TimePoint::duration(milliseconds(350)) + std::chrono::microseconds(1),
                            Clock::TimePoint::duration(milliseconds(1000)),
                            Clock::TimePoint::duration(milliseconds(1500)) - std::chrono::microseconds(1)}) {
        holdReturn(hold);
        EXPECT_EQ(placeholder(), kUsual);
        EXPECT_EQ(voice.recorders.recordersAlive(), 0);
        EXPECT_FALSE(text().isReadOnly());
    }
    EXPECT_TRUE(messages().isEmpty());
    EXPECT_FALSE(voice.hasFiles());
}

TEST_F(VoiceInput, AHoldOfExactlyOneAndAHalfSecondsIsTranscribed)
{
    holdReturn(milliseconds(1500));
    ASSERT_EQ(messages().size(), 1);
    EXPECT_TRUE(voice.awaitPoll());
}

TEST_F(VoiceInput, AShortHoldOfTheMicrophoneIsDroppedWithoutAHint)
{
    pressMicrophone();
    voice.time += milliseconds(200);
    releaseMicrophone();
    EXPECT_EQ(voice.recorders.recordersAlive(), 0);
    EXPECT_EQ(placeholder(), kUsual);
    EXPECT_THAT(lines(),
                ElementsAre(QStringLiteral("[QueryPanel] Button hold-to-record ended duration=0.20s")));
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

TEST_F(VoiceInput, WithTextInTheFieldReturnSendsAndRecordsNothing)
{
    typeText(text(), QStringLiteral("typed"));
    holdReturn(kLong);
    EXPECT_EQ(recordings(), 0U);
    EXPECT_EQ(messages().front().text, QStringLiteral("typed"));
    EXPECT_EQ(placeholder(), kUsual) << "the key that has sent a question teaches nothing";
}

TEST_F(VoiceInput, RepeatsOfTheHeldKeyChangeNothing)
{
    pressReturn();
    for (int repeat = 0; repeat < 5; ++repeat) {
        sendKey(text(), QEvent::KeyRelease, Qt::Key_Return, Qt::NoModifier, {}, true);
        sendKey(text(), QEvent::KeyPress, Qt::Key_Return, Qt::NoModifier, {}, true);
    }
    EXPECT_EQ(recordings(), 1U);
    EXPECT_TRUE(isRecording());
    voice.time += kLong;
    releaseReturn();
    EXPECT_EQ(messages().size(), 1);
}

TEST_F(VoiceInput, TheKeyCountsAsReleasedWhenTheKeyboardGoesElsewhere)
{
    scene->content->focusField();
    pressReturn();
    voice.time += milliseconds(800);
    QFocusEvent out(QEvent::FocusOut, Qt::ActiveWindowFocusReason);
    QApplication::sendEvent(&text(), &out);
    EXPECT_EQ(voice.recorders.recordersAlive(), 0);
    EXPECT_EQ(lines().back(), QStringLiteral("[QueryPanel] Keyboard hold-to-record ended duration=0.80s"));

    pressReturn();
    voice.time += kLong;
    QApplication::sendEvent(&text(), &out);
    EXPECT_EQ(messages().size(), 1) << "what was said is not lost";
}

TEST_F(VoiceInput, OtherButtonsDoNotHoldTheMicrophone)
{
    sendMouse(QEvent::MouseButtonPress, {10, 10}, Qt::RightButton, Qt::RightButton);
    EXPECT_EQ(recordings(), 0U);
    pressMicrophone();
    sendMouse(QEvent::MouseButtonRelease, {10, 10}, Qt::RightButton, Qt::LeftButton);
    EXPECT_TRUE(isRecording());
}

TEST_F(VoiceInput, AMicrophoneThatVanishesIsLetGo)
{
    pressMicrophone();
    voice.time += milliseconds(700);
    scene->content->hide();
    EXPECT_EQ(voice.recorders.recordersAlive(), 0);
}

TEST_F(VoiceInput, SpaceHoldsTheMicrophone)
{
    pressKey(microphone(), Qt::Key_Space);
    sendKey(microphone(), QEvent::KeyRelease, Qt::Key_Space, Qt::NoModifier, {}, true);
    sendKey(microphone(), QEvent::KeyPress, Qt::Key_Space, Qt::NoModifier, {}, true);
    EXPECT_TRUE(isRecording());
    EXPECT_EQ(recordings(), 1U);
    voice.time += kLong;
    releaseKey(microphone(), Qt::Key_Space);
    EXPECT_EQ(messages().size(), 1);
}

TEST_F(VoiceInput, AssistiveTechnologyStartsAndStopsIt)
{
    QAccessibleInterface* part = QAccessible::queryAccessibleInterface(&microphone());
    part->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
    EXPECT_TRUE(isRecording());
    voice.time += kLong;
    part->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
    EXPECT_EQ(messages().size(), 1);
}

TEST_F(VoiceInput, ASecondPressIsIgnoredWhileTheFirstIsHeld)
{
    pressReturn();
    pressMicrophone();
    voice.time += kLong;
    releaseMicrophone();
    EXPECT_TRUE(isRecording()) << "the key is still down";
    releaseReturn();
    EXPECT_EQ(messages().size(), 1);
    EXPECT_EQ(recordings(), 1U);
}

TEST_F(VoiceInput, AKeyPressedWhileTheMicrophoneIsHeldEndsNothing)
{
    pressMicrophone();
    voice.time += kLong;
    pressReturn();
    releaseReturn();
    EXPECT_TRUE(isRecording());
    EXPECT_EQ(placeholder(), kUsual);
    releaseMicrophone();
    EXPECT_EQ(messages().size(), 1);
}

TEST_F(VoiceInput, APressIsIgnoredWhileATranscriptionRuns)
{
    holdReturn(kLong);
    ASSERT_TRUE(voice.awaitPoll());
    pressReturn();
    releaseReturn();
    pressMicrophone();
    voice.time += kLong;
    releaseMicrophone();
    EXPECT_EQ(recordings(), 1U);
    EXPECT_EQ(messages().size(), 1);
    voice.predictions.succeed(QStringLiteral("first"));
    EXPECT_TRUE(turnUntil([this] { return !scene->provider.requests.empty(); }));
}

TEST_F(VoiceInput, ReturnRecordsOnlyBetweenQuestionsButTheMicrophoneAlways)
{
    scene->ask(QStringLiteral("typed"));
    ASSERT_EQ(scene->session.state().value(), SessionState::Streaming);
    holdReturn(kLong);
    EXPECT_EQ(recordings(), 0U);
    EXPECT_EQ(placeholder(), kHint);

    pressMicrophone();
    voice.time += kLong;
    releaseMicrophone();
    ASSERT_TRUE(voice.awaitPoll());
    voice.predictions.succeed(QStringLiteral("too early"));
    ASSERT_TRUE(turnUntil([this] { return messages().back().text == QStringLiteral("too early"); }));
    settle();
    EXPECT_EQ(scene->provider.requests.size(), 1U) << "the session is busy and refuses it";
    EXPECT_EQ(messages().back().role, ChatMessageRole::User);
}

TEST_F(VoiceInput, TheMicrophoneBlinksWhileRecording)
{
    QColor faint(255, 69, 58);
    faint.setAlphaF(0.25F);
    pressReturn();
    QElapsedTimer timer;
    for (const QColor& next : {faint, QColor(255, 69, 58), faint}) {
        timer.start();
        ASSERT_TRUE(turnUntil([&] { return microphone().tint() == next; }));
        EXPECT_GE(timer.elapsed(), 450);
    }
    releaseReturn();
    EXPECT_EQ(microphone().tint(), QueryPanelTheme::dimText());
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

TEST_F(VoiceInput, APanelWithoutAMicrophoneTeachesTheGestureAllTheSame)
{
    scene = std::make_unique<PanelScene>();
    scene->show();
    EXPECT_FALSE(microphone().isVisibleTo(scene->content.get()));
    holdReturn(kLong);
    EXPECT_EQ(placeholder(), kHint);
    EXPECT_EQ(recordings(), 0U);
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
