#pragma once

#include "platform/x11/X11Connection.h"

namespace velmo::test {

/// Asks the window manager to show another desktop, as a pager does.
inline void askForDesktop(X11Connection& connection, quint32 desktop)
{
    xcb_client_message_event_t message{};
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = 32;
    message.window = connection.root();
    message.type = connection.atom("_NET_CURRENT_DESKTOP");
    message.data.data32[0] = desktop;
    message.data.data32[1] = connection.serverTime();
    xcb_send_event(connection.get(), 0, connection.root(),
                   XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                   reinterpret_cast<const char*>(&message));
    connection.sync();
}

} // namespace velmo::test
