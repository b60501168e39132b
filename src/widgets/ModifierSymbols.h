#pragma once

#include "platform/EventTap.h"

#include <QString>
#include <array>
#include <utility>

namespace velmo {

/// The symbols of the ModifierFlag bits that are set, in their fixed order, with nothing in between.
[[nodiscard]] inline QString modifierSymbols(quint64 modifiers)
{
    constexpr std::array<std::pair<quint64, char16_t>, 4> kSymbols{{{ModifierFlag::Control, u'\u2303'},
                                                                    {ModifierFlag::Option, u'\u2325'},
                                                                    {ModifierFlag::Shift, u'\u21e7'},
                                                                    {ModifierFlag::Command, u'\u2318'}}};
    QString text;
    for (const auto& [flag, symbol] : kSymbols) {
        if ((modifiers & flag) != 0)
            text += symbol;
    }
    return text;
}

} // namespace velmo
