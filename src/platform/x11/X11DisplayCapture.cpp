#include "platform/x11/X11DisplayCapture.h"

#include "platform/x11/X11CaptureServer.h"
#include "platform/x11/X11Monitors.h"
#include "platform/x11/X11ReadablePixmap.h"
#include "platform/x11/X11SceneCompositor.h"

#include <algorithm>
#include <utility>
#include <xcb/composite.h>

namespace velmo {
namespace {

PlatformError noDisplay()
{
    return {PlatformError::Kind::Failed, QStringLiteral("No X display can be reached.")};
}

} // namespace

/// What the main thread sets and the worker reads.
struct X11DisplayCapture::Shared {
    std::mutex mutex;
    std::vector<DisplayScale> scales;
    std::optional<X11ResourceRange> ownResources;
    QStringList diagnostics;
    std::atomic<bool> isRedirected = false;
    std::atomic<quint32> picture = 0;
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

void X11DisplayCapture::addDiagnostic(const QString& sentence)
{
    const std::lock_guard lock(shared_->mutex);
    shared_->diagnostics << sentence;
}

void X11DisplayCapture::prepare()
{
    setScaleSource(std::move(scaleSource_));
    if (shared_->isRedirected)
        return;
    if (!holder_ || holder_->isBroken())
        holder_ = X11Connection::open();
    if (!holder_ || !enableComposite(*holder_))
        return;
    xcb_composite_redirect_subwindows(holder_->get(), holder_->root(), XCB_COMPOSITE_REDIRECT_AUTOMATIC);
    // A compositing manager paints the desktop itself. Where it announces no picture of it, the screen as it
    // is now, without any window of ours, is the only one there is.
    if (holder_->compositingManager() != XCB_NONE && !announcedBackground(*holder_))
        picturePixmap_ = copyOfScreen(*holder_).pixmap;
    shared_->picture = picturePixmap_;
    holder_->sync();
    holder_->discardEvents();
    shared_->isRedirected = !holder_->isBroken();
}

void X11DisplayCapture::release()
{
    if (!shared_->isRedirected.exchange(false))
        return;
    shared_->picture = XCB_NONE;
    if (picturePixmap_ != XCB_NONE)
        xcb_free_pixmap(holder_->get(), std::exchange(picturePixmap_, XCB_NONE));
    xcb_composite_unredirect_subwindows(holder_->get(), holder_->root(), XCB_COMPOSITE_REDIRECT_AUTOMATIC);
    xcb_flush(holder_->get());
    holder_->discardEvents();
}

void X11DisplayCapture::freeze(std::optional<quint32>) {}

void X11DisplayCapture::setChangeHandler(std::function<void()>) {}

X11CaptureServer* X11DisplayCapture::server()
{
    if (!server_ || server_->connection->isBroken())
        server_ = X11CaptureServer::open();
    if (server_)
        server_->connection->discardEvents();
    return server_.get();
}

double X11DisplayCapture::scaleOf(quint32 displayID)
{
    const std::lock_guard lock(shared_->mutex);
    const auto found = std::ranges::find(shared_->scales, displayID, &DisplayScale::displayID);
    return found == shared_->scales.end() || found->scale <= 0 ? 1 : found->scale;
}

Result<ShareableContent, PlatformError> X11DisplayCapture::shareableContent()
{
    auto* capture = server();
    if (capture == nullptr)
        return Failure{noDisplay()};
    auto& connection = *capture->connection;
    ShareableContent content;
    for (const auto& monitor : readMonitors(connection.get(), connection.root())) {
        const double scale = scaleOf(monitor.id);
        content.displays.push_back({monitor.id, static_cast<int>(monitor.area.width() / scale),
                                    static_cast<int>(monitor.area.height() / scale)});
    }
    content.windowCount = countViewableWindows(connection);
    if (connection.isBroken())
        return Failure{noDisplay()};
    if (content.displays.empty())
        return Failure{PlatformError{PlatformError::Kind::Unsupported,
                                     QStringLiteral("The X server names no monitors (RandR 1.5).")}};
    return content;
}

Result<QImage, PlatformError> X11DisplayCapture::captureDisplay(quint32 id, CaptureMoment)
{
    auto* capture = server();
    if (capture == nullptr)
        return Failure{noDisplay()};
    auto& connection = *capture->connection;
    const auto monitors = readMonitors(connection.get(), connection.root());
    const auto monitor = std::ranges::find(monitors, id, &X11Monitor::id);
    if (monitor == monitors.end())
        return Failure{PlatformError{PlatformError::Kind::Failed,
                                     QStringLiteral("The display is no longer connected.")}};

    QImage image;
    QString obstacle = capture->missing;
    if (obstacle.isEmpty() && !shared_->isRedirected)
        obstacle = QStringLiteral("the capture was not prepared");
    if (obstacle.isEmpty()) {
        image = captureWithoutOwnWindows(*capture, monitor->area);
        if (image.isNull())
            obstacle = QStringLiteral("the windows could not be put together");
    }
    if (image.isNull()) {
        addDiagnostic(QStringLiteral("The picture is the plain screen with this program's own windows: ") +
                      obstacle + QStringLiteral("."));
        image = readRootImage(connection, monitor->area);
    }
    if (image.isNull())
        return Failure{PlatformError{PlatformError::Kind::Failed,
                                     QStringLiteral("The X server refused to show the screen.")}};
    return image;
}

QImage X11DisplayCapture::captureWithoutOwnWindows(X11CaptureServer& server, const QRect& area)
{
    using Blending = X11SceneCompositor::Blending;
    auto& connection = *server.connection;
    std::optional<X11ResourceRange> ownResources;
    {
        const std::lock_guard lock(shared_->mutex);
        ownResources = shared_->ownResources;
    }
    X11ReadablePixmap target(connection, area.size());
    {
        const X11ServerGrab grab(connection.get());
        auto stack = readWindowStack(connection, area, ownResources);
        const auto blending =
            connection.compositingManager() == XCB_NONE ? Blending::Opaque : Blending::Translucent;
        X11SceneCompositor scene(connection, server.formats, target.id(), area);
        const QRegion uncovered = scene.cull(stack, blending);
        // Finding the background is the dear part, and under a full-screen window there is none to be seen.
        if (!uncovered.isEmpty()) {
            X11Background background{shared_->picture, QPoint(), false, false};
            if (const auto announced = announcedBackground(connection))
                background = *announced;
            else if (blending == Blending::Opaque)
                background = paintedBackground(connection, uncovered.boundingRect());
            scene.drawBackground(background, uncovered);
            if (background.owned)
                xcb_free_pixmap(connection.get(), background.pixmap);
        }
        scene.drawWindows(stack, blending);
    }
    QImage image = target.read();
    // Requests that draw are not answered; what went wrong with them has arrived together with the pixels.
    if (const int errors = connection.discardEvents(); errors > 0)
        addDiagnostic(QStringLiteral("Parts of the picture may be missing: the X server refused ") +
                      QString::number(errors) + QStringLiteral(" drawing requests."));
    return image;
}

} // namespace velmo
