#include "platform/x11/X11KeyboardLayout.h"

#include "platform/EventTap.h"
#include "platform/x11/KeyCodes.h"
#include "platform/x11/X11InputExtensions.h"
#include "support/x11/InputDriver.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <iterator>
#include <set>

namespace velmo::test {
namespace {

TEST(KeyCodesTest, NamesEveryPositionOnce)
{
    std::set<int> codes;
    std::set<std::string_view> names;
    for (const auto& entry : kKeyCodeNames) {
        EXPECT_TRUE(codes.insert(entry.keyCode).second) << entry.keyCode;
        EXPECT_TRUE(names.insert(entry.xkbName).second) << entry.xkbName;
        EXPECT_LE(entry.xkbName.size(), 4U);
        EXPECT_LT(entry.keyCode, 128);
    }
}

class X11KeyboardLayoutTest : public testing::Test {
protected:
    X11KeyboardLayoutTest()
    {
        EXPECT_EQ(X11InputExtensions::probe(*connection_).missing, QString());
        layout_ = X11KeyboardLayout::read(*connection_);
    }

    std::unique_ptr<X11Connection> connection_ = X11Connection::open();
    X11KeyboardLayout layout_;
};

TEST_F(X11KeyboardLayoutTest, FindsKeysByTheirPlace)
{
    InputDriver input;
    EXPECT_EQ(layout_.hardwareKeyCode(49), input.keyCode("space"));
    EXPECT_EQ(layout_.hardwareKeyCode(0), input.keyCode("a"));
    EXPECT_EQ(layout_.hardwareKeyCode(53), input.keyCode("Escape"));
    EXPECT_EQ(layout_.hardwareKeyCode(122), input.keyCode("F1"));
    EXPECT_EQ(layout_.virtualKeyCode(input.keyCode("space")), 49);
    EXPECT_EQ(layout_.hardwareKeyCode(127), 0);
    EXPECT_EQ(layout_.hardwareKeyCode(-1), 0);
    EXPECT_EQ(layout_.virtualKeyCode(4000), -1);
}

TEST_F(X11KeyboardLayoutTest, FindsNearlyEveryKeyOfTheTable)
{
    int missing = 0;
    for (const auto& entry : kKeyCodeNames)
        missing += layout_.hardwareKeyCode(entry.keyCode) == 0 ? 1 : 0;
    // Keyboards differ in a key or two beyond the common hundred.
    EXPECT_LE(missing, 2);
}

TEST_F(X11KeyboardLayoutTest, TranslatesModifiersBothWays)
{
    const quint64 all =
        ModifierFlag::Shift | ModifierFlag::Control | ModifierFlag::Option | ModifierFlag::Command;
    for (const quint64 flags :
         {quint64{0}, ModifierFlag::Shift, ModifierFlag::Option, ModifierFlag::Command, all}) {
        const auto sets = layout_.modifierSets(flags);
        ASSERT_EQ(sets.size(), 1U);
        EXPECT_EQ(layout_.flags(sets.front()), flags);
        EXPECT_EQ(layout_.flags(sets.front() | XCB_MOD_MASK_LOCK | layout_.numLockMask), flags);
    }
}

TEST_F(X11KeyboardLayoutTest, RefusesAModifierThatTheMapLacks)
{
    layout_.superMask = 0;
    EXPECT_TRUE(layout_.modifierSets(ModifierFlag::Command).empty());
    EXPECT_TRUE(layout_.modifierSets(ModifierFlag::Command | ModifierFlag::Control).empty());
    EXPECT_EQ(layout_.modifierSets(ModifierFlag::Option).size(), 1U);
}

TEST_F(X11KeyboardLayoutTest, TakesAnyOfTheModifiersThatAKeysNameIsOn)
{
    layout_.superMask = XCB_MOD_MASK_3 | XCB_MOD_MASK_4;
    const auto sets = layout_.modifierSets(ModifierFlag::Command | ModifierFlag::Control);
    EXPECT_EQ(std::set<quint32>(sets.begin(), sets.end()),
              (std::set<quint32>{XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_3, XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_4,
                                 XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_3 | XCB_MOD_MASK_4}));
}

TEST_F(X11KeyboardLayoutTest, TakesNoStateInWhichAnotherModifierWouldBeHeldAsWell)
{
    layout_.altMask = XCB_MOD_MASK_1 | XCB_MOD_MASK_4;
    layout_.superMask = XCB_MOD_MASK_1;
    EXPECT_EQ(layout_.modifierSets(ModifierFlag::Option), std::vector<quint32>{XCB_MOD_MASK_4});
    layout_.altMask = XCB_MOD_MASK_1;
    EXPECT_TRUE(layout_.modifierSets(ModifierFlag::Option).empty()) << "Alt cannot be held without Super";
    EXPECT_EQ(layout_.modifierSets(ModifierFlag::Option | ModifierFlag::Command),
              std::vector<quint32>{XCB_MOD_MASK_1});
}

TEST_F(X11KeyboardLayoutTest, JoinsACombinationWithEverySubsetOfWhatDoesNotMatter)
{
    layout_.altMask = XCB_MOD_MASK_1;
    layout_.superMask = XCB_MOD_MASK_4;
    layout_.numLockMask = XCB_MOD_MASK_2;
    layout_.scrollLockMask = 0;
    const auto sets = layout_.withOthers({XCB_MOD_MASK_CONTROL});
    EXPECT_EQ(sets.size(), 16U) << "Caps Lock, Num Lock, and two that this map leaves without a name";
    EXPECT_EQ(sets.front(), quint32{XCB_MOD_MASK_CONTROL});
    EXPECT_EQ(std::set<quint32>(sets.begin(), sets.end()).size(), 16U);
    for (const quint32 set : sets)
        EXPECT_EQ(layout_.flags(set), ModifierFlag::Control);
    EXPECT_EQ(layout_.otherNames(XCB_MOD_MASK_LOCK | XCB_MOD_MASK_2 | XCB_MOD_MASK_CONTROL),
              QStringLiteral("Caps Lock and Num Lock"));
    EXPECT_EQ(layout_.otherNames(XCB_MOD_MASK_2 | XCB_MOD_MASK_5), QStringLiteral("Num Lock and Mod5"));
}

TEST_F(X11KeyboardLayoutTest, TellsWhatIsRefusedByCombination)
{
    layout_.altMask = XCB_MOD_MASK_1;
    layout_.superMask = XCB_MOD_MASK_4;
    layout_.numLockMask = XCB_MOD_MASK_2;
    layout_.scrollLockMask = 0;
    const QString button = QStringLiteral("left button");
    const quint32 chord = XCB_MOD_MASK_1 | XCB_MOD_MASK_4;
    const quint32 shifted = chord | XCB_MOD_MASK_SHIFT;
    const auto sets = layout_.withOthers({chord, shifted});
    EXPECT_TRUE(layout_.describeRefusals(sets, {}, button).isEmpty());
    const QStringList both{QStringLiteral("Alt+Super+left button is held by another program."),
                           QStringLiteral("Alt+Shift+Super+left button is held by another program.")};
    EXPECT_EQ(layout_.describeRefusals(sets, {sets.begin(), sets.end()}, button), both);
    std::set<quint32> underLocks;
    std::ranges::copy_if(sets, std::inserter(underLocks, underLocks.end()),
                         [](quint32 set) { return (set & (XCB_MOD_MASK_3 | XCB_MOD_MASK_5)) == 0; });
    EXPECT_EQ(layout_.describeRefusals(sets, underLocks, button), both) << "which is all that programs hold";
    EXPECT_EQ(
        layout_.describeRefusals(sets, {chord, shifted | XCB_MOD_MASK_LOCK | XCB_MOD_MASK_2}, button),
        (QStringList{QStringLiteral("Alt+Super+left button without any lock is held by another program."),
                     QStringLiteral("Alt+Shift+Super+left button with Caps Lock and Num Lock is held by "
                                    "another program.")}));
    EXPECT_EQ(
        layout_.describeRefusals(layout_.withOthers({0}), {XCB_MOD_MASK_3}, QStringLiteral("middle button")),
        QStringList{QStringLiteral("Middle button with Mod3 is held by another program.")});
}

TEST_F(X11KeyboardLayoutTest, NamesCombinationsForPeople)
{
    EXPECT_EQ(keyLabel(*connection_, layout_.hardwareKeyCode(49)), QStringLiteral("Space"));
    EXPECT_EQ(keyLabel(*connection_, layout_.hardwareKeyCode(0)), QStringLiteral("A"));
    EXPECT_EQ(combinationLabel(ModifierFlag::Command | ModifierFlag::Control | ModifierFlag::Shift,
                               QStringLiteral("K")),
              QStringLiteral("Ctrl+Shift+Super+K"));
}

} // namespace
} // namespace velmo::test
