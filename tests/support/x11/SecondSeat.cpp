#include "support/x11/SecondSeat.h"

#include "platform/x11/X11InputExtensions.h"

#include <array>
#include <cstring>
#include <string_view>
#include <xcb/xinput.h>
#include <xcb/xtest.h>

namespace velmo::test {
namespace {

constexpr std::string_view kSeatName = "seat two";

/// A request to add a pair of devices; the server appends " pointer" and " keyboard" to the name.
struct AddSeat {
    xcb_input_add_master_t head;
    std::array<char, kSeatName.size()> name;
};
static_assert(sizeof(AddSeat) % 4 == 0, "the protocol counts in words");

} // namespace

SecondSeat::SecondSeat()
{
    if (connection_ && X11InputExtensions::probe(*connection_).missing.isEmpty())
        plugIn();
}

void SecondSeat::plugIn()
{
    AddSeat request{};
    request.head.type = XCB_INPUT_HIERARCHY_CHANGE_TYPE_ADD_MASTER;
    request.head.len = sizeof request / 4;
    request.head.name_len = kSeatName.size();
    request.head.send_core = 1;
    request.head.enable = 1;
    std::memcpy(request.name.data(), kSeatName.data(), kSeatName.size());
    xcb_input_xi_change_hierarchy(connection_->get(), 1,
                                  reinterpret_cast<const xcb_input_hierarchy_change_t*>(&request));
    const auto devices =
        connection_->await(xcb_input_xi_query_device_reply,
                           xcb_input_xi_query_device(connection_->get(), XCB_INPUT_DEVICE_ALL_MASTER));
    if (!devices)
        return;
    for (auto device = xcb_input_xi_query_device_infos_iterator(devices.get()); device.rem > 0;
         xcb_input_xi_device_info_next(&device)) {
        const std::string_view name(xcb_input_xi_device_info_name(device.data), device.data->name_len);
        if (device.data->type == XCB_INPUT_DEVICE_TYPE_MASTER_POINTER && name.starts_with(kSeatName))
            pointer_ = device.data->deviceid;
    }
    // Injected input comes from the devices that belong to the client's pointer.
    xcb_input_xi_set_client_pointer(connection_->get(), XCB_NONE, pointer_);
    connection_->sync();
}

SecondSeat::~SecondSeat()
{
    if (!isThere())
        return;
    xcb_input_remove_master_t request{};
    request.type = XCB_INPUT_HIERARCHY_CHANGE_TYPE_REMOVE_MASTER;
    request.len = sizeof request / 4;
    request.deviceid = pointer_;
    request.return_mode = XCB_INPUT_CHANGE_MODE_FLOAT;
    xcb_input_xi_change_hierarchy(connection_->get(), 1,
                                  reinterpret_cast<const xcb_input_hierarchy_change_t*>(&request));
    connection_->sync();
}

void SecondSeat::type(std::initializer_list<xcb_keycode_t> keys) const
{
    const auto send = [this](uint8_t type, xcb_keycode_t key) {
        xcb_test_fake_input(connection_->get(), type, key, XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
        connection_->sync();
    };
    for (const xcb_keycode_t key : keys)
        send(XCB_KEY_PRESS, key);
    for (const auto* key = keys.end(); key != keys.begin();)
        send(XCB_KEY_RELEASE, *--key);
}

} // namespace velmo::test
