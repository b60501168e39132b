#pragma once

#include "platform/x11/X11Connection.h"

#include <optional>
#include <unordered_set>
#include <vector>

namespace velmo {

/// The resource numbers that the server gave to one connection.
struct X11ResourceRange {
    quint32 base = 0;
    quint32 mask = 0;
    [[nodiscard]] bool contains(quint32 resource) const { return mask != 0 && (resource & ~mask) == base; }
};

/// Which of these children of the root show something of this program: its own windows, windows of a second
/// running copy, and the frames that a window manager drew around either.
[[nodiscard]] std::unordered_set<xcb_window_t>
findOwnWindows(X11Connection& connection, const std::vector<xcb_window_t>& topLevels,
               const std::optional<X11ResourceRange>& ownResources);

} // namespace velmo
