#include "panel/VoiceInputTest.h"

#include <QAccessible>

namespace velmo {

namespace {

using std::chrono::milliseconds;

constexpr milliseconds kLong{2000};
const QString kHint = QStringLiteral("Hold Enter to record");
const QString kUsual = QStringLiteral("Ask anything about the annotated area…");

} // namespace

TEST_F(VoiceInput, ATapTeachesTheGestureAndLeavesNoRecording)
{
    for (const milliseconds tap : {milliseconds(0), milliseconds(350)}) {
        holdReturn(tap);
        EXPECT_EQ(placeholder(), kHint);
        QElapsedTimer shown;
        shown.start();
        EXPECT_EQ(voice.recorders.recordersAlive(), 0);
        EXPECT_FALSE(voice.hasFiles());
        EXPECT_TRUE(turnUntil([this] { return placeholder() == kUsual; }));
        EXPECT_GE(shown.elapsed(), 1100);
        EXPECT_LT(shown.elapsed(), 4000);
    }
    EXPECT_EQ(recordings(), 2U);
    EXPECT_TRUE(messages().isEmpty());
    EXPECT_THAT(log.take(), testing::Contains(QStringLiteral("[Replicate] Recording discarded")).Times(2));
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
    EXPECT_THAT(lines(), testing::ElementsAre(
                             QStringLiteral("[QueryPanel] Button hold-to-record ended duration=0.20s")));
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

TEST_F(VoiceInput, WhatAssistiveTechnologyPressesInVainHoldsNothing)
{
    holdReturn(kLong);
    ASSERT_TRUE(voice.awaitPoll());
    QAccessible::queryAccessibleInterface(&microphone())
        ->actionInterface()
        ->doAction(QAccessibleActionInterface::pressAction());
    voice.predictions.succeed(QString());
    ASSERT_TRUE(turnUntil([this] { return !text().isReadOnly(); }));
    pressMicrophone();
    EXPECT_TRUE(isRecording());
}

TEST_F(VoiceInput, TheOtherOfTheTwoReturnKeysEndsNothing)
{
    pressReturn();
    voice.time += kLong;
    pressKey(text(), Qt::Key_Enter);
    releaseKey(text(), Qt::Key_Enter);
    EXPECT_TRUE(isRecording());
    releaseReturn();
    EXPECT_EQ(messages().size(), 1);
    EXPECT_EQ(recordings(), 1U);
}

TEST_F(VoiceInput, AHoldThatNobodyEndsEndsByItself)
{
    const auto timers = [this] {
        std::vector<QTimer*> found;
        for (QTimer* timer : scene->content->findChildren<QTimer*>(QStringLiteral("longestHold")))
            found.push_back(timer);
        return found;
    }();
    ASSERT_EQ(timers.size(), 1U);
    EXPECT_EQ(timers.front()->intervalAsDuration(), std::chrono::minutes(5));
    pressMicrophone();
    EXPECT_TRUE(timers.front()->isActive());
    timers.front()->start(0);
    voice.time += std::chrono::minutes(5);
    ASSERT_TRUE(turnUntil([this] { return !isRecording(); }));
    EXPECT_EQ(messages().size(), 1);
    EXPECT_FALSE(timers.front()->isActive());
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
    timer.start();
    qint64 phases = 0;
    for (const QColor& next : {faint, QColor(255, 69, 58), faint}) {
        ASSERT_TRUE(turnUntil([&] { return microphone().tint() == next; }));
        constexpr qint64 kPhase = 550;
        constexpr qint64 kCoarse = 30;
        EXPECT_GE(timer.elapsed(), ++phases * kPhase - kCoarse);
    }
    EXPECT_LT(timer.elapsed(), 4000);
    releaseReturn();
    EXPECT_EQ(microphone().tint(), QueryPanelTheme::dimText());
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

} // namespace velmo
