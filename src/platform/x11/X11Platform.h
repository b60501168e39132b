#pragma once

#include "platform/x11/X11DisplayCapture.h"
#include "platform/x11/X11EventTap.h"
#include "platform/x11/X11KeyReader.h"
#include "platform/x11/X11Permissions.h"
#include "platform/x11/X11Screens.h"
#include "platform/x11/X11TrayPresence.h"
#include "platform/x11/X11WindowFocus.h"
#include "platform/x11/X11WindowSurfaces.h"

#include <memory>

namespace velmo {

/// Every service of an X desktop, connected with one another where they need it. Create it and destroy it on
/// the main thread, while a QGuiApplication on the xcb platform exists; end the worker that captures first.
struct X11Platform {
    std::unique_ptr<X11Screens> screens;
    std::unique_ptr<X11EventTap> eventTap;
    std::unique_ptr<X11DisplayCapture> displayCapture;
    std::unique_ptr<X11WindowFocus> windowFocus;
    std::unique_ptr<X11WindowSurfaces> windowSurfaces; ///< After the tap: it tells it who holds the keyboard.
    std::unique_ptr<X11Permissions> permissions;
    std::unique_ptr<X11KeyReader> keyReader;
    std::unique_ptr<X11TrayPresence> trayPresence;

    /// What is inside other applications' windows is for the elements to know; null for nobody.
    [[nodiscard]] static X11Platform create(std::unique_ptr<AccessibleFocus> elements = nullptr);

    /// Whether the display that the environment names answers. Needs no application object.
    [[nodiscard]] static bool isDisplayReachable();
};

} // namespace velmo
