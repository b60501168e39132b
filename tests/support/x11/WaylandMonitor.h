#pragma once

#include "platform/x11/X11Connection.h"
#include "platform/x11/X11Monitors.h"
#include "support/x11/Await.h"
#include "support/x11/ChildProcess.h"

namespace velmo::test {

/// Gives the display's one monitor a name of the kind that servers inside a Wayland desktop use. Nothing when
/// it does not take it.
inline xcb_atom_t nameMonitorLikeWayland()
{
    const auto eye = X11Connection::open();
    ChildProcess xrandr({"xrandr", "--setmonitor", "XWAYLAND0", "auto", "screen"});
    const xcb_atom_t name = eye->atom("XWAYLAND0");
    const bool isTaken = awaitCondition([&] {
        const auto monitors = readMonitors(eye->get(), eye->root());
        return monitors.size() == 1 && monitors.front().id == name;
    });
    return isTaken ? name : xcb_atom_t{XCB_NONE};
}

} // namespace velmo::test
