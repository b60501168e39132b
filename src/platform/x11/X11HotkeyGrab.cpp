#include "platform/x11/X11HotkeyGrab.h"

#include <algorithm>
#include <xcb/xinput.h>

namespace velmo {
namespace {

/// The modifiers that must match; Fn is none that a server reports.
constexpr quint64 kHotkeyFlags =
    ModifierFlag::Shift | ModifierFlag::Control | ModifierFlag::Option | ModifierFlag::Command;

} // namespace

X11HotkeyGrab::X11HotkeyGrab(X11Connection& connection, const TapInterest& interest)
    : connection_(connection)
    , interest_(interest)
{}

QStringList X11HotkeyGrab::install(const X11KeyboardLayout& layout)
{
    Place place;
    place.key = layout.hardwareKeyCode(interest_.hotkeyKeyCode);
    const auto modifiers = layout.modifiers(interest_.hotkeyModifiers & kHotkeyFlags);
    if (modifiers)
        place.modifierSets = layout.withLocks(*modifiers);
    if (place == place_ && place.key != 0 && modifiers)
        return {};

    remove();
    if (place.key == 0)
        return {QStringLiteral("This keyboard has no key for the hotkey (key code ") +
                QString::number(interest_.hotkeyKeyCode) + QStringLiteral(").")};
    if (!modifiers)
        return {QStringLiteral("This keyboard layout lacks a modifier of the hotkey ") +
                combinationLabel(interest_.hotkeyModifiers, keyLabel(connection_, place.key)) +
                QStringLiteral(".")};
    place_ = place;

    // A core grab and an XInput grab of the same key never refuse each other, the later one wins silently.
    // Only holding both finds every other holder and keeps later ones away; and neither is kept where the
    // other is refused, or the program that had the combination first would lose it to us.
    std::set<quint32> refused = grabForCoreClients();
    for (const quint32 set : grabForExtensionClients(refused)) {
        ungrabForCoreClients(set);
        refused.insert(set);
    }
    xcb_flush(connection_.get());
    return describe(refused, layout);
}

std::set<quint32> X11HotkeyGrab::grabForCoreClients() const
{
    std::vector<xcb_void_cookie_t> cookies;
    cookies.reserve(place_.modifierSets.size());
    for (const quint32 set : place_.modifierSets) {
        cookies.push_back(xcb_grab_key_checked(connection_.get(), 0, connection_.root(),
                                               static_cast<uint16_t>(set), place_.key, XCB_GRAB_MODE_ASYNC,
                                               XCB_GRAB_MODE_ASYNC));
    }
    std::set<quint32> refused;
    for (std::size_t i = 0; i < cookies.size(); ++i) {
        const XcbPointer<xcb_generic_error_t> error(xcb_request_check(connection_.get(), cookies[i]));
        if (error)
            refused.insert(place_.modifierSets[i]);
    }
    return refused;
}

std::set<quint32> X11HotkeyGrab::grabForExtensionClients(const std::set<quint32>& without) const
{
    std::vector<quint32> sets;
    std::ranges::copy_if(place_.modifierSets, std::back_inserter(sets),
                         [&](quint32 set) { return !without.contains(set); });
    if (sets.empty())
        return {};
    const uint32_t mask = XCB_INPUT_XI_EVENT_MASK_KEY_PRESS | XCB_INPUT_XI_EVENT_MASK_KEY_RELEASE;
    const auto reply = connection_.await(
        xcb_input_xi_passive_grab_device_reply,
        xcb_input_xi_passive_grab_device(connection_.get(), XCB_CURRENT_TIME, connection_.root(), XCB_NONE,
                                         place_.key, XCB_INPUT_DEVICE_ALL_MASTER,
                                         static_cast<uint16_t>(sets.size()), 1, XCB_INPUT_GRAB_TYPE_KEYCODE,
                                         XCB_INPUT_GRAB_MODE_22_ASYNC, XCB_INPUT_GRAB_MODE_22_ASYNC,
                                         XCB_INPUT_GRAB_OWNER_NO_OWNER, &mask, sets.data()));
    if (!reply)
        return {sets.begin(), sets.end()};
    // The reply lists the sets that were refused, and only those.
    std::set<quint32> refused;
    const auto* entries = xcb_input_xi_passive_grab_device_modifiers(reply.get());
    for (int i = 0; i < xcb_input_xi_passive_grab_device_modifiers_length(reply.get()); ++i) {
        if (entries[i].status != XCB_GRAB_STATUS_SUCCESS)
            refused.insert(entries[i].modifiers);
    }
    return refused;
}

void X11HotkeyGrab::ungrabForCoreClients(quint32 modifiers) const
{
    xcb_ungrab_key(connection_.get(), place_.key, connection_.root(), static_cast<uint16_t>(modifiers));
}

void X11HotkeyGrab::remove()
{
    if (place_.key == 0)
        return;
    const uint32_t any = XCB_INPUT_MODIFIER_MASK_ANY;
    xcb_input_xi_passive_ungrab_device(connection_.get(), connection_.root(), place_.key,
                                       XCB_INPUT_DEVICE_ALL_MASTER, 1, XCB_INPUT_GRAB_TYPE_KEYCODE, &any);
    ungrabForCoreClients(XCB_MOD_MASK_ANY);
    xcb_flush(connection_.get());
    place_ = {};
}

bool X11HotkeyGrab::matches(quint32 hardwareKeyCode, quint64 flags) const
{
    return place_.key != 0 && hardwareKeyCode == place_.key &&
           (flags & kHotkeyFlags) == (interest_.hotkeyModifiers & kHotkeyFlags);
}

QStringList X11HotkeyGrab::describe(const std::set<quint32>& refused, const X11KeyboardLayout& layout) const
{
    if (refused.empty())
        return {};
    const QString combination =
        combinationLabel(interest_.hotkeyModifiers, keyLabel(connection_, place_.key));
    if (refused.size() == place_.modifierSets.size())
        return {combination + QStringLiteral(" is held by another program.")};
    QStringList problems;
    for (const quint32 set : place_.modifierSets) {
        if (!refused.contains(set))
            continue;
        const QString locks = layout.lockNames(set & ~place_.modifierSets.front());
        problems << combination +
                        (locks.isEmpty() ? QStringLiteral(" without any lock")
                                         : QStringLiteral(" with ") + locks) +
                        QStringLiteral(" is held by another program.");
    }
    return problems;
}

} // namespace velmo
