#include "app/DesktopServices.h"

#include "platform/linux/AtSpiFocus.h"
#include "platform/linux/BusColorScheme.h"
#include "platform/linux/BusConnection.h"
#include "platform/linux/BusTrayPresence.h"
#include "platform/linux/LinuxPermissions.h"
#include "platform/linux/PulseRecorders.h"
#include "platform/x11/X11Platform.h"

#include <utility>

namespace velmo {

namespace {

/// What this desktop cannot give, although it has an X server.
QStringList limitations()
{
    if (qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY"))
        return {};
    return {QStringLiteral(
        "This is a Wayland session: its screen cannot be read, and the hotkey reaches X applications only.")};
}

} // namespace

std::optional<QString> DesktopServices::obstacle()
{
    if (qEnvironmentVariableIsEmpty("DISPLAY")) {
        if (!qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY"))
            return QStringLiteral(
                "this version runs on X11 desktops, and this is a Wayland session without one");
        return QStringLiteral("there is no display; \"velmo ask\" works without one");
    }
    if (!X11Platform::isDisplayReachable())
        return QStringLiteral("the display ") + qEnvironmentVariable("DISPLAY") +
               QStringLiteral(" cannot be reached");
    return std::nullopt;
}

DesktopServices DesktopServices::create()
{
    X11Platform x11 = X11Platform::create(std::make_unique<AtSpiFocus>());
    X11DisplayCapture* capture = x11.displayCapture.get();
    std::vector<std::unique_ptr<TrayPresence>> trays;
    trays.push_back(std::make_unique<BusTrayPresence>(BusConnection::sessionAddress()));
    trays.push_back(std::move(x11.trayPresence));
    return {std::move(x11.screens),
            std::move(x11.eventTap),
            std::move(x11.displayCapture),
            std::move(x11.windowFocus),
            std::move(x11.windowSurfaces),
            std::make_unique<LinuxPermissions>(std::move(x11.permissions)),
            std::make_unique<PulseRecorders>(),
            std::move(x11.keyReader),
            std::move(trays),
            std::make_unique<BusColorScheme>(BusConnection::sessionAddress()),
            [capture, notes = limitations()]() mutable {
                return std::exchange(notes, {}) + capture->takeDiagnostics();
            }};
}

} // namespace velmo
