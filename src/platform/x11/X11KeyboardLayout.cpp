#include "platform/x11/X11KeyboardLayout.h"

#include "platform/EventTap.h"
#include "platform/x11/KeyCodes.h"
#include "platform/x11/XcbXkb.h"

#include <QStringList>
#include <algorithm>
#include <cstring>
#include <map>
#include <span>
#include <utility>
#include <xkbcommon/xkbcommon.h>

namespace velmo {
namespace {

constexpr std::size_t kModifierCount = 8;

using KeyboardMapping = XcbPointer<xcb_get_keyboard_mapping_reply_t>;

KeyboardMapping keyboardMapping(X11Connection& connection, xcb_keycode_t first, int count)
{
    return connection.await(xcb_get_keyboard_mapping_reply,
                            xcb_get_keyboard_mapping(connection.get(), first, static_cast<uint8_t>(count)));
}

/// Modifier bits are assigned freely by the keyboard map, so they are found by the keys that produce them.
void readModifiers(X11Connection& connection, X11KeyboardLayout& layout)
{
    const auto* setup = xcb_get_setup(connection.get());
    const auto first = setup->min_keycode;
    const auto bound =
        connection.await(xcb_get_modifier_mapping_reply, xcb_get_modifier_mapping(connection.get()));
    const auto mapping = keyboardMapping(connection, first, setup->max_keycode - first + 1);
    if (!bound || !mapping)
        return;
    const std::span symbols(xcb_get_keyboard_mapping_keysyms(mapping.get()),
                            static_cast<std::size_t>(xcb_get_keyboard_mapping_keysyms_length(mapping.get())));
    const std::size_t columns = mapping->keysyms_per_keycode;
    const auto* keys = xcb_get_modifier_mapping_keycodes(bound.get());
    for (std::size_t modifier = 0; modifier < kModifierCount; ++modifier) {
        for (std::size_t i = 0; i < bound->keycodes_per_modifier; ++i) {
            const std::size_t key = keys[modifier * bound->keycodes_per_modifier + i];
            if (key < first || (key - first + 1) * columns > symbols.size())
                continue;
            layout.modifierKeys.set(key);
            // Shift, Lock and Control have fixed bits.
            if (modifier < 3)
                continue;
            const quint32 mask = quint32{1} << modifier;
            for (const xcb_keysym_t symbol : symbols.subspan((key - first) * columns, columns)) {
                if (symbol == XKB_KEY_Alt_L || symbol == XKB_KEY_Alt_R)
                    layout.altMask |= mask;
                else if (symbol == XKB_KEY_Super_L || symbol == XKB_KEY_Super_R)
                    layout.superMask |= mask;
                else if (symbol == XKB_KEY_Num_Lock)
                    layout.numLockMask |= mask;
                else if (symbol == XKB_KEY_Scroll_Lock)
                    layout.scrollLockMask |= mask;
            }
        }
    }
}

std::string_view keyName(const char* name)
{
    return {name, strnlen(name, 4)};
}

int virtualKeyCodeOf(std::string_view name)
{
    const auto* entry = std::ranges::find(kKeyCodeNames, name, &KeyCodeName::xkbName);
    return entry == kKeyCodeNames.end() ? -1 : entry->keyCode;
}

void readKeyNames(X11Connection& connection, X11KeyboardLayout& layout)
{
    const auto reply =
        connection.await(xcb_xkb_get_names_reply,
                         xcb_xkb_get_names(connection.get(), XCB_XKB_ID_USE_CORE_KBD,
                                           XCB_XKB_NAME_DETAIL_KEY_NAMES | XCB_XKB_NAME_DETAIL_KEY_ALIASES));
    if (!reply)
        return;
    xcb_xkb_get_names_value_list_t values{};
    xcb_xkb_get_names_value_list_unpack(
        xcb_xkb_get_names_value_list(reply.get()), reply->nTypes, reply->indicators, reply->virtualMods,
        reply->groupNames, reply->nKeys, reply->nKeyAliases, reply->nRadioGroups, reply->which, &values);
    const std::span names(values.keyNames, values.keyNames == nullptr ? std::size_t{0} : reply->nKeys);
    const std::span aliases(values.keyAliases,
                            values.keyAliases == nullptr ? std::size_t{0} : reply->nKeyAliases);
    for (std::size_t i = 0; i < names.size() && reply->firstKey + i < layout.virtualKeyCodes.size(); ++i) {
        const auto name = keyName(names[i].name);
        if (name.empty())
            continue;
        int code = virtualKeyCodeOf(name);
        for (const auto& alias : aliases) {
            // Older keyboard descriptions know some positions by another name only.
            if (code < 0 && keyName(alias.real) == name)
                code = virtualKeyCodeOf(keyName(alias.alias));
        }
        layout.virtualKeyCodes[reply->firstKey + i] = code;
    }
}

} // namespace

X11KeyboardLayout X11KeyboardLayout::read(X11Connection& connection)
{
    X11KeyboardLayout layout;
    layout.virtualKeyCodes.fill(-1);
    readModifiers(connection, layout);
    readKeyNames(connection, layout);
    return layout;
}

quint64 X11KeyboardLayout::flags(quint32 state) const
{
    quint64 result = 0;
    if ((state & XCB_MOD_MASK_SHIFT) != 0)
        result |= ModifierFlag::Shift;
    if ((state & XCB_MOD_MASK_CONTROL) != 0)
        result |= ModifierFlag::Control;
    if ((state & altMask) != 0)
        result |= ModifierFlag::Option;
    if ((state & superMask) != 0)
        result |= ModifierFlag::Command;
    return result;
}

std::vector<quint32> X11KeyboardLayout::modifierSets(quint64 flags) const
{
    const std::array<std::pair<quint64, quint32>, 4> masks{{{ModifierFlag::Shift, XCB_MOD_MASK_SHIFT},
                                                            {ModifierFlag::Control, XCB_MOD_MASK_CONTROL},
                                                            {ModifierFlag::Option, altMask},
                                                            {ModifierFlag::Command, superMask}}};
    std::vector<quint32> result{0};
    for (const auto& [flag, mask] : masks) {
        if ((flags & flag) == 0)
            continue;
        std::vector<quint32> longer;
        for (const quint32 set : result) {
            // Any of the modifiers will do, and so will several of them.
            for (quint32 part = mask; part != 0; part = (part - 1) & mask)
                longer.push_back(set | part);
        }
        result = std::move(longer);
    }
    // Where two share one of the server's, holding one means holding both.
    std::erase_if(result, [&](quint32 set) { return this->flags(set) != flags; });
    return result;
}

xcb_keycode_t X11KeyboardLayout::hardwareKeyCode(int virtualKeyCode) const
{
    if (virtualKeyCode < 0)
        return 0;
    const auto* found = std::ranges::find(virtualKeyCodes, virtualKeyCode);
    return found == virtualKeyCodes.end() ? xcb_keycode_t{0}
                                          : static_cast<xcb_keycode_t>(found - virtualKeyCodes.begin());
}

int X11KeyboardLayout::virtualKeyCode(quint32 hardwareKeyCode) const
{
    return hardwareKeyCode < virtualKeyCodes.size() ? virtualKeyCodes[hardwareKeyCode] : -1;
}

quint32 X11KeyboardLayout::others() const
{
    constexpr quint32 kAll = 0xff;
    return kAll & ~(XCB_MOD_MASK_SHIFT | XCB_MOD_MASK_CONTROL | altMask | superMask);
}

std::vector<quint32> X11KeyboardLayout::withOthers(std::vector<quint32> modifierSets) const
{
    for (std::size_t modifier = 0; modifier < kModifierCount; ++modifier) {
        const quint32 mask = (quint32{1} << modifier) & others();
        if (mask == 0)
            continue;
        const std::size_t count = modifierSets.size();
        for (std::size_t i = 0; i < count; ++i)
            modifierSets.push_back(modifierSets[i] | mask);
    }
    return modifierSets;
}

QString X11KeyboardLayout::otherNames(quint32 state) const
{
    const quint32 held = state & others();
    QStringList names;
    if ((held & XCB_MOD_MASK_LOCK) != 0)
        names << QStringLiteral("Caps Lock");
    if ((held & numLockMask) != 0)
        names << QStringLiteral("Num Lock");
    if ((held & scrollLockMask) != 0)
        names << QStringLiteral("Scroll Lock");
    // The five that a map may give any meaning, where it gave none that is known here.
    for (quint32 number = 1; number <= 5; ++number) {
        const quint32 mask = quint32{XCB_MOD_MASK_1} << (number - 1);
        if ((held & mask & ~(numLockMask | scrollLockMask)) != 0)
            names << QStringLiteral("Mod") + QString::number(number);
    }
    return names.join(QStringLiteral(" and "));
}

QStringList X11KeyboardLayout::describeRefusals(const std::vector<quint32>& requested,
                                                const std::set<quint32>& refused, const QString& key) const
{
    std::map<quint32, std::vector<quint32>> byCombination;
    for (const quint32 set : requested)
        byCombination[set & ~others()].push_back(set);
    QStringList problems;
    for (const auto& [modifiers, sets] : byCombination) {
        const auto isRefused = [&](quint32 set) { return refused.contains(set); };
        QString label = combinationLabel(flags(modifiers), key);
        label[0] = label[0].toUpper();
        // Programs that hold a combination mind the locks, and seldom anything beyond.
        const bool isWhole = std::ranges::all_of(
            sets, [&](quint32 set) { return (set & others() & ~locks()) != 0 || isRefused(set); });
        for (const quint32 set : sets) {
            if (!isRefused(set))
                continue;
            QString under;
            if (!isWhole && (set & others()) == 0)
                under = QStringLiteral(" without any lock");
            else if (!isWhole)
                under = QStringLiteral(" with ") + otherNames(set);
            problems << label + under + kHeldByAnother;
            if (isWhole)
                break;
        }
    }
    return problems;
}

QString keyLabel(X11Connection& connection, xcb_keycode_t key)
{
    const auto mapping = keyboardMapping(connection, key, 1);
    if (!mapping || xcb_get_keyboard_mapping_keysyms_length(mapping.get()) == 0)
        return QString::number(key);
    std::array<char, 64> name{};
    if (xkb_keysym_get_name(*xcb_get_keyboard_mapping_keysyms(mapping.get()), name.data(), name.size()) <= 0)
        return QString::number(key);
    QString label = QString::fromUtf8(name.data());
    label[0] = label[0].toUpper();
    return label;
}

QString combinationLabel(quint64 flags, const QString& key)
{
    QStringList parts;
    if ((flags & ModifierFlag::Control) != 0)
        parts << QStringLiteral("Ctrl");
    if ((flags & ModifierFlag::Option) != 0)
        parts << QStringLiteral("Alt");
    if ((flags & ModifierFlag::Shift) != 0)
        parts << QStringLiteral("Shift");
    if ((flags & ModifierFlag::Command) != 0)
        parts << QStringLiteral("Super");
    parts << key;
    return parts.join(QLatin1Char('+'));
}

} // namespace velmo
