#include "core/async/WorkerPool.h"
#include "fakes/FakeDisplayCapture.h"
#include "fakes/FakeWindowSurfaces.h"
#include "overlay/OverlayWindowController.h"
#include "support/core/SessionTest.h"

#include <QApplication>
#include <QKeyEvent>
#include <QScreen>

namespace velmo {
namespace {

/// A session whose overlays are real, on the toolkit's only screen.
class Overlay : public SessionTest {
protected:
    Overlay()
    {
        const QScreen* toolkit = QGuiApplication::primaryScreen();
        const QSizeF size = toolkit->geometry().size();
        here = FakeScreens::screen(toolkit->name(), 5, {0, 0, size.width(), size.height()});
        here.nativeFrame = {0, 0, toolkit->geometry().width(), toolkit->geometry().height()};
        displays.addDisplay(5, toolkit->geometry().size(), picture(Qt::green));
        screens.screens = {here};
        screens.mainScreen = here;
        auto parts = collaborators();
        parts.makeOverlay = [this](AnnotationSession& owner, bool showToolbar) {
            auto overlay = std::make_unique<OverlayWindowController>(
                owner, showToolbar, OverlayDesktop{screens, windows, displays});
            controller = overlay.get();
            return overlay;
        };
        session = std::make_unique<AnnotationSession>(std::move(parts));
        session->setSettings(settings);
    }

    ~Overlay() override
    {
        session->end();
        settle();
        async::finishWorkers();
    }

    [[nodiscard]] static QImage picture(const QColor& color)
    {
        QImage image(QGuiApplication::primaryScreen()->geometry().size(), QImage::Format_RGB32);
        image.fill(color);
        return image;
    }

    template <typename Widget>
    [[nodiscard]] static std::vector<Widget*> shown()
    {
        std::vector<Widget*> result;
        const auto widgets = QApplication::allWidgets();
        for (QWidget* widget : widgets) {
            if (auto* match = dynamic_cast<Widget*>(widget); match && match->isVisible())
                result.push_back(match);
        }
        return result;
    }

    [[nodiscard]] static OverlaySurface& surface() { return *shown<OverlaySurface>().at(0); }

    /// Returns whether anybody took it.
    static bool press(QWidget& widget, int key)
    {
        QKeyEvent event(QEvent::KeyPress, key, Qt::NoModifier);
        return QApplication::sendEvent(&widget, &event) && event.isAccepted();
    }

    static void mouse(QEvent::Type type, QPointF at, Qt::MouseButton button = Qt::LeftButton)
    {
        const Qt::MouseButtons held = type == QEvent::MouseButtonRelease ? Qt::NoButton : button;
        QMouseEvent event(type, at, at, at, type == QEvent::MouseMove ? Qt::NoButton : button, held,
                          Qt::NoModifier);
        QApplication::sendEvent(&surface(), &event);
    }

    static void drawStroke()
    {
        mouse(QEvent::MouseButtonPress, {100, 100});
        mouse(QEvent::MouseMove, {200, 100});
        mouse(QEvent::MouseButtonRelease, {200, 100});
    }

