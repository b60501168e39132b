#include "platform/x11/X11PassiveGrab.h"

namespace velmo {

X11PassiveGrab::X11PassiveGrab(X11Connection& connection, Kind kind)
    : connection_(connection)
    , kind_(kind)
{}

std::set<quint32> X11PassiveGrab::take(quint32 detail, const std::vector<quint32>& modifierSets)
{
    release();
    if (detail == 0 || modifierSets.empty())
        return {};
    detail_ = detail;
    modifierSets_ = modifierSets;
    const auto reply = connection_.await(xcb_input_xi_passive_grab_device_reply, request());
    std::set<quint32> refused;
    if (!reply) {
        refused.insert(modifierSets.begin(), modifierSets.end());
    } else {
        // The reply lists the states that were refused, and only those.
        const auto* entries = xcb_input_xi_passive_grab_device_modifiers(reply.get());
        for (int i = 0; i < xcb_input_xi_passive_grab_device_modifiers_length(reply.get()); ++i) {
            if (entries[i].status != XCB_GRAB_STATUS_SUCCESS)
                refused.insert(entries[i].modifiers);
        }
    }
    std::erase_if(modifierSets_, [&](quint32 set) { return refused.contains(set); });
    return refused;
}

void X11PassiveGrab::release()
{
    if (detail_ != 0 && !modifierSets_.empty())
        suspend();
    detail_ = 0;
    modifierSets_.clear();
}

void X11PassiveGrab::suspend() const
{
    // Of all the states only our own are there to be given up.
    const uint32_t any = kAnyModifiers;
    xcb_input_xi_passive_ungrab_device(connection_.get(), connection_.root(), detail_,
                                       XCB_INPUT_DEVICE_ALL_MASTER, 1, grabType(), &any);
}

void X11PassiveGrab::resume() const
{
    if (!modifierSets_.empty())
        xcb_discard_reply(connection_.get(), request().sequence);
}

xcb_input_xi_passive_grab_device_cookie_t X11PassiveGrab::request() const
{
    const uint32_t mask = kind_ == Kind::Key
                              ? XCB_INPUT_XI_EVENT_MASK_KEY_PRESS | XCB_INPUT_XI_EVENT_MASK_KEY_RELEASE
                              : XCB_INPUT_XI_EVENT_MASK_BUTTON_PRESS |
                                    XCB_INPUT_XI_EVENT_MASK_BUTTON_RELEASE | XCB_INPUT_XI_EVENT_MASK_MOTION;
    const uint8_t mode =
        kind_ == Kind::FrozenButton ? XCB_INPUT_GRAB_MODE_22_SYNC : XCB_INPUT_GRAB_MODE_22_ASYNC;
    return xcb_input_xi_passive_grab_device(
        connection_.get(), XCB_CURRENT_TIME, connection_.root(), XCB_NONE, detail_,
        XCB_INPUT_DEVICE_ALL_MASTER, static_cast<uint16_t>(modifierSets_.size()), 1, grabType(), mode,
        XCB_INPUT_GRAB_MODE_22_ASYNC, XCB_INPUT_GRAB_OWNER_NO_OWNER, &mask, modifierSets_.data());
}

uint8_t X11PassiveGrab::grabType() const
{
    return kind_ == Kind::Key ? XCB_INPUT_GRAB_TYPE_KEYCODE : XCB_INPUT_GRAB_TYPE_BUTTON;
}

} // namespace velmo
