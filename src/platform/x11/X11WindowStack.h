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
    double opacity = 1;             ///< What the window asks a compositing manager for.
    xcb_pixmap_t pixmap = XCB_NONE; ///< Its contents with the border, once they are named.
};

/// Every viewable window that meets the area, bottom-most first, without ours. The caller has grabbed the
/// server.
[[nodiscard]] std::vector<X11StackedWindow>
readWindowStack(X11Connection& connection, const QRect& area,
                const std::optional<X11ResourceRange>& ownResources);

/// Gives every window's contents a name where the server hands them out. The caller has grabbed the server
/// and redirected the root's children, and frees the names.
void nameWindowPixmaps(X11Connection& connection, std::vector<X11StackedWindow>& stack);
void freeWindowPixmaps(X11Connection& connection, std::vector<X11StackedWindow>& stack);

/// How many windows people could see: viewable top-level ones, ours included.
[[nodiscard]] int countViewableWindows(X11Connection& connection);

} // namespace velmo