    Screen here;
    FakeWindowSurfaces windows;
    FakeDisplayCapture displays;
    OverlayWindowController* controller = nullptr;
};

TEST_F(Overlay, CoversTheScreenAndHoldsTheKeyboardWithoutTheFocus)
{
    session->begin(true);
    ASSERT_EQ(shown<OverlaySurface>().size(), 1U);
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
    const auto toolbars = shown<DrawingToolbarContentView>();
    ASSERT_EQ(toolbars.size(), 1U);
    const QRect screen = QGuiApplication::primaryScreen()->geometry();
    EXPECT_EQ(toolbars.front()->window()->geometry(),
              QRect((screen.width() - 420) / 2, screen.height() - 40 - 56, 420, 56));
}

TEST_F(Overlay, HasNoToolbarUnlessAskedForOrWithoutAMainScreen)
{
    session->begin(false);
    EXPECT_TRUE(shown<DrawingToolbarContentView>().empty());
    session->cancel();
    screens.mainScreen.reset();
    session->begin(true);
    EXPECT_TRUE(shown<DrawingToolbarContentView>().empty());
    EXPECT_EQ(shown<OverlaySurface>().size(), 1U) << "drawing still works";
}

TEST_F(Overlay, WithoutScreensIsEmptyAndCanBeCancelled)
{
    screens.screens.clear();
    screens.mainScreen.reset();
    session->begin(true);
    EXPECT_EQ(controller->unionRect(), ScreenRect{});
    EXPECT_TRUE(shown<OverlaySurface>().empty());
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
    EXPECT_TRUE(shown<OverlaySurface>().empty());
    EXPECT_TRUE(shown<DrawingToolbarContentView>().empty());
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
    EXPECT_TRUE(shown<DrawingToolbarContentView>().empty()) << "the toolbar has gone";
    EXPECT_EQ(shown<OverlaySurface>().size(), 1U) << "the overlay stays until the question is sent";
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
    EXPECT_TRUE(shown<OverlaySurface>().empty());
}

TEST_F(Overlay, FollowsTheDesktopBelowOnlyWithoutACompositor)
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

TEST_F(Overlay, AsksForTheKeyboardForAsLongAsItTakesTheMouse)
{
    windows.refusals = 52; // More than come in a hurry.
    session->begin(true);
    EXPECT_TRUE(turnUntil([this] { return windows.keyboardHolder == &surface(); }));
}

TEST_F(Overlay, EndsWhenItsLastScreenGoes)
{
    session->begin(true);
    screens.screens.clear();
    screens.mainScreen.reset();
    Q_EMIT qGuiApp->screenRemoved(QGuiApplication::primaryScreen());
    settle();
    EXPECT_EQ(state(), SessionState::Idle);
    EXPECT_EQ(windows.keyboardHolder, nullptr);
}

TEST_F(Overlay, EndsTheDrawingWhenTheScreensMoveUnderIt)
{
    session->begin(true);
    screens.screens.front().frame.y = -200;
    Q_EMIT qGuiApp->primaryScreenChanged(QGuiApplication::primaryScreen());
    settle();
    EXPECT_EQ(state(), SessionState::Idle);
}

TEST_F(Overlay, AChangeThatLeavesItsScreensAloneLeavesItAlone)
{
    session->begin(true);
    screens.screens.push_back(FakeScreens::screen(QStringLiteral("New"), 9, {5000, 0, 100, 100}));
    Q_EMIT qGuiApp->screenAdded(QGuiApplication::primaryScreen());
    settle();
    EXPECT_EQ(state(), SessionState::Drawing);
    EXPECT_EQ(windows.keyboardHolder, &surface());
}

TEST_F(Overlay, TakesNoKeyboardOnceTheQuestionIsTyped)
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

TEST_F(Overlay, TheToolbarIsThereBeforeTheOverlayAndLeavesRoomForAPreview)
{
    auto overlay = OverlayWindowController(*session, true, OverlayDesktop{screens, windows, displays});
    EXPECT_EQ(shown<DrawingToolbarContentView>().size(), 1U);
    EXPECT_TRUE(shown<OverlaySurface>().empty());
    overlay.showWindow();
    EXPECT_EQ(shown<OverlaySurface>().size(), 1U);
    EXPECT_EQ(windows.restacks, 1);
    EXPECT_EQ(windows.withoutShadow.size(), 1) << "the toolbar's";
    overlay.close();
}

TEST_F(Overlay, WithoutAStrokeThePenGoesWithTheDrawing)
{
    settings->submitMode.set(SubmitMode::ManualSubmit);
    session->begin(true);
    session->advanceToQuery();
    EXPECT_EQ(surface().cursor().shape(), Qt::ArrowCursor);
}

TEST_F(Overlay, AHeldEscapeCancelsOnce)
{
    session->begin(true);
    log.take();
    QKeyEvent repeated(QEvent::KeyPress, Qt::Key_Escape, Qt::NoModifier, QString(), true);
    EXPECT_TRUE(QApplication::sendEvent(&surface(), &repeated) && repeated.isAccepted()) << "swallowed";
    EXPECT_EQ(state(), SessionState::Drawing);
    EXPECT_TRUE(log.take().isEmpty());
}

TEST_F(Overlay, AMoveWithoutAPressOfItsOwnDrawsNothing)
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

TEST_F(Overlay, EndsFromOutsideWhileAQuestionIsAskedAndWhileAnAnswerArrives)
{
    session->begin(true);
    drawStroke();
    settle();
    ASSERT_EQ(state(), SessionState::Querying);
    session->end();
    EXPECT_EQ(state(), SessionState::Idle);
    EXPECT_TRUE(shown<OverlaySurface>().empty());
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
