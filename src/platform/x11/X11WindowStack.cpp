#include "platform/x11/X11WindowStack.h"

#include <limits>
#include <utility>
#include <xcb/composite.h>

namespace velmo {
namespace {

std::vector<xcb_window_t> childrenOfRoot(X11Connection& connection)
{
    return awaitChildren(connection.get(), xcb_query_tree(connection.get(), connection.root()));
}

bool isVisible(const xcb_get_window_attributes_reply_t* attributes)
{
    return attributes != nullptr && attributes->map_state == XCB_MAP_STATE_VIEWABLE &&
           attributes->_class == XCB_WINDOW_CLASS_INPUT_OUTPUT;
}

/// The window that a compositing manager paints everything into: it shows all others and is none itself.
xcb_window_t overlayOfManager(X11Connection& connection)
{
    // Asking creates the overlay where nobody has one yet, and it would cover the screen.
    if (connection.compositingManager() == XCB_NONE)
        return XCB_NONE;
    const auto reply =
        connection.await(xcb_composite_get_overlay_window_reply,
                         xcb_composite_get_overlay_window(connection.get(), connection.root()));
    if (!reply)
        return XCB_NONE;
    xcb_composite_release_overlay_window(connection.get(), connection.root());
    return reply->overlay_win;
}

struct PendingWindow {
    xcb_window_t window;
    xcb_get_window_attributes_cookie_t attributes;
    xcb_get_geometry_cookie_t geometry;
    xcb_shape_query_extents_cookie_t shape;
    xcb_get_property_cookie_t opacity;
};

std::optional<X11StackedWindow> finish(X11Connection& connection, const PendingWindow& pending,
                                       const QRect& area)
{
    const auto attributes = connection.await(xcb_get_window_attributes_reply, pending.attributes);
    const auto geometry = connection.await(xcb_get_geometry_reply, pending.geometry);
    const auto shape = connection.await(xcb_shape_query_extents_reply, pending.shape);
    const auto opacity = awaitNumbers(connection.get(), pending.opacity);
    if (!isVisible(attributes.get()) || !geometry)
        return std::nullopt;
    const int border = geometry->border_width;
    X11StackedWindow result;
    result.window = pending.window;
    result.visual = attributes->visual;
    result.frame =
        QRect(geometry->x, geometry->y, geometry->width + 2 * border, geometry->height + 2 * border);
    if (!result.frame.intersects(area))
        return std::nullopt;
    result.region = result.frame;
    if (shape && shape->bounding_shaped != 0) {
        // Shapes are counted from inside the border and may reach beyond the window.
        const QPoint inner = result.frame.topLeft() + QPoint(border, border);
        result.region &= readShape(connection.get(), pending.window).translated(inner);
    }
    if (!opacity.empty())
        result.opacity = opacity.front() / double{std::numeric_limits<quint32>::max()};
    return result;
}

} // namespace

std::vector<X11StackedWindow> readWindowStack(X11Connection& connection, const QRect& area,
                                              const std::optional<X11ResourceRange>& ownResources)
{
    const xcb_window_t overlay = overlayOfManager(connection);
    const xcb_atom_t opacity = connection.atom("_NET_WM_WINDOW_OPACITY");
    std::vector<PendingWindow> pending;
    for (const xcb_window_t window : childrenOfRoot(connection)) {
        if (window == overlay)
            continue;
        pending.push_back({window, xcb_get_window_attributes(connection.get(), window),
                           xcb_get_geometry(connection.get(), window),
                           xcb_shape_query_extents(connection.get(), window),
                           requestProperty(connection.get(), window, opacity)});
    }
    std::vector<X11StackedWindow> stack;
    std::vector<xcb_window_t> visible;
    for (const auto& window : pending) {
        if (auto finished = finish(connection, window, area)) {
            visible.push_back(finished->window);
            stack.push_back(std::move(*finished));
        }
    }
    const auto own = findOwnWindows(connection, visible, ownResources);
    std::erase_if(stack, [&](const X11StackedWindow& window) { return own.contains(window.window); });
    return stack;
}

void nameWindowPixmaps(X11Connection& connection, std::vector<X11StackedWindow>& stack)
{
    std::vector<xcb_void_cookie_t> cookies;
    cookies.reserve(stack.size());
    for (auto& window : stack) {
        window.pixmap = xcb_generate_id(connection.get());
        cookies.push_back(
            xcb_composite_name_window_pixmap_checked(connection.get(), window.window, window.pixmap));
    }
    for (std::size_t i = 0; i < stack.size(); ++i) {
        if (const XcbPointer<xcb_generic_error_t> refusal{xcb_request_check(connection.get(), cookies[i])})
            stack[i].pixmap = XCB_NONE;
    }
}

void freeWindowPixmaps(X11Connection& connection, std::vector<X11StackedWindow>& stack)
{
    for (auto& window : stack) {
        if (window.pixmap != XCB_NONE)
            xcb_free_pixmap(connection.get(), std::exchange(window.pixmap, XCB_NONE));
    }
}

int countViewableWindows(X11Connection& connection)
{
    std::vector<xcb_get_window_attributes_cookie_t> cookies;
    for (const xcb_window_t window : childrenOfRoot(connection))
        cookies.push_back(xcb_get_window_attributes(connection.get(), window));
    int count = 0;
    for (const auto cookie : cookies) {
        const auto attributes = connection.await(xcb_get_window_attributes_reply, cookie);
        count += isVisible(attributes.get()) ? 1 : 0;
    }
    return count;
}

} // namespace velmo
