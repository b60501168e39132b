#include "platform/x11/X11HotkeyGrab.h"

#include <algorithm>

namespace velmo {
namespace {

/// The modifiers that must match; Fn is none that a server reports.
constexpr quint64 kHotkeyFlags =
    ModifierFlag::Shift | ModifierFlag::Control | ModifierFlag::Option | ModifierFlag::Command;

} // namespace

X11HotkeyGrab::X11HotkeyGrab(X11Connection& connection, const TapInterest& interest)
    : connection_(connection)
    , interest_(interest)
    , grab_(connection, X11PassiveGrab::Kind::Key)
{}

QStringList X11HotkeyGrab::install(const X11KeyboardLayout& layout)
{
    const Place place{
        layout.hardwareKeyCode(interest_.hotkeyKeyCode),
        layout.withLocks(layout.modifierSets(interest_.hotkeyModifiers & kHotkeyFlags)),
    };
    if (place != place_ || place.key == 0 || place.modifierSets.empty()) {
        remove();
        place_ = place;
        problems_ = take(layout);
    }
    return problems_;
}

QStringList X11HotkeyGrab::take(const X11KeyboardLayout& layout)
{
    if ((interest_.hotkeyModifiers & ModifierFlag::Function) != 0)
        return {QStringLiteral("The hotkey contains Fn, which X keyboards do not report.")};
    if (place_.key == 0)
        return {QStringLiteral("This keyboard has no key for the hotkey (key code ") +
                QString::number(interest_.hotkeyKeyCode) + QStringLiteral(").")};
    const QString key = keyLabel(connection_, place_.key);
    if (place_.modifierSets.empty())
        return {QStringLiteral("This keyboard layout lacks a modifier of the hotkey ") +
                combinationLabel(interest_.hotkeyModifiers, key) + QStringLiteral(".")};

    // A core grab and an XInput grab of the same key never refuse each other, the later one wins silently.
    // Only holding both finds every other holder and keeps later ones away; and neither is kept where the
    // other is refused, or the program that had the combination first would lose it to us.
    std::set<quint32> refused = grabForCoreClients();
    std::vector<quint32> sets;
    std::ranges::copy_if(place_.modifierSets, std::back_inserter(sets),
                         [&](quint32 set) { return !refused.contains(set); });
    for (const quint32 set : grab_.take(place_.key, sets)) {
        ungrabForCoreClients(set);
        refused.insert(set);
    }
    xcb_flush(connection_.get());
    return layout.describeRefusals(place_.modifierSets, refused, key);
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

void X11HotkeyGrab::ungrabForCoreClients(quint32 modifiers) const
{
    xcb_ungrab_key(connection_.get(), place_.key, connection_.root(), static_cast<uint16_t>(modifiers));
}

void X11HotkeyGrab::remove()
{
    grab_.release();
    if (place_.key != 0)
        ungrabForCoreClients(XCB_MOD_MASK_ANY);
    xcb_flush(connection_.get());
    place_ = {};
}

bool X11HotkeyGrab::matches(quint32 hardwareKeyCode, quint64 flags) const
{
    return place_.key != 0 && hardwareKeyCode == place_.key &&
           (flags & kHotkeyFlags) == interest_.hotkeyModifiers;
}

} // namespace velmo
