#pragma once

#include "platform/x11/X11Connection.h"

#include <set>
#include <vector>
#include <xcb/xinput.h>

namespace velmo {

/// One key or button that the server gives to this program instead of to applications, under each of a list
/// of modifier states, for every keyboard and pointer. Held until release(). On the tap's thread.
///
/// Core grabs and XInput grabs never refuse each other, and of the two the later one wins silently. So a
/// place is taken both ways, which finds every other holder; and neither is kept where the other is refused,
/// or the program that had the combination first would lose it to us. Keys and frozen buttons stay held both
/// ways, which keeps later holders away, too. A plain button does not: between suspend() and resume() there
/// would be a moment with one of the two, and a press in it would be lost.
class X11PassiveGrab {
public:
    enum class Kind {
        Key,
        Button,
        FrozenButton, ///< The pointer stands still after a press until the press is claimed or replayed.
    };

    /// The modifier state that stands for all of them.
    static constexpr quint32 kAnyModifiers = XCB_INPUT_MODIFIER_MASK_ANY;

    X11PassiveGrab(X11Connection& connection, Kind kind);

    /// Takes another place, giving up the one before. Returns the states that are refused because another
    /// program has them; the others are held.
    std::set<quint32> take(quint32 detail, const std::vector<quint32>& modifierSets);
    void release();

    /// Lets go without forgetting, and takes back what was held. Neither waits for the server.
    void suspend() const;
    void resume() const;

private:
    [[nodiscard]] std::set<quint32> takeForCoreClients() const;
    [[nodiscard]] std::set<quint32> takeForExtensionClients() const;
    [[nodiscard]] xcb_void_cookie_t requestForCoreClients(quint32 modifiers) const;
    void ungrabForCoreClients(quint32 modifiers) const;
    [[nodiscard]] bool staysHeldForCoreClients() const { return kind_ != Kind::Button; }
    void keepOnly(const std::set<quint32>& refused);
    [[nodiscard]] xcb_input_xi_passive_grab_device_cookie_t request() const;
    [[nodiscard]] uint8_t grabType() const;

    X11Connection& connection_;
    Kind kind_;
    quint32 detail_ = 0; ///< 0 for nothing.
    std::vector<quint32> modifierSets_;
};

} // namespace velmo
