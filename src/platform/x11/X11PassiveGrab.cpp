#include "platform/x11/X11PassiveGrab.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace velmo {
namespace {

/// The same modifiers as core requests count them.
uint16_t coreState(quint32 modifiers)
{
    constexpr uint16_t kAny = XCB_MOD_MASK_ANY;
    return modifiers == X11PassiveGrab::kAnyModifiers ? kAny : static_cast<uint16_t>(modifiers);
}

std::vector<quint32> listOf(const std::set<quint32>& sets)
{
    return {sets.begin(), sets.end()};
}

std::vector<quint32> without(const std::vector<quint32>& sets, const std::set<quint32>& refused)
{
    std::vector<quint32> rest;
    std::ranges::copy_if(sets, std::back_inserter(rest), [&](quint32 set) { return !refused.contains(set); });
    return rest;
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
    takeCoreFirst(modifierSets);
    return refused();
}

std::set<quint32> X11PassiveGrab::takeRefused()
{
    const auto core = std::exchange(refusedToCore_, {});
    const auto extension = std::exchange(refusedToExtension_, {});
    // The kind that was refused comes first: were it the other one, a holder that still has its states would
    // lose them to us for a moment.
    takeCoreFirst(listOf(core));
    takeExtensionFirst(listOf(extension));
    return refused();
}

std::set<quint32> X11PassiveGrab::refused() const
{
    std::set<quint32> all = refusedToCore_;
    all.insert(refusedToExtension_.begin(), refusedToExtension_.end());
    return all;
}

void X11PassiveGrab::takeCoreFirst(const ModifierSets& wanted)
{
    const auto refused = takeForCoreClients(wanted);
    refusedToCore_.insert(refused.begin(), refused.end());
    const ModifierSets rest = without(wanted, refused);
    const auto alsoRefused = takeForExtensionClients(rest);
    refusedToExtension_.insert(alsoRefused.begin(), alsoRefused.end());
    for (const quint32 set : alsoRefused)
        ungrabForCoreClients(set);
    keep(without(rest, alsoRefused));
}

void X11PassiveGrab::takeExtensionFirst(const ModifierSets& wanted)
{
    const auto refused = takeForExtensionClients(wanted);
    refusedToExtension_.insert(refused.begin(), refused.end());
    const ModifierSets rest = without(wanted, refused);
    const auto alsoRefused = takeForCoreClients(rest);
    refusedToCore_.insert(alsoRefused.begin(), alsoRefused.end());
    if (!alsoRefused.empty())
        ungrabForExtensionClients(listOf(alsoRefused));
    keep(without(rest, alsoRefused));
}

void X11PassiveGrab::keep(const ModifierSets& sets)
{
    modifierSets_.insert(modifierSets_.end(), sets.begin(), sets.end());
    if (!sets.empty() && !staysHeldForCoreClients())
        ungrabForCoreClients(kAnyModifiers);
}

std::set<quint32> X11PassiveGrab::takeForCoreClients(const ModifierSets& sets) const
{
    std::vector<xcb_void_cookie_t> cookies;
    cookies.reserve(sets.size());
    for (const quint32 set : sets)
        cookies.push_back(requestForCoreClients(set));
    std::set<quint32> refused;
    for (std::size_t i = 0; i < cookies.size(); ++i) {
        const XcbPointer<xcb_generic_error_t> error(xcb_request_check(connection_.get(), cookies[i]));
        if (error)
            refused.insert(sets[i]);
    }
    return refused;
}

std::set<quint32> X11PassiveGrab::takeForExtensionClients(const ModifierSets& sets) const
{
    if (sets.empty())
        return {};
    const auto reply = connection_.await(xcb_input_xi_passive_grab_device_reply, request(sets));
    if (!reply)
        return {sets.begin(), sets.end()};
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
    refusedToCore_.clear();
    refusedToExtension_.clear();
}

void X11PassiveGrab::suspend() const
{
    // Of all the states only our own are there to be given up.
    ungrabForExtensionClients({kAnyModifiers});
    if (staysHeldForCoreClients())
        ungrabForCoreClients(kAnyModifiers);
}

void X11PassiveGrab::resume() const
{
    if (modifierSets_.empty())
        return;
    if (staysHeldForCoreClients()) {
        for (const quint32 set : modifierSets_)
            xcb_discard_reply(connection_.get(), requestForCoreClients(set).sequence);
    }
    xcb_discard_reply(connection_.get(), request(modifierSets_).sequence);
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

void X11PassiveGrab::ungrabForExtensionClients(const ModifierSets& sets) const
{
    xcb_input_xi_passive_ungrab_device(connection_.get(), connection_.root(), detail_,
                                       XCB_INPUT_DEVICE_ALL_MASTER, static_cast<uint16_t>(sets.size()),
                                       grabType(), sets.data());
}

xcb_input_xi_passive_grab_device_cookie_t X11PassiveGrab::request(const ModifierSets& sets) const
{
    const uint32_t mask = kind_ == Kind::Key
                              ? XCB_INPUT_XI_EVENT_MASK_KEY_PRESS | XCB_INPUT_XI_EVENT_MASK_KEY_RELEASE
                              : XCB_INPUT_XI_EVENT_MASK_BUTTON_PRESS |
                                    XCB_INPUT_XI_EVENT_MASK_BUTTON_RELEASE | XCB_INPUT_XI_EVENT_MASK_MOTION;
    const uint8_t mode =
        kind_ == Kind::FrozenButton ? XCB_INPUT_GRAB_MODE_22_SYNC : XCB_INPUT_GRAB_MODE_22_ASYNC;
    return xcb_input_xi_passive_grab_device(
        connection_.get(), XCB_CURRENT_TIME, connection_.root(), XCB_NONE, detail_,
        XCB_INPUT_DEVICE_ALL_MASTER, static_cast<uint16_t>(sets.size()), 1, grabType(), mode,
        XCB_INPUT_GRAB_MODE_22_ASYNC, XCB_INPUT_GRAB_OWNER_NO_OWNER, &mask, sets.data());
}

uint8_t X11PassiveGrab::grabType() const
{
    return kind_ == Kind::Key ? XCB_INPUT_GRAB_TYPE_KEYCODE : XCB_INPUT_GRAB_TYPE_BUTTON;
}

} // namespace velmo
