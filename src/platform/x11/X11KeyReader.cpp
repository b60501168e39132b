#include "platform/x11/X11KeyReader.h"

#include "platform/x11/X11InputExtensions.h"
#include "platform/x11/X11KeyboardLayout.h"
#include "platform/x11/XcbXkb.h"

#include <span>
#include <xkbcommon/xkbcommon.h>

namespace velmo {
namespace {

constexpr bool isWithin(quint32 symbol, quint32 first, quint32 last)
{
    return symbol >= first && symbol <= last;
}

/// Some have no place among the map's modifiers, such as a Caps Lock that changes the layout.
constexpr bool isModifierSymbol(quint32 symbol)
{
    return isWithin(symbol, XKB_KEY_Shift_L, XKB_KEY_Hyper_R) ||
           isWithin(symbol, XKB_KEY_ISO_Lock, XKB_KEY_ISO_Level5_Lock) || symbol == XKB_KEY_Mode_switch ||
           symbol == XKB_KEY_Num_Lock;
}

/// A key's symbols in one of its groups, by level.
class GroupSymbols {
public:
    /// The group is the one that the keyboard is in; keys have fewer groups than it, as they say themselves.
    GroupSymbols(const xcb_xkb_key_sym_map_t& key, std::size_t group)
    {
        const std::size_t count = key.groupInfo & 0x0f;
        if (count == 0)
            return;
        if (group >= count)
            group = replacement(key.groupInfo, group, count);
        const std::span all(xcb_xkb_key_sym_map_syms(&key), key.nSyms);
        if ((group + 1) * key.width <= all.size())
            symbols_ = all.subspan(group * key.width, key.width);
    }

    [[nodiscard]] xcb_keysym_t at(std::size_t level) const
    {
        return level < symbols_.size() ? symbols_[level] : xcb_keysym_t{XKB_KEY_NoSymbol};
    }

private:
    static std::size_t replacement(uint8_t info, std::size_t group, std::size_t count)
    {
        constexpr uint8_t kClamp = 0x40;
        constexpr uint8_t kRedirect = 0x80;
        if ((info & kRedirect) != 0) {
            const std::size_t target = (info >> 4) & 3;
            return target < count ? target : 0;
        }
        return (info & kClamp) != 0 ? count - 1 : group % count;
    }

    std::span<const xcb_keysym_t> symbols_;
};

QString characterOf(const GroupSymbols& symbols, bool isShifted)
{
    const xcb_keysym_t shifted = symbols.at(1);
    // The keypad's keys are its digits, whatever Num Lock says.
    const bool isKeypadKey = isWithin(shifted, XKB_KEY_KP_Separator, XKB_KEY_KP_9);
    const std::size_t level = isKeypadKey || (isShifted && shifted != XKB_KEY_NoSymbol) ? 1 : 0;
    const char32_t character = xkb_keysym_to_utf32(symbols.at(level));
    if (character == 0 || QChar::category(character) == QChar::Other_Control)
        return {};
    return QString::fromUcs4(&character, 1);
}

/// What the key types in a state of which only Shift and the keyboard's group count. The core protocol's map
/// would do, if it had more than two groups.
QString charactersOf(X11Connection& connection, xcb_keycode_t key, quint32 state)
{
    const auto reply =
        connection.await(xcb_xkb_get_map_reply, xcb_xkb_get_map(connection.get(), XCB_XKB_ID_USE_CORE_KBD, 0,
                                                                XCB_XKB_MAP_PART_KEY_SYMS, 0, 0, key, 1, 0, 0,
                                                                0, 0, 0, 0, 0, 0, 0, 0, 0));
    if (!reply || reply->nKeySyms == 0)
        return {};
    xcb_xkb_get_map_map_t map{};
    xcb_xkb_get_map_map_unpack(xcb_xkb_get_map_map(reply.get()), reply->nTypes, reply->nKeySyms,
                               reply->nKeyActions, reply->totalActions, reply->totalKeyBehaviors,
                               reply->virtualMods, reply->totalKeyExplicit, reply->totalModMapKeys,
                               reply->totalVModMapKeys, reply->present, &map);
    if (map.syms_rtrn == nullptr)
        return {};
    // The state's two bits above the buttons.
    const std::size_t group = (state >> 13) & 3;
    return characterOf(GroupSymbols(*map.syms_rtrn, group), (state & XCB_MOD_MASK_SHIFT) != 0);
}

} // namespace

PressedKey X11KeyReader::read(const NativeKey& press)
{
    if (!connection_ || connection_->isBroken()) {
        connection_ = X11Connection::open();
        if (!connection_ || !X11InputExtensions::probe(*connection_).missing.isEmpty())
            return {};
    }
    const X11KeyboardLayout layout = X11KeyboardLayout::read(*connection_);
    connection_->discardEvents();
    PressedKey key{layout.virtualKeyCode(press.keyCode), layout.flags(press.modifiers), {}};
    key.isModifier = isModifierSymbol(press.symbol) ||
                     (press.keyCode < layout.modifierKeys.size() && layout.modifierKeys.test(press.keyCode));
    if (press.keyCode < layout.modifierKeys.size())
        key.characters =
            charactersOf(*connection_, static_cast<xcb_keycode_t>(press.keyCode), press.modifiers);
    return key;
}

} // namespace velmo
