#include "platform/x11/X11PassiveGrab.h"

namespace velmo {
namespace {

/// The same modifiers as core requests count them.
uint16_t coreState(quint32 modifiers)
{
    constexpr uint16_t kAny = XCB_MOD_MASK_ANY;
    return modifiers == X11PassiveGrab::kAnyModifiers ? kAny : static_cast<uint16_t>(modifiers);
}

} // namespace

X11PassiveGrab::X11PassiveGrab(X11Connection& connection, Kind kind)
    : connection_(connection)
    , kind_(kind)
{}

std::set<quint32> X11PassiveGrab::take(quint32 detail, const std::vector<quint32>& modifierSets)
{
    release();
    if (detail == 0)
        return {};
    detail_ = detail;
    modifierSets_ = modifierSets;
    std::set<quint32> refused = takeForCoreClients();
    keepOnly(refused);
    const std::set<quint32> alsoRefused = takeForExtensionClients();
    for (const quint32 set : alsoRefused)
        ungrabForCoreClients(set);
    keepOnly(alsoRefused);
    if (!staysHeldForCoreClients())
        ungrabForCoreClients(kAnyModifiers);
    refused.insert(alsoRefused.begin(), alsoRefused.end());
    return refused;
}

void X11PassiveGrab::keepOnly(const std::set<quint32>& refused)
{
    std::erase_if(modifierSets_, [&](quint32 set) { return refused.contains(set); });
}

std::set<quint32> X11PassiveGrab::takeForCoreClients() const
{
    std::vector<xcb_void_cookie_t> cookies;
    cookies.reserve(modifierSets_.size());
    for (const quint32 set : modifierSets_)
        cookies.push_back(requestForCoreClients(set));
    std::set<quint32> refused;
    for (std::size_t i = 0; i < cookies.size(); ++i) {
        const XcbPointer<xcb_generic_error_t> error(xcb_request_check(connection_.get(), cookies[i]));
        if (error)
            refused.insert(modifierSets_[i]);
    }
    return refused;
}

std::set<quint32> X11PassiveGrab::takeForExtensionClients() const
{
    if (modifierSets_.empty())
        return {};
    const auto reply = connection_.await(xcb_input_xi_passive_grab_device_reply, request());
    if (!reply)
        return {modifierSets_.begin(), modifierSets_.end()};
    // The reply lists the states that were refused, and only those.
    std::set<quint32> refused;
    const auto* entries = xcb_input_xi_passive_grab_device_modifiers(reply.get());
    for (int i = 0; i < xcb_input_xi_passive_grab_device_modifiers_length(reply.get()); ++i) {
        if (entries[i].status != XCB_GRAB_STATUS_SUCCESS)
            refused.insert(entries[i].modifiers);
    }
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
    if (staysHeldForCoreClients())
        ungrabForCoreClients(any);
}

void X11PassiveGrab::resume() const
{
    if (modifierSets_.empty())
        return;
    if (staysHeldForCoreClients()) {
        for (const quint32 set : modifierSets_)
            xcb_discard_reply(connection_.get(), requestForCoreClients(set).sequence);
    }
    xcb_discard_reply(connection_.get(), request().sequence);
}

xcb_void_cookie_t X11PassiveGrab::requestForCoreClients(quint32 modifiers) const
{
    const uint16_t state = coreState(modifiers);
    const auto detail = static_cast<uint8_t>(detail_);
    if (kind_ == Kind::Key)
        return xcb_grab_key_checked(connection_.get(), 0, connection_.root(), state, detail,
                                    XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC);
    return xcb_grab_button_checked(
        connection_.get(), 0, connection_.root(), XCB_EVENT_MASK_BUTTON_PRESS | XCB_EVENT_MASK_BUTTON_RELEASE,
        XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC, XCB_NONE, XCB_NONE, detail, state);
}

void X11PassiveGrab::ungrabForCoreClients(quint32 modifiers) const
{
    const uint16_t state = coreState(modifiers);
    const auto detail = static_cast<uint8_t>(detail_);
    if (kind_ == Kind::Key)
        xcb_ungrab_key(connection_.get(), detail, connection_.root(), state);
    else
        xcb_ungrab_button(connection_.get(), detail, connection_.root(), state);
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
