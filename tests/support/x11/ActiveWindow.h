#pragma once

#include "platform/x11/X11Connection.h"
#include "support/x11/Await.h"

namespace velmo::test {

/// The window that the window manager shows as the active one; XCB_NONE for none.
[[nodiscard]] inline xcb_window_t activeWindow(X11Connection& eye)
{
    return readNumber(eye.get(), eye.root(), eye.atom("_NET_ACTIVE_WINDOW"));
}

/// Empty where there is none.
[[nodiscard]] inline QByteArray activeTitle(X11Connection& eye)
{
    const xcb_window_t window = activeWindow(eye);
    if (window == XCB_NONE)
        return {};
    return awaitBytes(eye.get(), requestProperty(eye.get(), window, eye.atom("_NET_WM_NAME")));
}

[[nodiscard]] inline bool awaitActive(X11Connection& eye, const char* title)
{
    return awaitCondition([&] { return activeTitle(eye) == title; });
}

} // namespace velmo::test
