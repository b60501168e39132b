#include "platform/x11/X11Platform.h"

#include "platform/x11/X11Connection.h"

#include "platform/x11/X11Toolkit.h"

#include <utility>

namespace velmo {

X11Platform X11Platform::create(std::unique_ptr<AccessibleFocus> elements)
{
    X11Platform platform;
    platform.screens = std::make_unique<X11Screens>();
    platform.eventTap = std::make_unique<X11EventTap>();
    platform.displayCapture = std::make_unique<X11DisplayCapture>();
    platform.windowFocus = std::make_unique<X11WindowFocus>(std::move(elements));
    platform.windowSurfaces = std::make_unique<X11WindowSurfaces>();
    platform.permissions = std::make_unique<X11Permissions>();
    platform.keyReader = std::make_unique<X11KeyReader>();
    platform.trayPresence = std::make_unique<X11TrayPresence>();

    if (xcb_connection_t* connection = toolkitConnection(); connection != nullptr) {
        const auto* setup = xcb_get_setup(connection);
        platform.displayCapture->setOwnConnectionBase(setup->resource_id_base, setup->resource_id_mask);
    }
    platform.displayCapture->setScaleSource([screens = platform.screens.get()] {
        std::vector<DisplayScale> scales;
        // Without talk of monitors the whole screen is one display, number 0.
        if (const auto main = screens->main())
            scales.push_back({0, main->scale});
        for (const auto& screen : screens->all()) {
            if (screen.displayID)
                scales.push_back({*screen.displayID, screen.scale});
        }
        return scales;
    });
    platform.windowSurfaces->setKeyboardObserver(
        [tap = platform.eventTap.get()](bool held) { tap->setOwnKeyboardHeld(held); });
    platform.windowFocus->setActivationFilter(
        [surfaces = platform.windowSurfaces.get()] { return surfaces->isUndoingLossOfFocus(); });
    return platform;
}

bool X11Platform::isDisplayReachable()
{
    return X11Connection::open() != nullptr;
}

} // namespace velmo
