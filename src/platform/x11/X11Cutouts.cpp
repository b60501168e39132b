#include "platform/x11/X11Cutouts.h"

#include <algorithm>
#include <xcb/shape.h>

namespace velmo {
namespace {

void send(xcb_connection_t* connection, xcb_window_t window, const QRegion& shape)
{
    std::vector<xcb_rectangle_t> parts;
    for (const QRect& part : shape)
        parts.push_back({static_cast<int16_t>(part.x()), static_cast<int16_t>(part.y()),
                         static_cast<uint16_t>(part.width()), static_cast<uint16_t>(part.height())});
    xcb_shape_rectangles(connection, XCB_SHAPE_SO_SET, XCB_SHAPE_SK_BOUNDING, XCB_CLIP_ORDERING_YX_BANDED,
                         window, 0, 0, static_cast<uint32_t>(parts.size()), parts.data());
}

} // namespace

void X11Cutouts::cut(xcb_connection_t* connection, const std::vector<xcb_window_t>& windows,
                     const QRegion& area)
{
    area_ = area;
    for (const xcb_window_t window : windows) {
        if (!shapes_.contains(window))
            shapes_.emplace(window, readShape(connection, window));
    }
    std::erase_if(shapes_, [&](const auto& entry) {
        const auto& [window, shape] = entry;
        const QRect frame = readArea(connection, window);
        const bool hasHole = std::ranges::find(windows, window) != windows.end();
        if (hasHole)
            send(connection, window, shape - area_.translated(-frame.topLeft()));
        else if (shape == QRegion(QRect({}, frame.size())))
            // A shape that says the same would stay when the window grows.
            xcb_shape_mask(connection, XCB_SHAPE_SO_SET, XCB_SHAPE_SK_BOUNDING, window, 0, 0, XCB_NONE);
        else if (!frame.isEmpty())
            send(connection, window, shape);
        return !hasHole;
    });
}

void X11Cutouts::setShape(xcb_connection_t* connection, xcb_window_t window, const QRegion& shape)
{
    const auto found = shapes_.find(window);
    if (found == shapes_.end()) {
        send(connection, window, shape);
        return;
    }
    found->second = shape;
    send(connection, window, shape - area_.translated(-readArea(connection, window).topLeft()));
}

} // namespace velmo
