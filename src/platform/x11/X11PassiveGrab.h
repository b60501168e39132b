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
///
/// The server tells nobody that a place has become free, so what was refused has to be asked for again.
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
    /// Asks again for the states that were refused. Neither what is held already nor another program that
    /// still has its states notices anything. Returns what is still refused.
    std::set<quint32> takeRefused();
    void release();

    /// The states of this place that other programs have.
    [[nodiscard]] std::set<quint32> refused() const;
    [[nodiscard]] bool isRefused() const { return !refusedToCore_.empty() || !refusedToExtension_.empty(); }

    /// Lets go without forgetting, and takes back what was held. Neither waits for the server.
    void suspend() const;
    void resume() const;

private:
    using ModifierSets = std::vector<quint32>;

    void takeCoreFirst(const ModifierSets& wanted);
    void takeExtensionFirst(const ModifierSets& wanted);
    void keep(const ModifierSets& sets);
    [[nodiscard]] std::set<quint32> takeForCoreClients(const ModifierSets& sets) const;
    [[nodiscard]] std::set<quint32> takeForExtensionClients(const ModifierSets& sets) const;
    [[nodiscard]] xcb_void_cookie_t requestForCoreClients(quint32 modifiers) const;
    void ungrabForCoreClients(quint32 modifiers) const;
    void ungrabForExtensionClients(const ModifierSets& sets) const;
    [[nodiscard]] bool staysHeldForCoreClients() const { return kind_ != Kind::Button; }
    [[nodiscard]] xcb_input_xi_passive_grab_device_cookie_t request(const ModifierSets& sets) const;
    [[nodiscard]] uint8_t grabType() const;

    X11Connection& connection_;
    Kind kind_;
    quint32 detail_ = 0;        ///< 0 for nothing.
    ModifierSets modifierSets_; ///< Those that are held.
    std::set<quint32> refusedToCore_;
    std::set<quint32> refusedToExtension_;
};

} // namespace velmo
