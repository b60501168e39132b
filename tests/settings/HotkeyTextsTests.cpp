#include "settings/HotkeyTexts.h"

#include "platform/EventTap.h"
#include "support/core/Printing.h"

#include <gtest/gtest.h>

namespace velmo {
namespace {

using namespace ModifierFlag;

TEST(HotkeyTexts, NamesTheKeysThatHaveNames)
{
    EXPECT_EQ(hotkeyDescription(Control | Option, 49), QStringLiteral("⌃⌥Space"));
    EXPECT_EQ(hotkeyDescription(Command, 48), QStringLiteral("⌘Tab"));
    EXPECT_EQ(hotkeyDescription(Command | Shift | Option | Control, 36), QStringLiteral("⌃⌥⇧⌘Return"));
}

TEST(HotkeyTexts, OtherKeysAreNumbered)
{
    EXPECT_EQ(hotkeyDescription(0, 0), QStringLiteral("Key(0)"));
    EXPECT_EQ(hotkeyDescription(Shift, 40), QStringLiteral("⇧Key(40)"));
    EXPECT_EQ(hotkeyDescription(0, -1), QStringLiteral("Key(-1)"));
}

TEST(HotkeyTexts, InWordsTheKeysAreThoseOfTheKeyboardsHere)
{
    EXPECT_EQ(hotkeyInWords(ModifierFlag::Control | ModifierFlag::Option, 49),
              QStringLiteral("Ctrl + Alt + Space"));
    EXPECT_EQ(hotkeyInWords(ModifierFlag::Command | ModifierFlag::Shift, 40),
              QStringLiteral("Shift + Super + Key(40)"));
    EXPECT_EQ(hotkeyInWords(0, 36), QStringLiteral("Return"));
}

TEST(HotkeyTexts, TheTriggersOfQuickDrawingAreJoined)
{
    EXPECT_EQ(quickDrawDescription(Option | Command, true),
              QStringLiteral("⌥⌘ + Click or Middle Mouse Button"));
    EXPECT_EQ(quickDrawDescription(Control, false), QStringLiteral("⌃ + Click"));
    EXPECT_EQ(quickDrawDescription(0, true), QStringLiteral("Middle Mouse Button"));
    EXPECT_EQ(quickDrawDescription(0, false),
              QStringLiteral("Quick draw is disabled until a trigger is enabled."));
}

TEST(HotkeyTexts, TheFunctionKeyComesLastAndShiftIsNotShown)
{
    EXPECT_EQ(quickDrawDescription(Control | Option | Shift | Command | Function, false),
              QStringLiteral("⌃⌥⌘fn + Click"));
    EXPECT_EQ(quickDrawDescription(Shift, false), QStringLiteral(" + Click"));
    EXPECT_EQ(quickDrawDescription(1U << 23U, false), QStringLiteral("fn + Click"));
}

} // namespace
} // namespace velmo
