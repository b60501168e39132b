#include "e2e/ProgramDesk.h"
#include "overlay/HintCapsuleController.h"
#include "panel/QueryInputPanel.h"
#include "support/widgets/ShownWidgets.h"

#include <QScreen>

namespace velmo::test {
namespace {

constexpr int kLeft = 1;
constexpr int kMiddle = 2;

/// The hint through the whole program, with a compositor and without.
class HintJob : public ProgramDesk, public testing::WithParamInterface<bool> {
protected:
    void SetUp() override
    {
        ProgramDesk::SetUp();
        if (GetParam()) {
            ASSERT_TRUE(display().startCompositor());
        }
        startProgram();
    }

    void holdChord() { input_.hold({"Alt_L", "Super_L"}); }
    void releaseChord() { input_.letGo({"Alt_L", "Super_L"}); }

    [[nodiscard]] static bool hintIsUp() { return !shownWidgets<HintCapsuleView>().empty(); }

    [[nodiscard]] static QImage screenNow()
    {
        return QApplication::primaryScreen()->grabWindow(0).toImage().convertToFormat(QImage::Format_RGB32);
    }

    /// Where the capsule stands on a screen without a dock.
    static constexpr QRect kPlace{780, 1024, 360, 40};
};

TEST_P(HintJob, ShowsWhileTheChordIsHeldAndLeavesNothing)
{
    const QImage before = awaitScreen().convertToFormat(QImage::Format_RGB32);
    holdChord();
    ASSERT_TRUE(awaitCondition([] { return hintIsUp(); }));
    EXPECT_TRUE(awaitCondition(
        [] { return qGray(screenNow().pixel(kPlace.left() + 30, kPlace.center().y())) < 60; }));
    releaseChord();
    EXPECT_TRUE(awaitCondition([] { return !hintIsUp(); }));
    EXPECT_TRUE(awaitCondition([&] { return screenNow().copy(kPlace) == before.copy(kPlace); }));
    EXPECT_EQ(session().state().value(), SessionState::Idle);
}

TEST_P(HintJob, IsNotInThePictureThatFollows)
{
    const QImage before = awaitScreen().convertToFormat(QImage::Format_RGB32);
    holdChord();
    ASSERT_TRUE(awaitCondition([] { return hintIsUp(); }));
    circle(desk_->target(), kLeft, [this] { return session().state().value() == SessionState::Drawing; });
    releaseChord();
    ASSERT_TRUE(awaitState(SessionState::Querying, 1));
    EXPECT_TRUE(awaitCondition([] { return !hintIsUp(); }));
    const QImage sent = QImage::fromData(session().chatMessages().messages()[0].attachment->imageData)
                            .convertToFormat(QImage::Format_RGB32);
    const QImage expected = before.scaled(sent.size(), Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    const double scale = static_cast<double>(sent.width()) / before.width();
    const QRect place =
        QRectF(QPointF(kPlace.topLeft()) * scale, QSizeF(kPlace.size()) * scale).toAlignedRect();
    EXPECT_EQ(sent.copy(place), expected.copy(place));
    input_.tap("Escape");
    EXPECT_TRUE(awaitState(SessionState::Idle, 0));
}

TEST_P(HintJob, GoesWhenASessionBeginsByTheMenu)
{
    holdChord();
    ASSERT_TRUE(awaitCondition([] { return hintIsUp(); }));
    delegate_->requestAnnotation();
    EXPECT_TRUE(awaitCondition([] { return !hintIsUp(); }));
    EXPECT_EQ(session().state().value(), SessionState::Drawing);
    releaseChord();
    input_.tap("Escape");
    EXPECT_TRUE(awaitState(SessionState::Idle, 0));
}

TEST_P(HintJob, GoesWithTheMonitorThatShowedIt)
{
    holdChord();
    ASSERT_TRUE(awaitCondition([] { return hintIsUp(); }));
    delegate_->restartHotkeyMonitor();
    EXPECT_TRUE(awaitCondition([] { return !hintIsUp(); }));
    releaseChord();
}

TEST_P(HintJob, WhileAQuestionIsAskedThePanelMakesRoomInstead)
{
    circle(desk_->target(), kMiddle);
    ASSERT_TRUE(awaitState(SessionState::Querying, 1));
    ask("why", 3);
    holdChord();
    ASSERT_TRUE(awaitCondition([] { return !isUp<QueryInputPanel>(); }));
    EXPECT_FALSE(hintIsUp());
    releaseChord();
    ASSERT_TRUE(awaitCondition([] { return isUp<QueryInputPanel>(); }));
    ASSERT_TRUE(awaitQuestionField());
    input_.tap("Escape");
    EXPECT_TRUE(awaitState(SessionState::Idle, 0));
}

INSTANTIATE_TEST_SUITE_P(Desktops, HintJob, testing::Bool(), [](const auto& desktop) {
    return desktop.param ? "WithACompositor" : "WithoutACompositor";
});

} // namespace
} // namespace velmo::test
