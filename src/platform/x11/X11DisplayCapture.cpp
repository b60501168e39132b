#include "platform/x11/X11DisplayCapture.h"

#include "platform/x11/X11CaptureBackground.h"
#include "platform/x11/X11CapturePool.h"
#include "platform/x11/X11ChangeWatcher.h"
#include "platform/x11/X11Scene.h"
#include "platform/x11/X11WindowStack.h"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <utility>
#include <xcb/composite.h>

namespace velmo {
namespace {

PlatformError noServer()
{
    return {PlatformError::Kind::Failed, QStringLiteral("No X display can be reached.")};
}

PlatformError noDisplay()
{
    return {PlatformError::Kind::Failed, QStringLiteral("The display is no longer connected.")};
}

PlatformError foreignScreen()
{
    return {
        PlatformError::Kind::Unsupported,
        QStringLiteral("This screen belongs to a Wayland desktop, which does not show it to X programs.")};
}

} // namespace

/// A display as it looked, in the server.
struct X11DisplayCapture::Frozen {
    quint32 displayID = 0;
    X11CapturePool::Lease server;
    X11Scene scene; ///< Lives on the server's connection, so it goes first.
};

/// What the main thread and workers have in common.
struct X11DisplayCapture::Shared {
    X11CapturePool pool; ///< Outlives the frozen picture.
    std::mutex mutex;    ///< For the next five.
    std::vector<DisplayScale> scales;
    std::optional<X11ResourceRange> ownResources;
    QStringList diagnostics;
    std::unique_ptr<Frozen> frozen;
    QStringList told; ///< Diagnostics since prepare(), each of which is said once.
    std::atomic<bool> isRedirected = false;
    std::atomic<quint32> picture = 0; ///< The whole screen before any of our windows.
    std::atomic<quint32> base = 0;    ///< The same, where it has to stand in for the desktop's background.
};

X11DisplayCapture::X11DisplayCapture()
    : shared_(std::make_unique<Shared>())
{}
X11DisplayCapture::~X11DisplayCapture() = default;

void X11DisplayCapture::setScaleSource(ScaleSource source)
{
    scaleSource_ = std::move(source);
    auto scales = scaleSource_ ? scaleSource_() : std::vector<DisplayScale>{};
    const std::lock_guard lock(shared_->mutex);
    shared_->scales = std::move(scales);
}

void X11DisplayCapture::setOwnConnectionBase(quint32 base, quint32 mask)
{
    const std::lock_guard lock(shared_->mutex);
    shared_->ownResources = X11ResourceRange{base, mask};
}

QStringList X11DisplayCapture::takeDiagnostics()
{
    const std::lock_guard lock(shared_->mutex);
    return std::exchange(shared_->diagnostics, {});
}

void X11DisplayCapture::addDiagnostics(const QStringList& sentences)
{
    if (sentences.isEmpty())
        return;
    const std::lock_guard lock(shared_->mutex);
    for (const QString& sentence : sentences) {
        if (shared_->told.contains(sentence))
            continue;
        shared_->told << sentence;
        shared_->diagnostics << sentence;
    }
}

void X11DisplayCapture::prepare()
{
    setScaleSource(std::move(scaleSource_));
    forgetLostServer();
    if (isPrepared_)
        return;
    if (!holder_)
        holder_ = X11Connection::open();
    if (!holder_)
        return;
    isPrepared_ = true;
    {
        const std::lock_guard lock(shared_->mutex);
        shared_->told.clear();
    }
    takePicture();
    redirect();
    if (!shared_->isRedirected)
        return;
    // So that freeze() need not open one while somebody waits for the panel.
    shared_->pool.keepSpares();
    followChanges();
}

void X11DisplayCapture::forgetLostServer()
{
    // Reading is what shows that the connection is lost.
    if (holder_)
        holder_->discardEvents();
    if (!holder_ || !holder_->isBroken())
        return;
    isPrepared_ = false;
    shared_->isRedirected = false;
    shared_->picture = XCB_NONE;
    shared_->base = XCB_NONE;
    picturePixmap_ = XCB_NONE;
    replaceFrozen(nullptr);
    watcher_.reset();
    holder_.reset();
}

/// Wherever windows cannot be told apart later, the screen from before any of ours is the right picture
/// still.
void X11DisplayCapture::takePicture()
{
    const xcb_pixmap_t copy = copyOfScreen(*holder_).pixmap;
    holder_->sync();
    if (holder_->discardEvents() > 0 && copy != XCB_NONE) {
        xcb_free_pixmap(holder_->get(), copy);
        return;
    }
    picturePixmap_ = copy;
    shared_->picture = copy;
    // A compositing manager paints the desktop itself. Where it announces no background, there is none but
    // this.
    if (holder_->compositingManager() != XCB_NONE && !announcedBackground(*holder_))
        shared_->base = copy;
}

void X11DisplayCapture::redirect()
{
    if (!enableComposite(*holder_))
        return;
    const XcbPointer<xcb_generic_error_t> refusal(xcb_request_check(
        holder_->get(), xcb_composite_redirect_subwindows_checked(holder_->get(), holder_->root(),
                                                                  XCB_COMPOSITE_REDIRECT_AUTOMATIC)));
    if (refusal || holder_->isBroken())
        return;
    shared_->isRedirected = !holder_->isBroken();
}

void X11DisplayCapture::release()
{
    watcher_.reset();
    replaceFrozen(nullptr);
    if (!std::exchange(isPrepared_, false))
        return;
    shared_->picture = XCB_NONE;
    shared_->base = XCB_NONE;
    if (picturePixmap_ != XCB_NONE)
        xcb_free_pixmap(holder_->get(), std::exchange(picturePixmap_, XCB_NONE));
    if (shared_->isRedirected.exchange(false))
        xcb_composite_unredirect_subwindows(holder_->get(), holder_->root(),
                                            XCB_COMPOSITE_REDIRECT_AUTOMATIC);
    xcb_flush(holder_->get());
    holder_->discardEvents();
}

void X11DisplayCapture::freeze(std::optional<quint32> id)
{
    replaceFrozen(nullptr);
    // Screens may have come since the session began.
    setScaleSource(std::move(scaleSource_));
    if (!shared_->isRedirected)
        return;
    auto frozen = std::make_unique<Frozen>();
    frozen->server = shared_->pool.take();
    if (!frozen->server || frozen->server->isRootless || !frozen->server->missing.isEmpty())
        return;
    const auto displays = frozen->server->displays();
    if (displays.empty())
        return;
    const auto wanted = std::ranges::find(displays, id.value_or(displays.front().id), &X11Monitor::id);
    const auto& display = wanted == displays.end() ? displays.front() : *wanted;
    frozen->displayID = display.id;
    frozen->scene = compose(*frozen->server, display.area);
    if (frozen->scene.pixels)
        replaceFrozen(std::move(frozen));
    else
        addDiagnostics({QStringLiteral("The picture could not be kept when the stroke ended: ") +
                        frozen->scene.obstacle + u'.'});
}

void X11DisplayCapture::replaceFrozen(std::unique_ptr<Frozen> frozen)
{
    // What was there is destroyed after the lock is gone: that talks to the server.
    const std::lock_guard lock(shared_->mutex);
    std::swap(shared_->frozen, frozen);
}

QImage X11DisplayCapture::takeFrozen(quint32 id)
{
    std::unique_ptr<Frozen> frozen;
    {
        const std::lock_guard lock(shared_->mutex);
        if (shared_->frozen && shared_->frozen->displayID == id)
            frozen = std::move(shared_->frozen);
    }
    if (!frozen)
        return {};
    QImage image = frozen->scene.pixels->read();
    if (!image.isNull())
        addDiagnostics(frozen->scene.notes);
    return image;
}

void X11DisplayCapture::setChangeHandler(std::function<void()> handler)
{
    changeHandler_ = std::move(handler);
    followChanges();
}

void X11DisplayCapture::followChanges()
{
    watcher_.reset();
    if (!changeHandler_ || !shared_->isRedirected)
        return;
    std::optional<X11ResourceRange> ownResources;
    {
        const std::lock_guard lock(shared_->mutex);
        ownResources = shared_->ownResources;
    }
    watcher_ = X11ChangeWatcher::open(ownResources, changeHandler_);
    if (!watcher_)
        addDiagnostics({QStringLiteral("Changes of the screen go unnoticed: the X server lacks the Damage "
                                       "extension.")});
}

double X11DisplayCapture::scaleOf(quint32 displayID)
{
    const std::lock_guard lock(shared_->mutex);
    const auto found = std::ranges::find(shared_->scales, displayID, &DisplayScale::displayID);
    return found == shared_->scales.end() || found->scale <= 0 ? 1 : found->scale;
}

Result<ShareableContent, PlatformError> X11DisplayCapture::shareableContent()
{
    const auto server = shared_->pool.take();
    if (!server)
        return Failure{noServer()};
    ShareableContent content;
    for (const auto& display : server->displays()) {
        const double scale = scaleOf(display.id);
        content.displays.push_back({display.id, static_cast<int>(display.area.width() / scale),
                                    static_cast<int>(display.area.height() / scale)});
    }
    content.windowCount = countViewableWindows(*server->connection);
    if (server->connection->isBroken())
        return Failure{noServer()};
    if (!server->namesMonitors)
        addDiagnostics(
            {QStringLiteral("The whole screen counts as one display: the X server lacks RandR 1.5.")});
    return content;
}

X11Scene X11DisplayCapture::compose(X11CaptureServer& server, const QRect& area)
{
    X11Scene scene;
    scene.obstacle = server.missing;
    if (scene.obstacle.isEmpty() && shared_->isRedirected) {
        std::optional<X11ResourceRange> ownResources;
        {
            const std::lock_guard lock(shared_->mutex);
            ownResources = shared_->ownResources;
        }
        scene = composeScene(server, area, {ownResources, shared_->base});
    }
    // Also asked afterwards: windows that were released meanwhile have no pixels of their own.
    if (scene.obstacle.isEmpty() && !shared_->isRedirected)
        scene = {nullptr, QStringLiteral("the capture was not prepared"), {}};
    return scene;
}

Result<QImage, PlatformError> X11DisplayCapture::captureDisplay(quint32 id, CaptureMoment moment)
{
    if (moment == CaptureMoment::Frozen) {
        if (QImage image = takeFrozen(id); !image.isNull())
            return image;
    }
    const auto server = shared_->pool.take();
    if (!server)
        return Failure{noServer()};
    if (server->isRootless)
        return Failure{foreignScreen()};
    auto& connection = *server->connection;
    const auto displays = server->displays();
    const auto display = std::ranges::find(displays, id, &X11Monitor::id);
    if (display == displays.end())
        return Failure{connection.isBroken() ? noServer() : noDisplay()};

    auto scene = compose(*server, display->area);
    QImage image = scene.pixels ? scene.pixels->read() : QImage();
    if (image.isNull() && !connection.isBroken()) {
        if (scene.obstacle.isEmpty())
            scene.obstacle = QStringLiteral("the X server did not hand out the picture");
        const quint32 picture = moment == CaptureMoment::Frozen ? shared_->picture.load() : XCB_NONE;
        if (picture == XCB_NONE)
            return Failure{
                PlatformError{PlatformError::Kind::Unsupported,
                              QStringLiteral("The windows cannot be told apart: ") + scene.obstacle + u'.'}};
        scene.notes = {QStringLiteral("The picture is the screen from before the drawing: ") +
                       scene.obstacle + u'.'};
        image = readPixmapImage(connection, picture, display->area);
    }
    if (connection.isBroken())
        return Failure{noServer()};
    if (image.isNull())
        return Failure{PlatformError{PlatformError::Kind::Failed,
                                     QStringLiteral("The X server refused to show the screen.")}};
    if (moment == CaptureMoment::Frozen)
        addDiagnostics(scene.notes);
    return image;
}

} // namespace velmo
