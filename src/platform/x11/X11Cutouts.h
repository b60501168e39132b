#pragma once

#include "platform/x11/XcbSupport.h"

#include <QRegion>
#include <map>
#include <vector>

namespace velmo {

/// Holes in our unmanaged windows, so that one of our dialogs is seen and used through them where the window
/// manager keeps unmanaged windows above all others (metacity, mutter). In native pixels. Main thread; it
/// waits for the server.
class X11Cutouts {
public:
    /// Leaves the area, on the root, out of each of these windows, and nothing out of any other one.
    void cut(xcb_connection_t* connection, const std::vector<xcb_window_t>& windows, const QRegion& area);

    /// The shape that a window is to have but for its hole; in the window.
    void setShape(xcb_connection_t* connection, xcb_window_t window, const QRegion& shape);

private:
    QRegion area_;
    std::map<xcb_window_t, QRegion> shapes_; ///< Of the windows with holes, without them.
};

} // namespace velmo
