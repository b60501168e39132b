#include "overlay/OverlayWindowController.h"

#include "core/CoordinateSpace.h"
#include "core/DebugLog.h"
#include "core/async/Timer.h"

#include <QApplication>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QScreen>
#include <utility>

namespace velmo {

namespace {

/// Another program may hold the keyboard for a moment, as the one that took the hotkey does.
constexpr std::chrono::milliseconds kKeyboardRetryPause{20};
constexpr int kKeyboardRetries = 100;

QScreen* toolkitScreen(const Screen& screen)
{
    const auto screens = QGuiApplication::screens();
    for (QScreen* candidate : screens) {
        if (candidate->name() == screen.name)
            return candidate;
    }
    return nullptr;
}

} // namespace

OverlayWindowController::OverlayWindowController(AnnotationSession& session, bool showToolbar,
                                                 const Screens& screens, WindowSurfaces& windows)
    : session_(session)
    , windows_(windows)
{
    // Every point that the pointer passes belongs to the stroke; merged moves would cut its corners.
    QCoreApplication::setAttribute(Qt::AA_CompressHighFrequencyEvents, false);
    const auto all = screens.all();
    for (const Screen& screen : all)
        unionRect_ = unionRect_.united(screen.frame);
    canvasView_ =
        std::make_unique<DrawingCanvasView>(ScreenSize{unionRect_.width, unionRect_.height}, drawingState_);
    for (const Screen& screen : all) {
        if (const QScreen* toolkit = toolkitScreen(screen))
            addSurface(toolkit->geometry(), screen);
    }
    canvasView_->onChange = [this](const QRectF& area) {
        for (const auto& surface : surfaces_)
            surface->refresh(area);
    };
    if (const auto main = screens.main(); showToolbar && main)
        toolbarPanel_ = std::make_unique<DrawingToolbarPanel>(session, toolkitScreen(*main)->geometry());
    qApp->installEventFilter(this);
    monitorsKeys_ = true;
}

OverlayWindowController::~OverlayWindowController()
{
    close();
}

void OverlayWindowController::addSurface(const QRect& geometry, const Screen& screen)
{
    const CanvasRect inCanvas = canvasRectFromScreen(screen.frame, unionRect_);
    const QPointF origin = topDownFromCanvas(inCanvas, unionRect_.height).topLeft();
    auto surface = std::make_unique<OverlaySurface>(geometry, origin, *canvasView_);
    // Without a compositor a translucent window is opaque, so the screen as it was is shown below the
    // strokes.
    if (!windows_.isComposited()) {
        if (QScreen* toolkit = toolkitScreen(screen))
            surface->setBackdrop(toolkit->grabWindow(0));
    }
    surface->onPress = [this](QPointF topDown) { strokeBegan(topDown); };
    surface->onDrag = [this](QPointF topDown) {
        if (session_.state().value() == SessionState::Drawing)
            canvasView_->extendStroke(canvasFromTopDown(topDown, unionRect_.height));
    };
    surface->onRelease = [this] { strokeEnded(); };
    surfaces_.push_back(std::move(surface));
}

void OverlayWindowController::showWindow()
{
    for (const auto& surface : surfaces_) {
        surface->show();
        surface->raise();
    }
    if (toolbarPanel_) {
        toolbarPanel_->show();
        toolbarPanel_->raise();
    }
    // At once, so that not even a hurried Escape goes to the application below.
    if (!surfaces_.empty() && !windows_.grabKeyboard(*surfaces_.front()))
        tasks_.start(holdKeyboard());
}

/// The overlay never gets the input focus, since that would repaint the very windows that are to be captured.
async::Task<> OverlayWindowController::holdKeyboard()
{
    for (int attempt = 0; attempt < kKeyboardRetries; ++attempt) {
        co_await async::sleepFor(kKeyboardRetryPause);
        if (session_.state().value() != SessionState::Drawing || windows_.grabKeyboard(*surfaces_.front()))
            co_return;
    }
}

void OverlayWindowController::close()
{
    if (std::exchange(monitorsKeys_, false))
        qApp->removeEventFilter(this);
    hideToolbar();
    for (const auto& surface : surfaces_) {
        windows_.releaseKeyboard(*surface);
        surface->unsetCursor();
        surface->hide();
    }
}

void OverlayWindowController::hideToolbar()
{
    if (toolbarPanel_)
        toolbarPanel_->hide();
}

void OverlayWindowController::strokeBegan(QPointF topDown)
{
    if (session_.state().value() != SessionState::Drawing)
        return;
    const CanvasPoint point = canvasFromTopDown(topDown, unionRect_.height);
    session_.noteDrawingBegan(screenPointFromCanvas(point, unionRect_));
    canvasView_->beginStroke(point);
}

void OverlayWindowController::strokeEnded()
{
    if (session_.state().value() == SessionState::Drawing && canvasView_->endStroke())
        tasks_.start(advanceAfterStroke());
}

async::Task<> OverlayWindowController::advanceAfterStroke()
{
    const auto settings = session_.settings();
    if (!settings || settings->submitMode.value() != SubmitMode::ManualSubmit)
        session_.advanceToQuery();
    co_return;
}

bool OverlayWindowController::eventFilter(QObject* watched, QEvent* event)
{
    // A key press comes once for the window and once more for the widget in it.
    if (event->type() != QEvent::KeyPress || !watched->isWidgetType())
        return false;
    if (static_cast<QKeyEvent*>(event)->key() != Qt::Key_Escape)
        return false;
    DebugLog::log(QStringLiteral("OverlayWindow"), QStringLiteral("Escape pressed — cancelling session"));
    session_.cancel();
    return true;
}

} // namespace velmo
