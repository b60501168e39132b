#include "OverlayTest.h"

namespace velmo {
namespace {

TEST_F(Overlay, CoversTheScreenAndHoldsTheKeyboardWithoutTheFocus)
{
    session->begin(true);
    ASSERT_EQ(shownWidgets<OverlaySurface>().size(), 1U);
    EXPECT_EQ(surface().geometry(), QGuiApplication::primaryScreen()->geometry());
    EXPECT_TRUE(surface().windowFlags().testFlag(Qt::BypassWindowManagerHint));
    EXPECT_TRUE(surface().windowFlags().testFlag(Qt::WindowDoesNotAcceptFocus));
    EXPECT_TRUE(surface().testAttribute(Qt::WA_TranslucentBackground));
    EXPECT_EQ(windows.keyboardHolder, &surface());
    EXPECT_TRUE(windows.focused.isEmpty());
    EXPECT_EQ(controller->unionRect(), here.frame);
}

TEST_F(Overlay, PutsTheToolbarAboveTheBottomOfTheMainScreen)
{
    session->begin(true);
    const auto toolbars = shownWidgets<DrawingToolbarContentView>();
    ASSERT_EQ(toolbars.size(), 1U);
    const QRect screen = QGuiApplication::primaryScreen()->geometry();
    EXPECT_EQ(toolbars.front()->window()->geometry(),
              QRect((screen.width() - 420) / 2, screen.height() - 40 - 56, 420, 56));
}

TEST_F(Overlay, HasNoToolbarUnlessAskedForOrWithoutAMainScreen)
{
    session->begin(false);
    EXPECT_TRUE(shownWidgets<DrawingToolbarContentView>().empty());
    session->cancel();
    screens.mainScreen.reset();
    session->begin(true);
    EXPECT_TRUE(shownWidgets<DrawingToolbarContentView>().empty());
    EXPECT_EQ(shownWidgets<OverlaySurface>().size(), 1U) << "drawing still works";
}

TEST_F(Overlay, WithoutScreensIsEmptyAndCanBeCancelled)
{
    screens.screens.clear();
    screens.mainScreen.reset();
    session->begin(true);
    EXPECT_EQ(controller->unionRect(), ScreenRect{});
    EXPECT_TRUE(shownWidgets<OverlaySurface>().empty());
    session->endMiddleDraw();
    session->cancel();
    EXPECT_EQ(state(), SessionState::Idle);
}

TEST_F(Overlay, TheUnionIncludesTheOrigin)
{
    Screen away = here;
    away.frame = {100, 200, here.frame.width, here.frame.height};
    screens.screens = {away};
    session->begin(false);
    EXPECT_EQ(controller->unionRect(), (ScreenRect{0, 0, 100 + here.frame.width, 200 + here.frame.height}));
}

TEST_F(Overlay, EscapeIsLoggedCancelsAndGoesNoFurther)
{
    session->begin(true);
    log.take();
    QWidget other;
    EXPECT_TRUE(press(other, Qt::Key_Escape)) << "swallowed wherever in the application it arrives";
    EXPECT_EQ(state(), SessionState::Idle);
    const QStringList lines = log.take();
    ASSERT_EQ(lines.size(), 2);
    EXPECT_EQ(lines[0], QStringLiteral("[OverlayWindow] Escape pressed — cancelling session"));
    EXPECT_EQ(lines[1], QStringLiteral("[Session] Session cancelled and state reset"));
}

TEST_F(Overlay, OtherKeysPass)
{
    session->begin(true);
    EXPECT_FALSE(press(surface(), Qt::Key_A));
    EXPECT_FALSE(press(surface(), Qt::Key_Tab));
    EXPECT_EQ(state(), SessionState::Drawing);
}

TEST_F(Overlay, AfterItsEndEscapeIsNoLongerWatched)
{
    session->begin(true);
    session->cancel();
    log.take();
    QWidget other;
    EXPECT_FALSE(press(other, Qt::Key_Escape));
    EXPECT_TRUE(log.take().isEmpty());
}

TEST_F(Overlay, TakesTheKeyboardAsSoonAsAnotherProgramLetsGo)
{
    windows.refusals = 3;
    session->begin(true);
    EXPECT_EQ(windows.keyboardHolder, nullptr);
    EXPECT_TRUE(turnUntil([this] { return windows.keyboardHolder == &surface(); }));
    EXPECT_EQ(windows.grabAttempts, 4);
}

TEST_F(Overlay, ClosingGivesEverythingBack)
{
    session->begin(true);
    QPointer<OverlaySurface> window = &surface();
    drawStroke();
    session->cancel();
    EXPECT_TRUE(shownWidgets<OverlaySurface>().empty());
    EXPECT_TRUE(shownWidgets<DrawingToolbarContentView>().empty());
    EXPECT_EQ(windows.keyboardHolder, nullptr);
    ASSERT_TRUE(window) << "the window goes on a later turn";
    EXPECT_EQ(window->cursor().shape(), Qt::ArrowCursor);
    settle();
    EXPECT_FALSE(window);
}

TEST_F(Overlay, ShowsThePenUntilItCloses)
{
    session->begin(true);
    EXPECT_EQ(surface().cursor().shape(), Qt::BitmapCursor);
    EXPECT_EQ(surface().cursor().hotSpot(), QPoint(4, 20));
    EXPECT_EQ(surface().cursor().pixmap().size(), QSize(24, 24));
    drawStroke();
    settle();
    ASSERT_EQ(state(), SessionState::Querying);
    EXPECT_EQ(surface().cursor().shape(), Qt::BitmapCursor);
}

TEST_F(Overlay, TheMouseDrawsAndTheFirstStrokeSubmits)
{
    session->begin(true);
    drawStroke();
    settle();
    EXPECT_EQ(state(), SessionState::Querying);
    EXPECT_TRUE(shownWidgets<DrawingToolbarContentView>().empty()) << "the toolbar has gone";
    EXPECT_EQ(shownWidgets<OverlaySurface>().size(), 1U) << "the overlay stays until the question is sent";
    ASSERT_EQ(capture.requests.size(), 1U);
    EXPECT_EQ(capture.requests.front()->displayID, 5U);
    EXPECT_EQ(capture.frozen, std::vector<std::optional<quint32>>{5});
}

TEST_F(Overlay, OnlyTheLeftButtonDraws)
{
    session->begin(true);
    mouse(QEvent::MouseButtonPress, {100, 100}, Qt::RightButton);
    mouse(QEvent::MouseMove, {200, 100}, Qt::RightButton);
    mouse(QEvent::MouseButtonRelease, {200, 100}, Qt::RightButton);
    settle();
    EXPECT_EQ(state(), SessionState::Drawing);
}

TEST_F(Overlay, ShowsTheStrokeWhileItIsDrawn)
{
    session->begin(true);
    mouse(QEvent::MouseButtonPress, {100, 100});
    mouse(QEvent::MouseMove, {200, 100});
    const QImage picture = surface().grab().toImage();
    EXPECT_EQ(picture.pixelColor(150, 100), QColor(Qt::red));
    EXPECT_NE(picture.pixelColor(150, 120), QColor(Qt::red));
}

TEST_F(Overlay, ReturnSubmitsAManualDrawingThatHasNoToolbar)
{
    settings->submitMode.set(SubmitMode::ManualSubmit);
    for (const int key : {Qt::Key_Return, Qt::Key_Enter}) {
        session->begin(false);
        press(surface(), key);
        EXPECT_EQ(state(), SessionState::Drawing) << "nothing is drawn yet";
        drawStroke();
        settle();
        EXPECT_EQ(state(), SessionState::Drawing);
        press(surface(), key);
        EXPECT_EQ(state(), SessionState::Querying);
        session->cancel();
        settle();
    }
}

TEST_F(Overlay, ReturnDoesNothingBesideAToolbarOrInSingleStrokeMode)
{
    session->begin(false);
    press(surface(), Qt::Key_Return);
    EXPECT_EQ(state(), SessionState::Drawing);
    session->cancel();
    settings->submitMode.set(SubmitMode::ManualSubmit);
    session->begin(true);
    drawStroke();
    settle();
    press(surface(), Qt::Key_Return);
    EXPECT_EQ(state(), SessionState::Drawing);
}

TEST_F(Overlay, EndsFromOutsideWhileDrawing)
{
    session->end();
    EXPECT_EQ(state(), SessionState::Idle);
    session->begin(true);
    session->end();
    EXPECT_EQ(state(), SessionState::Idle);
    EXPECT_TRUE(shownWidgets<OverlaySurface>().empty());
}

} // namespace
} // namespace velmo
