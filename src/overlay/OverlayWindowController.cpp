#include "overlay/OverlayWindowController.h"

#include "core/DebugLog.h"
#include "core/async/Timer.h"
#include "widgets/ToolkitSpace.h"

#include <QApplication>
#include <QKeyEvent>
#include <QScreen>
#include <QVBoxLayout>
#include <utility>

namespace velmo {

namespace {

/// Another program may hold the keyboard for a moment, as the one that took the hotkey does, or for as long
/// as a menu of its own is open.
constexpr std::chrono::milliseconds kKeyboardRetryPause{20};
constexpr std::chrono::milliseconds kLaterKeyboardRetryPause{200};
constexpr int kHurriedKeyboardRetries = 50;
/// Between the toolbar and the bottom edge of the main screen.
constexpr double kToolbarElevation = 40;

QScreen* toolkitScreen(const QString& name)
{
    const auto screens = QGuiApplication::screens();
    const auto found = std::find_if(screens.begin(), screens.end(),
                                    [&](const QScreen* screen) { return screen->name() == name; });
    return found == screens.end() ? nullptr : *found;
}

} // namespace

OverlayWindowController::OverlayWindowController(AnnotationSession& session, bool showToolbar,
                                                 const OverlayDesktop& desktop)
    : session_(session)
    , desktop_(desktop)
    , screens_(desktop.screens.all())
{
    // Every point that the pointer passes belongs to the stroke; merged moves would cut its corners.
    QCoreApplication::setAttribute(Qt::AA_CompressHighFrequencyEvents, false);
    for (const Screen& screen : screens_)
        unionRect_ = unionRect_.united(screen.frame);
    setupCanvas();
    // With a compositor a translucent window shows what is below it; without one it is opaque.
    if (!desktop_.windows.isComposited())
        showDesktopAsItWas();
    if (showToolbar)
        setupToolbar();
    setupKeyHandler();
    watchScreens();
}

OverlayWindowController::~OverlayWindowController()
{
    close();
}

void OverlayWindowController::setupCanvas()
{
    std::vector<CanvasRegion> regions;
    for (const Screen& screen : screens_)
        regions.push_back({canvasRectFromScreen(screen.frame, unionRect_), screen.nativeFrame, screen.scale});
    canvasView_ = std::make_unique<DrawingCanvasView>(unionRect_, drawingState_, session_, regions);
    for (std::size_t region = 0; region < screens_.size(); ++region)
        addSurface(screens_[region], region);
    canvasView_->onChange = [this](std::size_t region, const QRect& pixels) {
        for (const auto& shown : shown_) {
            if (shown->region == region)
                shown->surface->refresh(pixels);
        }
    };
    canvasView_->onCursorChange = [this] {
        for (const auto& shown : shown_)
            shown->surface->updatePointer();
    };
}

/// The toolkit tells of a change in many small ones, so it is looked at on a later turn.
void OverlayWindowController::watchScreens()
{
    const LaterRefresh refresh(this, [this] { followScreens(); });
    const auto changed = [refresh] { refresh.request(); };
    connect(qApp, &QGuiApplication::screenAdded, this, changed);
    connect(qApp, &QGuiApplication::screenRemoved, this, changed);
    connect(qApp, &QGuiApplication::primaryScreenChanged, this, changed);
    const auto screens = QGuiApplication::screens();
    for (const QScreen* screen : screens)
        connect(screen, &QScreen::geometryChanged, this, changed);
}

void OverlayWindowController::addSurface(const Screen& screen, std::size_t region)
{
    const QScreen* toolkit = toolkitScreen(screen.name);
    if (!toolkit)
        return;
    auto shown = std::make_unique<ShownScreen>();
    shown->screen = screen;
    shown->region = region;
    shown->surface = std::make_unique<OverlaySurface>(toolkit->geometry(), *canvasView_, region);
    OverlaySurface& surface = *shown->surface;
    surface.onPress = [this, from = shown.get()](QPointF at) {
        canvasView_->mouseDown(canvasPoint(*from, at));
    };
    surface.onDrag = [this, from = shown.get()](QPointF at) {
        canvasView_->mouseDragged(canvasPoint(*from, at));
    };
    surface.onRelease = [this] { canvasView_->mouseUp(); };
    surface.onConfirm = [this] { confirmByKey(); };
    shown_.push_back(std::move(shown));
}

void OverlayWindowController::showDesktopAsItWas()
{
    for (const auto& shown : shown_) {
        if (QScreen* toolkit = toolkitScreen(shown->screen.name))
            shown->surface->setBackdrop(toolkit->grabWindow(0));
    }
}

void OverlayWindowController::followDesktop()
{
    std::vector<OverlayBackdrop::Target> targets;
    for (const auto& shown : shown_) {
        OverlaySurface* surface = shown->surface.get();
        if (const auto id = shown->screen.displayID)
            targets.push_back({*id, [surface](const QPixmap& picture) { surface->setBackdrop(picture); }});
    }
    backdrop_ = std::make_unique<OverlayBackdrop>(desktop_.capture, desktop_.windows, std::move(targets));
}

void OverlayWindowController::setupToolbar()
{
    const auto main = desktop_.screens.main();
    if (!main)
        return;
    const QSize size = DrawingToolbarContentView::kSize;
    const ScreenRect place{main->frame.midX() - size.width() / 2.0, main->frame.minY() + kToolbarElevation,
                           static_cast<double>(size.width()), static_cast<double>(size.height())};
    toolbarPanel_ = std::make_unique<FloatingWindow>(FloatingWindow::Mouse::Takes);
    desktop_.windows.omitShadow(*toolbarPanel_);
    auto* layout = new QVBoxLayout(toolbarPanel_.get());
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(new DrawingToolbarContentView(drawingState_, session_));
    toolbarPanel_->setGeometry(toolkitSpace().toQt(place).toRect());
    if (!desktop_.windows.isComposited())
        toolbarPanel_->cutCorners(DrawingToolbarContentView::kCornerRadius);
    toolbarPanel_->show();
}

void OverlayWindowController::setupKeyHandler()
{
    qApp->installEventFilter(this);
    monitorsKeys_ = true;
}

void OverlayWindowController::showWindow()
{
    for (const auto& shown : shown_) {
        shown->surface->show();
        desktop_.windows.setNativeGeometry(*shown->surface, shown->screen.nativeFrame);
        shown->surface->raise();
        shown->surface->updatePointer();
    }
    if (toolbarPanel_)
        toolbarPanel_->raise();
    desktop_.windows.keepManagedOnTop();
    takeKeyboard();
    followDesktop();
}

void OverlayWindowController::close()
{
    if (!std::exchange(monitorsKeys_, false))
        return;
    canvasView_->clearDrawingCursor();
    backdrop_.reset();
    qApp->removeEventFilter(this);
    hideToolbar();
    for (const auto& shown : shown_) {
        desktop_.windows.releaseKeyboard(*shown->surface);
        shown->surface->setCursor(Qt::ArrowCursor);
        shown->surface->hide();
    }
}

void OverlayWindowController::hideToolbar()
{
    if (toolbarPanel_)
        toolbarPanel_->hide();
    // The drawing is over, and without a stroke so is the pen.
    for (const auto& shown : shown_)
        shown->surface->updatePointer();
}

/// A screen that was unplugged takes its surface with it. When the others have moved as well, strokes would
/// no longer be where they were drawn, and without any screen nobody could end the drawing: then it ends by
/// itself.
void OverlayWindowController::followScreens()
{
    if (!monitorsKeys_)
        return;
    const auto screens = desktop_.screens.all();
    bool isAnyLeft = false;
    bool hasMoved = false;
    for (const auto& shown : shown_) {
        const auto now = std::ranges::find(screens, shown->screen.name, &Screen::name);
        if (now == screens.end()) {
            desktop_.windows.releaseKeyboard(*shown->surface);
            shown->surface->hide();
            continue;
        }
        isAnyLeft = true;
        hasMoved = hasMoved || now->frame != shown->screen.frame ||
                   now->nativeFrame != shown->screen.nativeFrame || now->scale != shown->screen.scale;
    }
    if (session_.state().value() != SessionState::Drawing)
        return;
    if (!isAnyLeft || hasMoved)
        session_.cancel();
    else
        takeKeyboard();
}

/// A drag that goes on over another screen is still told to the window it began in, in that one's scale.
CanvasPoint OverlayWindowController::canvasPoint(const ShownScreen& from, QPointF local) const
{
    const PixelRect& native = from.screen.nativeFrame;
    return canvasView_->fromNative(QPointF(native.x, native.y) + local * from.screen.scale);
}

/// Without a toolbar there is no "Done →" to click, and a gesture may have begun the drawing in a mode where
/// the user says when it is done.
void OverlayWindowController::confirmByKey()
{
    if (!toolbarPanel_ && canvasView_->hasCompletedFirstStroke())
        session_.advanceToQuery();
}

/// The overlay never gets the input focus, since that would repaint the very windows that are to be captured.
/// It takes the keyboard at once, so that not even a hurried Escape goes to the application below.
void OverlayWindowController::takeKeyboard()
{
    if (!tryTakingKeyboard())
        tasks_.start(keepTakingKeyboard());
}

bool OverlayWindowController::tryTakingKeyboard()
{
    const auto visible = std::find_if(shown_.begin(), shown_.end(),
                                      [](const auto& shown) { return shown->surface->isVisible(); });
    return visible == shown_.end() || desktop_.windows.grabKeyboard(*(*visible)->surface);
}

/// For as long as the overlay takes the mouse, since without the keyboard there is no Escape.
async::Task<> OverlayWindowController::keepTakingKeyboard()
{
    for (int attempt = 0;; ++attempt) {
        co_await async::sleepFor(attempt < kHurriedKeyboardRetries ? kKeyboardRetryPause
                                                                   : kLaterKeyboardRetryPause);
        if (session_.state().value() != SessionState::Drawing || tryTakingKeyboard())
            co_return;
    }
}

bool OverlayWindowController::eventFilter(QObject* watched, QEvent* event)
{
    // A key press comes once for the window and once more for the widget in it.
    if (event->type() != QEvent::KeyPress || !watched->isWidgetType())
        return false;
    if (static_cast<QKeyEvent*>(event)->key() != Qt::Key_Escape)
        return false;
    // The key repeats while it is held; what was meant has been done.
    if (static_cast<QKeyEvent*>(event)->isAutoRepeat())
        return true;
    DebugLog::log(QStringLiteral("OverlayWindow"), QStringLiteral("Escape pressed — cancelling session"));
    session_.cancel();
    return true;
}

} // namespace velmo
