#pragma once

#include "platform/x11/X11Connection.h"
#include "platform/x11/X11Monitors.h"
#include "platform/x11/X11RenderFormats.h"

#include <QString>
#include <memory>
#include <vector>

namespace velmo {

/// A connection that captures, with what its server offers. One thread at a time.
struct X11CaptureServer {
    std::unique_ptr<X11Connection> connection;
    X11RenderFormats formats;
    QString missing;         ///< Why windows cannot be put together here; empty when they can.
    bool isRootless = false; ///< The screen is another desktop's, and this server does not know its picture.
    bool namesMonitors = true; ///< Speaks of monitors (RandR 1.5).

    /// Null when no display answers.
    [[nodiscard]] static std::unique_ptr<X11CaptureServer> open();

    /// What can be captured: the monitors, cut down to the root, or the whole root under the id 0 where the
    /// server does not speak of monitors. Empty when no monitor is connected or the server has gone.
    [[nodiscard]] std::vector<X11Monitor> displays();
};

/// Announces the Composite version that can name window pixmaps, once per connection. False without it.
[[nodiscard]] bool enableComposite(const X11Connection& connection);

/// While it lives, no other client's request is carried out, so that the windows hold still.
class X11ServerGrab {
public:
    explicit X11ServerGrab(xcb_connection_t* connection)
        : connection_(connection)
    {
        xcb_grab_server(connection_);
    }
    ~X11ServerGrab()
    {
        xcb_ungrab_server(connection_);
        xcb_flush(connection_);
    }
    X11ServerGrab(const X11ServerGrab&) = delete;
    X11ServerGrab& operator=(const X11ServerGrab&) = delete;

private:
    xcb_connection_t* connection_;
};

/// Whether the screen is that of a Wayland desktop, which shows X programs nothing of it.
[[nodiscard]] bool belongsToWayland(const X11Connection& connection);

} // namespace velmo
