#pragma once

#include "platform/x11/X11OwnWindows.h"

#include <QRegion>
#include <optional>
#include <vector>

namespace velmo {

/// A window on the screen that is not ours. Root coordinates.
struct X11StackedWindow {
    xcb_window_t window = XCB_NONE;
    QRect frame;    ///< With its border; the window's pixmap covers exactly this.
    QRegion region; ///< The part of the frame that the window's shape shows.
    xcb_visualid_t visual = 0;
    double opacity = 1; ///< What the window asks a compositing manager for.
};

/// Every viewable window that meets the area, bottom-most first, without ours. The caller has grabbed the
/// server.
[[nodiscard]] std::vector<X11StackedWindow>
readWindowStack(X11Connection& connection, const QRect& area,
                const std::optional<X11ResourceRange>& ownResources);

/// How many windows people could see: viewable top-level ones, ours included.
[[nodiscard]] int countViewableWindows(X11Connection& connection);

} // namespace velmo
