#include "e2e/ProgramDesk.h"
#include "panel/QueryInputPanel.h"
#include "support/x11/SplitMonitors.h"

#include <QScreen>

namespace velmo::test {
namespace {

constexpr int kLeft = 1;
constexpr int kMiddle = 2;

/// Strokes that begin on the desktop itself, through the whole program.
class QuickDrawJob : public ProgramDesk {
protected:
    void SetUp() override
    {
        ProgramDesk::SetUp();
        startProgram();
    }

    void holdChord() { input_.hold({"Alt_L", "Super_L"}); }
    void circleUnderTheChord()
    {
        holdChord();
        circle(desk_->target(), kLeft, [this] { return session().state().value() == SessionState::Drawing; });
        releaseChord();
    }
    void releaseChord() { input_.letGo({"Alt_L", "Super_L"}); }

    [[nodiscard]] static bool panelIsUp() { return isUp<QueryInputPanel>(); }

    /// The capture in the chat shows the stroke where the pointer went, from its first point on.
    void expectStrokeIn(const ChatMessage& message)
    {
        ASSERT_TRUE(message.attachment);
        const QImage image = QImage::fromData(message.attachment->imageData);
        ASSERT_FALSE(image.isNull());
        const QSize screen = QApplication::primaryScreen()->size();
        EXPECT_TRUE(showsStroke(image, strokeIn(image.size(), screen)));
    }

    /// Escape ends the session, and typing is the application's again.
    void expectEscapeGivesBack()
    {
        ASSERT_TRUE(awaitQuestionField());
        input_.tap("Escape");
        ASSERT_TRUE(awaitState(SessionState::Idle, 0));
        EXPECT_FALSE(desk_->receivedAnyText());
        EXPECT_TRUE(awaitCondition([this] {
            const auto front = desktop_->windowFocus->frontmostApplication();
            return front && front->processID != QCoreApplication::applicationPid() && !overlayIsUp();
        }));
        // Typed again until the restoration, which is due after 0.2 s, has been.
        EXPECT_TRUE(awaitCondition([this] {
            input_.tap("z");
            return desk_->receivedAnyText();
        }));
    }
};

TEST_F(QuickDrawJob, AChordDragDrawsTheFirstStrokeAndAsks)
{
    circleUnderTheChord();
    ASSERT_TRUE(awaitState(SessionState::Querying, 1));
    EXPECT_EQ(logCount(QStringLiteral("[Session] Begin annotation session showToolbar=false")), 1);
    expectStrokeIn(session().chatMessages().messages()[0]);
    expectEscapeGivesBack();
}

TEST_F(QuickDrawJob, AMiddleDragDrawsTheFirstStrokeAndAsks)
{
    circle(desk_->target(), kMiddle);
    ASSERT_TRUE(awaitState(SessionState::Querying, 1));
    EXPECT_EQ(logCount(QStringLiteral("[Session] Begin annotation session showToolbar=false")), 1);
    expectStrokeIn(session().chatMessages().messages()[0]);
    expectEscapeGivesBack();
}

TEST_F(QuickDrawJob, ALongMiddlePressOpensTheOverlayForDrawing)
{
    input_.moveTo(desk_->target().center().x(), desk_->target().center().y());
    input_.pressButton(kMiddle);
    awaitCondition([] { return false; }, std::chrono::milliseconds(400)); // What is tested is a duration.
    input_.releaseButton(kMiddle);
    ASSERT_TRUE(awaitCondition(
        [this] { return session().state().value() == SessionState::Drawing && overlayIsUp(); }));
    EXPECT_EQ(logCount(QStringLiteral("[Session] Begin annotation session showToolbar=true")), 1);
    input_.tap("Escape");
    EXPECT_TRUE(awaitState(SessionState::Idle, 0));
}

TEST_F(QuickDrawJob, ThePanelMakesRoomWhileTheChordIsHeld)
{
    circle(desk_->target(), kMiddle);
    ASSERT_TRUE(awaitState(SessionState::Querying, 1));
    ASSERT_TRUE(awaitQuestionField());
    // Before the first question there is nothing to add to; the panel is needed for that question.
    holdChord();
    releaseChord();
    ask("why", 3);
    ASSERT_TRUE(panelIsUp());
    holdChord();
    ASSERT_TRUE(awaitCondition([] { return !panelIsUp(); }));
    releaseChord();
    ASSERT_TRUE(awaitCondition([] { return panelIsUp(); })) << "and comes back";
    EXPECT_TRUE(awaitQuestionField());
    EXPECT_EQ(session().state().value(), SessionState::Querying);

    holdChord();
    ASSERT_TRUE(awaitCondition([] { return !panelIsUp(); }));
    delegate_->restartHotkeyMonitor();
    EXPECT_TRUE(panelIsUp()) << "a new monitor knows nothing of the hint";
    releaseChord();
}

TEST_F(QuickDrawJob, AChordDragBetweenQuestionsAddsAPicture)
{
    circle(desk_->target(), kMiddle);
    ASSERT_TRUE(awaitState(SessionState::Querying, 1));
    ask("why", 3);
    circleUnderTheChord();
    ASSERT_TRUE(awaitState(SessionState::Querying, 4));
    EXPECT_EQ(logCount(QStringLiteral("[Session] Begin additional capture")), 1);
    expectStrokeIn(session().chatMessages().messages()[3]);
    ASSERT_TRUE(awaitCondition([] { return panelIsUp(); }));
    ask("more", 6);
    EXPECT_EQ(practice_.requests().size(), 2);
}

TEST_F(QuickDrawJob, AMiddleDragBetweenQuestionsAddsAPicture)
{
    circle(desk_->target(), kMiddle);
    ASSERT_TRUE(awaitState(SessionState::Querying, 1));
    ask("why", 3);
    circle(desk_->target(), kMiddle);
    ASSERT_TRUE(awaitState(SessionState::Querying, 4));
    expectStrokeIn(session().chatMessages().messages()[3]);
    EXPECT_TRUE(panelIsUp());
}

TEST_F(QuickDrawJob, InManualModeTheStrokeStaysUntilItIsSubmitted)
{
    settings_->submitMode.set(SubmitMode::ManualSubmit);
    circle(desk_->target(), kMiddle);
    ASSERT_TRUE(awaitLog(QStringLiteral("[Session] Locked active screen to ")));
    EXPECT_FALSE(awaitCondition([this] { return session().state().value() != SessionState::Drawing; },
                                std::chrono::milliseconds(150)));
    // There is no toolbar with a button for it, so Return does it.
    input_.tap("Return");
    ASSERT_TRUE(awaitState(SessionState::Querying, 1));
    expectStrokeIn(session().chatMessages().messages()[0]);
    EXPECT_FALSE(desk_->receivedAnyText());
    expectEscapeGivesBack();
}

TEST_F(QuickDrawJob, NewSettingsTakeEffectWithoutMeetingTheOldGrabs)
{
    for (int round = 0; round < 20; ++round) {
        settings_->hotkeyKeyCode.set(round % 2 == 0 ? 11 : 49); // B and Space
        const auto begin = std::chrono::steady_clock::now();
        delegate_->restartHotkeyMonitor();
        EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(1));
    }
    settings_->quickDrawMiddleMouseEnabled.set(false);
    const auto ready = logCount(QStringLiteral("[Platform] ready"));
    delegate_->restartHotkeyMonitor();
    EXPECT_TRUE(awaitLog(QStringLiteral("[Platform] ready"), ready + 1));
    EXPECT_TRUE(desktop_->eventTap->report().started);
    EXPECT_TRUE(desktop_->eventTap->report().problems.isEmpty());
    EXPECT_EQ(logCount(QStringLiteral("held by another program")), 0);

