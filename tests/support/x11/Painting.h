#pragma once

#include "platform/x11/X11Connection.h"

namespace velmo::test {

/// Returns when the window manager and the compositing manager, where there are any, have come to everything
/// that happened so far. False when they do not. Afterwards the screen is as it was.
[[nodiscard]] bool awaitPainting(X11Connection& connection);

} // namespace velmo::test
