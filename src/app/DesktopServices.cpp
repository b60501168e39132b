#include "app/DesktopServices.h"

#include "platform/x11/X11Platform.h"

namespace velmo {

std::optional<QString> DesktopServices::obstacle()
{
    if (qEnvironmentVariableIsEmpty("DISPLAY")) {
        if (!qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY"))
            return QStringLiteral("this version runs on X11 desktops, and this is a Wayland session without one");
        return QStringLiteral("there is no display; \"velmo ask\" works without one");
    }
    if (!X11Platform::isDisplayReachable())
        return QStringLiteral("the display ") + qEnvironmentVariable("DISPLAY") + QStringLiteral(" cannot be reached");
    return std::nullopt;
}

DesktopServices DesktopServices::create()
{
    X11Platform x11 = X11Platform::create();
    X11DisplayCapture* capture = x11.displayCapture.get();
    return {std::move(x11.screens),        std::move(x11.eventTap),
            std::move(x11.displayCapture), std::move(x11.windowFocus),
            std::move(x11.windowSurfaces), std::move(x11.permissions),
            [capture] { return capture->takeDiagnostics(); }};
}

} // namespace velmo
