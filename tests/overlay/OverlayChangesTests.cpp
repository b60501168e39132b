#include "OverlayTest.h"

namespace velmo {
namespace {

/// What the desktop, the screens and other windows do while an overlay is up.
class OverlayChanges : public Overlay {};

TEST_F(OverlayChanges, FollowsTheDesktopBelowOnlyWithoutACompositor)
{
    const auto at = [] { return surface().grab().toImage().pixelColor(50, 50); };
    windows.composited = false;
    session->begin(true);
    EXPECT_TRUE(turnUntil([&] { return at() == QColor(Qt::green); })) << "a first look, without our windows";
    ASSERT_TRUE(displays.onChange);
    const auto before = displays.requests().size();
    // Changes that come in while a picture is taken make one more, not one each.
    displays.setPicture(5, picture(Qt::blue));
    displays.onChange();
    displays.onChange();
    displays.onChange();
    EXPECT_TRUE(turnUntil([&] { return at() == QColor(Qt::blue); }));
    EXPECT_LE(displays.requests().size(), before + 2);

    // A compositor that starts shows the desktop itself, and one that ends leaves it to us again.
    windows.composited = true;
    displays.onChange();
    EXPECT_TRUE(turnUntil([&] { return at() != QColor(Qt::blue); }));
    const auto then = displays.requests().size();
    displays.onChange();
    settle();
    EXPECT_EQ(displays.requests().size(), then);
    windows.composited = false;
    displays.onChange();
    EXPECT_TRUE(turnUntil([&] { return at() == QColor(Qt::blue); }));
    session->cancel();
    EXPECT_FALSE(displays.onChange);
    settle();
}

TEST_F(OverlayChanges, AsksForTheKeyboardForAsLongAsItTakesTheMouse)
{
    windows.refusals = 52; // More than come in a hurry.
    session->begin(true);
    EXPECT_TRUE(turnUntil([this] { return windows.keyboardHolder == &surface(); }));
}

TEST_F(OverlayChanges, EndsWhenItsLastScreenGoes)
{
    session->begin(true);
    screens.screens.clear();
    screens.mainScreen.reset();
    Q_EMIT qGuiApp->screenRemoved(QGuiApplication::primaryScreen());
    settle();
    EXPECT_EQ(state(), SessionState::Idle);
    EXPECT_EQ(windows.keyboardHolder, nullptr);
}

TEST_F(OverlayChanges, EndsTheDrawingWhenTheScreensMoveUnderIt)
{
    session->begin(true);
    screens.screens.front().frame.y = -200;
    Q_EMIT qGuiApp->primaryScreenChanged(QGuiApplication::primaryScreen());
    settle();
    EXPECT_EQ(state(), SessionState::Idle);
}

TEST_F(OverlayChanges, AChangeThatLeavesItsScreensAloneLeavesItAlone)
{
    session->begin(true);
    screens.screens.push_back(FakeScreens::screen(QStringLiteral("New"), 9, {5000, 0, 100, 100}));
    Q_EMIT qGuiApp->screenAdded(QGuiApplication::primaryScreen());
    settle();
    EXPECT_EQ(state(), SessionState::Drawing);
    EXPECT_EQ(windows.keyboardHolder, &surface());
}

TEST_F(OverlayChanges, TakesNoKeyboardOnceTheQuestionIsTyped)
{
    session->begin(true);
    drawStroke();
    settle();
    ASSERT_EQ(state(), SessionState::Querying);
    windows.keyboardHolder = nullptr; // The panel has it.
    const int attempts = windows.grabAttempts;
    Q_EMIT qGuiApp->primaryScreenChanged(QGuiApplication::primaryScreen());
    settle();
    EXPECT_EQ(windows.grabAttempts, attempts);
    EXPECT_EQ(state(), SessionState::Querying);
}

TEST_F(OverlayChanges, TheToolbarIsThereBeforeTheOverlayAndLeavesRoomForAPreview)
{
    auto overlay = OverlayWindowController(*session, true, OverlayDesktop{screens, windows, displays});
    EXPECT_EQ(shownWidgets<DrawingToolbarContentView>().size(), 1U);
    EXPECT_TRUE(shownWidgets<OverlaySurface>().empty());
    overlay.showWindow();
    EXPECT_EQ(shownWidgets<OverlaySurface>().size(), 1U);
    EXPECT_EQ(windows.restacks, 1);
    EXPECT_EQ(windows.withoutShadow.size(), 1) << "the toolbar's";
    overlay.close();
}

TEST_F(OverlayChanges, WithoutAStrokeThePenGoesWithTheDrawing)
{
    settings->submitMode.set(SubmitMode::ManualSubmit);
    session->begin(true);
    session->advanceToQuery();
    EXPECT_EQ(surface().cursor().shape(), Qt::ArrowCursor);
}

TEST_F(OverlayChanges, AHeldEscapeCancelsOnce)
{
    session->begin(true);
    log.take();
    QKeyEvent repeated(QEvent::KeyPress, Qt::Key_Escape, Qt::NoModifier, QString(), true);
    EXPECT_TRUE(QApplication::sendEvent(&surface(), &repeated) && repeated.isAccepted()) << "swallowed";
    EXPECT_EQ(state(), SessionState::Drawing);
    EXPECT_TRUE(log.take().isEmpty());
}

TEST_F(OverlayChanges, AMoveWithoutAPressOfItsOwnDrawsNothing)
{
    session->beginWithDraw({100, 100});
    settle();
    const auto* canvas = dynamic_cast<DrawingCanvasView*>(controller->canvas());
    ASSERT_TRUE(canvas != nullptr && canvas->currentStroke());
    const auto points = canvas->currentStroke()->path.size();
    mouse(QEvent::MouseMove, {200, 100});
    mouse(QEvent::MouseButtonRelease, {200, 100});
    settle();
    EXPECT_EQ(canvas->currentStroke()->path.size(), points) << "the gesture's stroke is the gesture's";
    EXPECT_EQ(state(), SessionState::Drawing);
}

TEST_F(OverlayChanges, EndsFromOutsideWhileAQuestionIsAskedAndWhileAnAnswerArrives)
{
    session->begin(true);
    drawStroke();
    settle();
    ASSERT_EQ(state(), SessionState::Querying);
    session->end();
    EXPECT_EQ(state(), SessionState::Idle);
    EXPECT_TRUE(shownWidgets<OverlaySurface>().empty());
    settle();

    session->begin(true);
    drawStroke();
    settle();
    deliverCapture("picture");
    ask(QStringLiteral("why"));
    ASSERT_EQ(state(), SessionState::Streaming);
    session->end();
    EXPECT_EQ(state(), SessionState::Idle);
}

} // namespace
} // namespace velmo
