#include "settings/HotkeyTexts.h"

#include "widgets/ModifierSymbols.h"

#include <QStringList>
#include <array>
#include <utility>

namespace velmo {

namespace {

QString keyName(qint64 keyCode)
{
    constexpr qint64 kReturn = 36;
    constexpr qint64 kTab = 48;
    constexpr qint64 kSpace = 49;
    switch (keyCode) {
    case kReturn:
        return QStringLiteral("Return");
    case kTab:
        return QStringLiteral("Tab");
    case kSpace:
        return QStringLiteral("Space");
    default:
        return QStringLiteral("Key(") + QString::number(keyCode) + u')';
    }
}

/// Shift may be held as well, so it is no part of the chord.
QString chordSymbols(quint64 modifiers)
{
    const QString symbols = modifierSymbols(modifiers & ~ModifierFlag::Shift);
    return (modifiers & ModifierFlag::Function) != 0 ? symbols + QStringLiteral("fn") : symbols;
}

} // namespace

QString hotkeyDescription(quint64 modifiers, qint64 keyCode)
{
    return modifierSymbols(modifiers) + keyName(keyCode);
}

QString hotkeyInWords(quint64 modifiers, qint64 keyCode)
{
    const std::array<std::pair<quint64, QString>, 4> names{
        {{ModifierFlag::Control, QStringLiteral("Ctrl")},
         {ModifierFlag::Option, QStringLiteral("Alt")},
         {ModifierFlag::Shift, QStringLiteral("Shift")},
         {ModifierFlag::Command, QStringLiteral("Super")}}};
    QString words;
    for (const auto& [flag, name] : names) {
        if ((modifiers & flag) != 0)
            words += name + QStringLiteral(" + ");
    }
    return words + keyName(keyCode);
}

QString quickDrawDescription(quint64 modifiers, bool middleButton)
{
    QStringList triggers;
    if (modifiers != 0)
        triggers.append(chordSymbols(modifiers) + QStringLiteral(" + Click"));
    if (middleButton)
        triggers.append(QStringLiteral("Middle Mouse Button"));
    if (triggers.isEmpty())
        return QStringLiteral("Quick draw is disabled until a trigger is enabled.");
    return triggers.join(QStringLiteral(" or "));
}

} // namespace velmo
