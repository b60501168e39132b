#include "support/tray/EmbeddingTray.h"

#include <algorithm>

namespace velmo::test {
namespace {

void send(X11Connection& connection, xcb_window_t to, uint32_t mask, xcb_window_t about, xcb_atom_t type,
          const std::array<uint32_t, 5>& data)
{
    xcb_client_message_event_t message{};
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = 32;
    message.window = about;
    message.type = type;
    std::ranges::copy(data, message.data.data32);
    xcb_send_event(connection.get(), 0, to, mask, reinterpret_cast<const char*>(&message));
}

} // namespace

EmbeddingTray::EmbeddingTray(std::optional<std::array<uint32_t, 3>> symbolColor)
    : connection_(X11Connection::open())
    , window_(xcb_generate_id(connection_->get()))
{
    xcb_connection_t* xcb = connection_->get();
    const std::array<uint32_t, 2> values{connection_->screen().white_pixel, 1};
    xcb_create_window(xcb, XCB_COPY_FROM_PARENT, window_, connection_->root(), kLeft, kTop, kSide, kSide, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT,
                      XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT, values.data());
    if (symbolColor)
        announceColor(*symbolColor);
    xcb_map_window(xcb, window_);
    const xcb_atom_t selection = connection_->screenSelection("_NET_SYSTEM_TRAY");
    const xcb_timestamp_t time = connection_->serverTime();
    xcb_set_selection_owner(xcb, window_, selection, time);
    send(*connection_, connection_->root(), XCB_EVENT_MASK_STRUCTURE_NOTIFY, connection_->root(),
         connection_->atom("MANAGER"), {time, selection, window_, 0, 0});
    connection_->sync();
}

void EmbeddingTray::announceColor(std::array<uint32_t, 3> symbolColor)
{
    xcb_change_property(connection_->get(), XCB_PROP_MODE_REPLACE, window_,
                        connection_->atom("_NET_SYSTEM_TRAY_COLORS"), XCB_ATOM_CARDINAL, 32, 3,
                        symbolColor.data());
    connection_->sync();
}

int EmbeddingTray::takeIn()
{
    constexpr uint32_t kRequestDock = 0;
    connection_->sync();
    while (const auto event = connection_->nextEvent()) {
        if ((event->response_type & 0x7f) != XCB_CLIENT_MESSAGE)
            continue;
        const auto& message = reinterpret_cast<const xcb_client_message_event_t&>(*event);
        if (message.type != connection_->atom("_NET_SYSTEM_TRAY_OPCODE") ||
            message.data.data32[1] != kRequestDock)
            continue;
        const xcb_window_t symbol = message.data.data32[2];
        const std::array<uint32_t, 2> size{kSide, kSide};
        xcb_reparent_window(connection_->get(), symbol, window_, 0, 0);
        xcb_configure_window(connection_->get(), symbol, XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT,
                             size.data());
        xcb_map_window(connection_->get(), symbol);
        send(*connection_, symbol, XCB_EVENT_MASK_NO_EVENT, symbol, connection_->atom("_XEMBED"),
             {XCB_CURRENT_TIME, 0, 0, window_, 0});
        ++count_;
    }
    connection_->sync();
    return count_;
}

} // namespace velmo::test
