#include "platform/x11/X11Scene.h"

#include "platform/x11/X11CaptureBackground.h"
#include "platform/x11/X11SceneCompositor.h"
#include "platform/x11/X11WindowStack.h"

namespace velmo {
namespace {

using Blending = X11SceneCompositor::Blending;

/// What lies below all windows where none of them covers it.
X11Background findBackground(X11Connection& connection, const QRect& bounds, Blending blending,
                             const std::atomic<quint32>& picture, QStringList& notes)
{
    if (const auto announced = announcedBackground(connection))
        return *announced;
    if (blending == Blending::Opaque)
        return paintedBackground(connection, bounds);
    if (const quint32 pixmap = picture; pixmap != XCB_NONE)
        return {pixmap, QPoint(), false, false};
    notes << QStringLiteral(
        "The desktop's background may look different in the picture: the compositing manager "
        "paints it, and began after the capture was prepared.");
    return paintedBackground(connection, bounds);
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

void draw(X11CaptureServer& server, const X11SceneSources& sources, xcb_pixmap_t target, const QRect& area,
          QStringList& notes)
{
    auto& connection = *server.connection;
    const X11ServerGrab grab(connection.get());
    auto stack = readWindowStack(connection, area, sources.ownResources);
    nameWindowPixmaps(connection, stack);
    dropUnreadable(stack, server.formats, notes);
    const auto blending =
        connection.compositingManager() == XCB_NONE ? Blending::Opaque : Blending::Translucent;
    X11SceneCompositor scene(connection, server.formats, target, area);
    const QRegion uncovered = scene.cull(stack, blending);
    // Finding the background is the dear part, and under a full-screen window there is none to be seen.
    if (!uncovered.isEmpty()) {
        const auto background =
            findBackground(connection, uncovered.boundingRect(), blending, sources.picture, notes);
        scene.drawBackground(background, uncovered);
        if (background.owned)
            xcb_free_pixmap(connection.get(), background.pixmap);
    }
    scene.drawWindows(stack, blending);
    freeWindowPixmaps(connection, stack);
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
    draw(server, sources, scene.pixels->id(), area, scene.notes);
    // Requests that draw are not answered; what went wrong with them arrives before the next answer. Such a
    // picture has holes, or shows windows that were no longer redirected.
    connection.sync();
    if (const int errors = connection.discardEvents(); errors > 0 || connection.isBroken()) {
        scene.obstacle = connection.isBroken()
                             ? QStringLiteral("the X server has gone")
                             : QStringLiteral("the X server refused ") + QString::number(errors) +
                                   QStringLiteral(" drawing requests");
        scene.pixels.reset();
    }
    return scene;
}

} // namespace velmo
