#include "platform/x11/X11ShapeReminder.h"

#include "platform/x11/X11Toolkit.h"

#include <array>
#include <utility>
#include <xcb/shape.h>

namespace velmo {

X11ShapeReminder::~X11ShapeReminder()
{
    xcb_connection_t* connection = toolkitConnection();
    if (connection == nullptr || window_ == XCB_NONE)
        return;
    xcb_destroy_window(connection, window_);
    xcb_flush(connection);
}

void X11ShapeReminder::create(xcb_connection_t* connection)
{
    window_ = xcb_generate_id(connection);
    const uint32_t isUnmanaged = 1;
    xcb_create_window(connection, 0, window_, toolkitScreen(connection).root, -1, -1, 1, 1, 0,
                      XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, XCB_CW_OVERRIDE_REDIRECT,
                      &isUnmanaged);
    // With a shape it is not worth a shadow.
    xcb_shape_rectangles(connection, XCB_SHAPE_SO_SET, XCB_SHAPE_SK_BOUNDING, XCB_CLIP_ORDERING_UNSORTED,
                         window_, 0, 0, 0, nullptr);
}

void X11ShapeReminder::remind(xcb_connection_t* connection, const QRect& area)
{
    if (window_ == XCB_NONE)
        create(connection);
    // Larger by what its own moving takes away again.
    const int aside = std::exchange(isAside_, !isAside_) ? 1 : 0;
    const std::array<uint32_t, 4> place{
        static_cast<uint32_t>(area.x() - aside), static_cast<uint32_t>(area.y()),
        static_cast<uint32_t>(area.width() + 1), static_cast<uint32_t>(area.height())};
    xcb_configure_window(connection, window_,
                         XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y | XCB_CONFIG_WINDOW_WIDTH |
                             XCB_CONFIG_WINDOW_HEIGHT,
                         place.data());
}

} // namespace velmo
