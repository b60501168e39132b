#include "platform/x11/X11CaptureBackground.h"

#include <algorithm>
#include <array>
#include <span>
#include <xcb/composite.h>

namespace velmo {

std::optional<X11Background> announcedBackground(X11Connection& connection)
{
    const xcb_pixmap_t pixmap =
        readNumber(connection.get(), connection.root(), connection.atom("_XROOTPMAP_ID"));
    if (pixmap == XCB_NONE)
        return std::nullopt;
    // The property outlives the program that set it, and the pixmap may not: its number may be a window's
    // now.
    const auto asked = xcb_get_geometry(connection.get(), pixmap);
    const auto askedRoot = xcb_get_geometry(connection.get(), connection.root());
    const auto askedWindow = xcb_get_window_attributes(connection.get(), pixmap);
    const auto geometry = connection.await(xcb_get_geometry_reply, asked);
    const auto root = connection.await(xcb_get_geometry_reply, askedRoot);
    const auto window = connection.await(xcb_get_window_attributes_reply, askedWindow);
    const auto& screen = connection.screen();
    if (!geometry || window || geometry->depth != screen.root_depth || geometry->root != screen.root)
        return std::nullopt;
    const bool covers = root && geometry->width >= root->width && geometry->height >= root->height;
    return X11Background{pixmap, QPoint(), !covers, false};
}

X11Background paintedBackground(X11Connection& connection, const QRect& area)
{
    // The server never hands out the root's background. A window that borrows it and lies below all others
    // shows it without anybody seeing a difference, and being redirected it has all of its pixels.
    xcb_connection_t* xcb = connection.get();
    const xcb_window_t window = xcb_generate_id(xcb);
    // A window without a colour of its own begins as a copy of the screen, with our windows in it.
    const std::array<uint32_t, 2> values{connection.screen().black_pixel, 1};
    xcb_create_window(xcb, XCB_COPY_FROM_PARENT, window, connection.root(), static_cast<int16_t>(area.x()),
                      static_cast<int16_t>(area.y()), static_cast<uint16_t>(area.width()),
                      static_cast<uint16_t>(area.height()), 0, XCB_WINDOW_CLASS_INPUT_OUTPUT,
                      XCB_COPY_FROM_PARENT, XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT, values.data());
    const uint32_t below = XCB_STACK_MODE_BELOW;
    xcb_configure_window(xcb, window, XCB_CONFIG_WINDOW_STACK_MODE, &below);
    xcb_map_window(xcb, window);
    const uint32_t borrowed = XCB_BACK_PIXMAP_PARENT_RELATIVE;
    xcb_change_window_attributes(xcb, window, XCB_CW_BACK_PIXMAP, &borrowed);
    xcb_clear_area(xcb, 0, window, 0, 0, 0, 0);
    const xcb_pixmap_t pixmap = xcb_generate_id(xcb);
    xcb_composite_name_window_pixmap(xcb, window, pixmap);
    xcb_destroy_window(xcb, window);
    return {pixmap, area.topLeft(), false, true};
}

bool isPainted(X11Connection& connection, const X11Background& announced, const QRect& area)
{
    // Tiles would have to be put together first, and small ones cost the server little.
    if (announced.repeats)
        return false;
    constexpr int kStripHeight = 4;
    const QRect strip = QRect(area.left(), area.center().y(), area.width(), kStripHeight).intersected(area);
    const auto painted = paintedBackground(connection, strip);
    const auto ask = [&](xcb_pixmap_t pixmap, QPoint corner) {
        return xcb_get_image(connection.get(), XCB_IMAGE_FORMAT_Z_PIXMAP, pixmap,
                             static_cast<int16_t>(corner.x()), static_cast<int16_t>(corner.y()),
                             static_cast<uint16_t>(strip.width()), static_cast<uint16_t>(strip.height()),
                             0xffffffff);
    };
    const auto asked = ask(painted.pixmap, QPoint());
    const auto askedAnnounced = ask(announced.pixmap, strip.topLeft());
    const auto truth = connection.await(xcb_get_image_reply, asked);
    const auto claim = connection.await(xcb_get_image_reply, askedAnnounced);
    xcb_free_pixmap(connection.get(), painted.pixmap);
    const auto bytes = [](const XcbPointer<xcb_get_image_reply_t>& image) {
        return image ? std::span(xcb_get_image_data(image.get()),
                                 static_cast<std::size_t>(xcb_get_image_data_length(image.get())))
                     : std::span<uint8_t>();
    };
    return truth && std::ranges::equal(bytes(truth), bytes(claim));
}

X11Background copyOfScreen(X11Connection& connection)
{
    xcb_connection_t* xcb = connection.get();
    const auto root = connection.await(xcb_get_geometry_reply, xcb_get_geometry(xcb, connection.root()));
    if (!root)
        return {};
    const xcb_pixmap_t pixmap = xcb_generate_id(xcb);
    xcb_create_pixmap(xcb, connection.screen().root_depth, pixmap, connection.root(), root->width,
                      root->height);
    const xcb_gcontext_t context = xcb_generate_id(xcb);
    const std::array<uint32_t, 2> values{XCB_SUBWINDOW_MODE_INCLUDE_INFERIORS, 0};
    xcb_create_gc(xcb, context, connection.root(), XCB_GC_SUBWINDOW_MODE | XCB_GC_GRAPHICS_EXPOSURES,
                  values.data());
    xcb_copy_area(xcb, connection.root(), pixmap, context, 0, 0, 0, 0, root->width, root->height);
    xcb_free_gc(xcb, context);
    return {pixmap, QPoint(), false, true};
}

} // namespace velmo
