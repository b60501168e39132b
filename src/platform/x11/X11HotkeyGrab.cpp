#include "platform/x11/X11HotkeyGrab.h"

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
        layout.withOthers(layout.modifierSets(interest_.hotkeyModifiers)),
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
    if ((interest_.hotkeyModifiers & ~kHotkeyFlags) != 0)
        return {QStringLiteral("The hotkey's modifiers contain one that cannot be part of them.")};
    if (place_.modifierSets.empty())
        return {QStringLiteral("This keyboard layout lacks a modifier of the hotkey ") +
                combinationLabel(interest_.hotkeyModifiers, keyLabel(connection_, place_.key)) +
                QStringLiteral(".")};

    grab_.take(place_.key, place_.modifierSets);
    return describeRefusals(layout);
}

QStringList X11HotkeyGrab::retry(const X11KeyboardLayout& layout)
{
    const auto before = grab_.refused();
    if (!before.empty() && grab_.takeRefused() != before)
        problems_ = describeRefusals(layout);
    return problems_;
}

QStringList X11HotkeyGrab::describeRefusals(const X11KeyboardLayout& layout) const
{
    return layout.describeRefusals(place_.modifierSets, grab_.refused(), keyLabel(connection_, place_.key));
}

void X11HotkeyGrab::remove()
{
    grab_.release();
    place_ = {};
}

bool X11HotkeyGrab::matches(quint32 hardwareKeyCode, quint64 flags) const
{
    return place_.key != 0 && hardwareKeyCode == place_.key &&
           (flags & kHotkeyFlags) == interest_.hotkeyModifiers;
}

} // namespace velmo
