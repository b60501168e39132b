#pragma once

#include "platform/x11/XcbSupport.h"

#include <QGuiApplication>

namespace velmo {

/// The connection that the toolkit's windows live on; null when it does not run on an X server. Main thread.
[[nodiscard]] inline xcb_connection_t* toolkitConnection()
{
    if (qGuiApp == nullptr)
        return nullptr;
    const auto* native = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    return native == nullptr ? nullptr : native->connection();
}

/// The screen that the toolkit uses; it opens the default one.
[[nodiscard]] inline const xcb_screen_t& toolkitScreen(xcb_connection_t* connection)
{
    return *xcb_setup_roots_iterator(xcb_get_setup(connection)).data;
}

/// An atom without creating it; 0 when nobody on the desktop has used the name.
[[nodiscard]] inline xcb_atom_t existingAtom(xcb_connection_t* connection, const QByteArray& name)
{
    const auto reply =
        awaitReply(connection, xcb_intern_atom_reply,
                   xcb_intern_atom(connection, 1, static_cast<uint16_t>(name.size()), name.constData()));
    return reply ? reply->atom : xcb_atom_t{XCB_NONE};
}

} // namespace velmo
