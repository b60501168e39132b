#pragma once

#include "platform/x11/X11Connection.h"

#include <QRect>
#include <optional>

namespace velmo {

/// A pixmap of the root's depth that shows the desktop below all windows.
struct X11Background {
    xcb_pixmap_t pixmap = XCB_NONE;
    QPoint origin{};      ///< Where the pixmap's top left is on the root.
    bool repeats = false; ///< Smaller than the root, laid out as tiles.
    bool owned = false;   ///< The receiver frees it.
};

/// The picture that the desktop announces as its background; none when it announces nothing usable.
[[nodiscard]] std::optional<X11Background> announcedBackground(X11Connection& connection);

/// What the server itself paints on this part of the root. Only where no compositing manager paints the
/// screen. The caller has grabbed the server and redirected the root's children.
[[nodiscard]] X11Background paintedBackground(X11Connection& connection, const QRect& area);

/// Whether the server paints this announced picture: a later background may have come without being
/// announced. A strip across the area decides. Under the same conditions.
[[nodiscard]] bool isPainted(X11Connection& connection, const X11Background& announced, const QRect& area);

/// The whole screen as it is now, as a pixmap in the server.
[[nodiscard]] X11Background copyOfScreen(X11Connection& connection);

} // namespace velmo
