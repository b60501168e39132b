#pragma once

#include "platform/EventTap.h"
#include "platform/x11/X11KeyboardLayout.h"
#include "platform/x11/X11PassiveGrab.h"

#include <QStringList>
#include <vector>

namespace velmo {

/// Reserves one key combination for this program, whatever locks are on. On the tap's thread.
class X11HotkeyGrab {
public:
    X11HotkeyGrab(X11Connection& connection, const TapInterest& interest);

    /// Reserves the combination where the layout places it; a place it had before is given up. When the place
    /// is the same nothing is touched, because between giving up and reserving again a press would be lost.
    /// Returns readable sentences about what is not reserved.
    QStringList install(const X11KeyboardLayout& layout);

    /// Asks again for what another program has. Returns the sentences that are true then.
    QStringList retry(const X11KeyboardLayout& layout);
    /// Whether another program has any of it.
    [[nodiscard]] bool isRefused() const { return grab_.isRefused(); }

    void remove();

    /// Whether a press of a hardware key with ModifierFlag bits held is the hotkey.
    [[nodiscard]] bool matches(quint32 hardwareKeyCode, quint64 flags) const;

private:
    /// Where the combination is on the keyboard.
    struct Place {
        xcb_keycode_t key = 0;
        std::vector<quint32> modifierSets;
        friend bool operator==(const Place&, const Place&) = default;
    };

    [[nodiscard]] QStringList take(const X11KeyboardLayout& layout);
    [[nodiscard]] QStringList describeRefusals(const X11KeyboardLayout& layout) const;

    X11Connection& connection_;
    TapInterest interest_;
    Place place_;
    X11PassiveGrab grab_;
    QStringList problems_;
};

} // namespace velmo
