#include "platform/x11/X11Scene.h"

#include "platform/x11/X11CaptureBackground.h"
#include "platform/x11/X11SceneCompositor.h"
#include "platform/x11/X11WindowStack.h"

namespace velmo {
namespace {

using Blending = X11SceneCompositor::Blending;

/// What lies below all windows where none of them covers it; none where only a compositing manager knows.
std::optional<X11Background> findBackground(X11Connection& connection, const QRect& bounds, Blending blending,
                                            const std::atomic<quint32>& picture)
{
    const auto announced = announcedBackground(connection);
    if (blending == Blending::Opaque) {
        return announced && isPainted(connection, *announced, bounds) ? *announced
                                                                      : paintedBackground(connection, bounds);
    }
    if (announced)
        return announced;
    const quint32 pixmap = picture;
    return pixmap == XCB_NONE ? std::nullopt : std::optional(X11Background{pixmap, QPoint(), false, false});
}

/// Leaves out windows that have no pixels to draw with, before they could cover others.
void dropUnreadable(std::vector<X11StackedWindow>& stack, const X11RenderFormats& formats, QStringList& notes)
{
    const auto dropped = std::erase_if(stack, [&](const X11StackedWindow& window) {
        return window.pixmap == XCB_NONE || formats.ofVisual(window.visual).id == XCB_NONE;
    });
    if (dropped > 0)
        notes << QStringLiteral("The X server does not hand out the contents of ") +
                     QString::number(dropped) + QStringLiteral(" windows; the picture lacks them.");
}

/// Half a sentence about why it cannot be drawn; empty if it is.
QString draw(X11CaptureServer& server, const X11SceneSources& sources, xcb_pixmap_t target, const QRect& area,
             QStringList& notes)
{
    auto& connection = *server.connection;
    const X11ServerGrab grab(connection.get());
    // A monitor may have gone since it was asked about, and what lies beyond the root is nobody's.
    const auto root =
        connection.await(xcb_get_geometry_reply, xcb_get_geometry(connection.get(), connection.root()));
    if (!root || !QRect(0, 0, root->width, root->height).contains(area))
        return QStringLiteral("the screen has shrunk");
    auto stack = readWindowStack(connection, area, sources.ownResources);
    nameWindowPixmaps(connection, stack);
    dropUnreadable(stack, server.formats, notes);
    const auto blending =
        connection.compositingManager() == XCB_NONE ? Blending::Opaque : Blending::Translucent;
    X11SceneCompositor scene(connection, server.formats, target, area);
    const QRegion uncovered = scene.cull(stack, blending);
    std::optional<X11Background> background;
    // Finding the background is the dear part, and under a full-screen window there is none to be seen.
    if (!uncovered.isEmpty())
        background = findBackground(connection, uncovered.boundingRect(), blending, sources.picture);
    if (background) {
        scene.drawBackground(*background, uncovered);
        if (background->owned)
            xcb_free_pixmap(connection.get(), background->pixmap);
    }
    scene.drawWindows(stack, blending);
    freeWindowPixmaps(connection, stack);
    if (background || uncovered.isEmpty())
        return {};
    return QStringLiteral(
        "the compositing manager paints the desktop's background, and began after the capture "
        "was prepared");
}

} // namespace

X11Scene composeScene(X11CaptureServer& server, const QRect& area, const X11SceneSources& sources)
{
    auto& connection = *server.connection;
    X11Scene scene;
    scene.pixels = X11ReadablePixmap::create(connection, area.size());
    if (!scene.pixels) {
        scene.obstacle = QStringLiteral("the X server has no room for the picture");
        return scene;
    }
    connection.discardEvents();
    scene.obstacle = draw(server, sources, scene.pixels->id(), area, scene.notes);
    // Requests that draw are not answered; what went wrong with them arrives before the next answer. Such a
    // picture has holes, or shows windows that were no longer redirected.
    connection.sync();
    if (const int errors = connection.discardEvents(); errors > 0 || connection.isBroken()) {
        scene.obstacle = connection.isBroken()
                             ? QStringLiteral("the X server has gone")
                             : QStringLiteral("the X server refused ") + QString::number(errors) +
                                   QStringLiteral(" drawing requests");
    }
    if (!scene.obstacle.isEmpty())
        scene.pixels.reset();
    return scene;
}

} // namespace velmo
