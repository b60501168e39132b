#pragma once

#include "platform/x11/XcbSupport.h"

#include <QRect>

namespace velmo {

/// Lets every compositor see that a window has another shape. There are some (marco) that do not watch the
/// shapes of windows without a frame: they go on showing the former one until they hear that a window,
/// whichever, is somewhere else. So one that is never shown moves by a pixel, back or forth. Main thread.
class X11ShapeReminder {
public:
    X11ShapeReminder() = default;
    ~X11ShapeReminder();
    X11ShapeReminder(const X11ShapeReminder&) = delete;
    X11ShapeReminder& operator=(const X11ShapeReminder&) = delete;

    /// After the shape was set, on the same connection, and before it is flushed. The area is all that the
    /// window may cover, in native pixels on the root: what the shape has left is painted anew.
    void remind(xcb_connection_t* connection, const QRect& area);

private:
    void create(xcb_connection_t* connection);

    xcb_window_t window_ = XCB_NONE;
    bool isAside_ = false;
};

} // namespace velmo