    circle(desk_->target(), kMiddle);
    input_.chord({"Control_L", "Alt_L", "space"});
    ASSERT_TRUE(awaitCondition([this] { return session().state().value() == SessionState::Drawing; }));
    EXPECT_EQ(logCount(QStringLiteral("Begin annotation session showToolbar=true")), 1);
    EXPECT_EQ(logCount(QStringLiteral("Begin annotation session showToolbar=false")), 0);
    input_.tap("Escape");
    EXPECT_TRUE(awaitState(SessionState::Idle, 0));
}

TEST_F(QuickDrawJob, FollowsTheScreensAsTheyChange)
{
    const SplitMonitors monitors;
    ASSERT_TRUE(monitors.awaitToolkit());
    const auto east = SplitMonitors::kEast;
    input_.moveTo(east.left() + 200, east.top() + 100);
    input_.pressButton(kMiddle);
    input_.moveTo(east.left() + 230, east.top() + 115); // Makes it a stroke, and is no point of it.
    input_.moveTo(east.left() + 260, east.top() + 130);
    input_.releaseButton(kMiddle);
    // The main screen's lower edge is at 1080 pixels, the point 300 above it.
    EXPECT_TRUE(
        awaitLog(QStringLiteral("[Session] Locked active screen to east frame=(1000, 80, 920, 800)")));
    EXPECT_TRUE(awaitLog(QStringLiteral(" for point=1200,780")));
    ASSERT_TRUE(awaitState(SessionState::Querying, 1));
    const QImage image = QImage::fromData(session().chatMessages().messages()[0].attachment->imageData);
    EXPECT_EQ(image.size(), east.size());
    EXPECT_TRUE(showsStroke(image, {{200, 100}, {230, 115}, {260, 130}}));
    input_.tap("Escape");
    EXPECT_TRUE(awaitState(SessionState::Idle, 0));
}

} // namespace
} // namespace velmo::test
