#pragma once

#include "platform/x11/X11Connection.h"

#include <QString>
#include <QStringList>
#include <array>
#include <bitset>
#include <set>
#include <vector>

namespace velmo {

/// What the current keyboard map says about the keys and modifiers that settings speak of. Plain value.
struct X11KeyboardLayout {
    /// Modifier bits of the X server; 0 where the map has no such modifier.
    quint32 altMask = 0;
    quint32 superMask = 0;
    quint32 numLockMask = 0;
    quint32 scrollLockMask = 0;
    std::array<int, 256> virtualKeyCodes{}; ///< By hardware key code; -1 for keys without one.
    std::bitset<256> modifierKeys;          ///< Hardware key codes that are bound to a modifier.

    /// Asks the server. On a lost connection a layout without any key.
    [[nodiscard]] static X11KeyboardLayout read(X11Connection& connection);

    /// ModifierFlag bits of an X modifier state. Locks are left out.
    [[nodiscard]] quint64 flags(quint32 state) const;

    /// The X modifier states in which exactly these ModifierFlag bits are held: more than one where a map has
    /// put a modifier's keys on several of the server's. Empty when the map lacks one of them.
    [[nodiscard]] std::vector<quint32> modifierSets(quint64 flags) const;

    /// The hardware key code at a virtual key code's position; 0, which no key has, when there is none.
    [[nodiscard]] xcb_keycode_t hardwareKeyCode(int virtualKeyCode) const;

    [[nodiscard]] int virtualKeyCode(quint32 hardwareKeyCode) const;

    [[nodiscard]] quint32 locks() const { return XCB_MOD_MASK_LOCK | numLockMask | scrollLockMask; }

    /// The server's modifiers that no gesture speaks of: the locks, AltGr, and whatever else a map has.
    [[nodiscard]] quint32 others() const;

    /// Each state joined with every subset of the others: a grab only takes exactly the state it names.
    [[nodiscard]] std::vector<quint32> withOthers(std::vector<quint32> modifierSets) const;

    /// For people: "Caps Lock and Num Lock"; empty when none of the others is in the state.
    [[nodiscard]] QString otherNames(quint32 state) const;

    /// For people, a sentence for each combination with the key or button that another program holds. Other
    /// modifiers are only named where the combination is not held under all locks alike.
    [[nodiscard]] QStringList describeRefusals(const std::vector<quint32>& requested,
                                               const std::set<quint32>& refused, const QString& key) const;
};

/// What is printed on a key in the first group, for messages: "Space", "A", "F5".
[[nodiscard]] QString keyLabel(X11Connection& connection, xcb_keycode_t key);

/// "Ctrl+Alt+Space".
[[nodiscard]] QString combinationLabel(quint64 flags, const QString& key);

} // namespace velmo
