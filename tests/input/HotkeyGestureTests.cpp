#include "support/input/GestureTest.h"

#include <ostream>

namespace velmo {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class HotkeyGestureTest : public GestureTest {
protected:
    HotkeyGestureTest() { start(); }
};

struct KeyCase {
    const char* name;
    int keyCode;
    quint64 flags;
    bool isHotkey;
    friend void PrintTo(const KeyCase& keyCase, std::ostream* stream) { *stream << keyCase.name; }
};

class HotkeyMatchTest : public HotkeyGestureTest, public testing::WithParamInterface<KeyCase> {};

TEST_P(HotkeyMatchTest, TakesExactlyTheHotkey)
{
    const KeyCase& keyCase = GetParam();
    EXPECT_EQ(key(keyCase.keyCode, keyCase.flags), keyCase.isHotkey ? kSwallow : kPass);
    if (keyCase.isHotkey)
        EXPECT_THAT(callbacks(), ElementsAre("activate"));
    else
        EXPECT_THAT(callbacks(), IsEmpty());
}

constexpr quint64 kControlOption = ModifierFlag::Control | ModifierFlag::Option;

INSTANTIATE_TEST_SUITE_P(
    Keys, HotkeyMatchTest,
    testing::Values(KeyCase{"Hotkey", 49, kControlOption, true},
                    KeyCase{"OtherKey", 48, kControlOption, false}, KeyCase{"NoModifiers", 49, 0, false},
                    KeyCase{"OneModifier", 49, ModifierFlag::Control, false},
                    KeyCase{"WithShift", 49, kControlOption | ModifierFlag::Shift, false},
                    KeyCase{"WithCommand", 49, kControlOption | ModifierFlag::Command, false},
                    // Fn and the locks are no part of a hotkey.
                    KeyCase{"WithFunction", 49, kControlOption | ModifierFlag::Function, true},
                    KeyCase{"WithCapsLock", 49, kControlOption | 0x10000, true},
                    KeyCase{"WithDeviceBits", 49, kControlOption | 0x121, true}),
    [](const auto& instance) { return std::string(instance.param.name); });

TEST_F(HotkeyGestureTest, EachRepeatOfAHeldHotkeyActivates)
{
    EXPECT_EQ(key(kSpace, kHotkeyModifiers), kSwallow);
    EXPECT_EQ(key(kSpace, kHotkeyModifiers), kSwallow);
    EXPECT_THAT(callbacks(), ElementsAre("activate", "activate"));
}

TEST_F(HotkeyGestureTest, AHotkeyThatContainsTheChordDoesNotDisarmIt)
{
    monitor->stop();
    monitor->keyModifiers = kChord;
    start();
    EXPECT_EQ(key(kSpace, kChord), kSwallow);
    EXPECT_EQ(leftDown({1, 1}, kChord), kSwallow);
    EXPECT_THAT(callbacks(), ElementsAre("activate", "draw 1,999"));
}

TEST_F(HotkeyGestureTest, AHotkeyWithoutModifiersIsOne)
{
    monitor->stop();
    monitor->keyModifiers = 0;
    monitor->keyCode = 105;
    start();
    EXPECT_EQ(key(105), kSwallow);
    EXPECT_EQ(key(105, kShift), kPass);
    EXPECT_THAT(callbacks(), ElementsAre("activate"));
}

TEST_F(HotkeyGestureTest, SaysWhatItDoesWithKeys)
{
    key(kSpace, kHotkeyModifiers);
    EXPECT_THAT(printed(), ElementsAre("[HotkeyMonitor] hotkey matched — consuming event"));
    key(kLetterV);
    EXPECT_THAT(printed(), ElementsAre("[HotkeyMonitor] keyDown passthrough — keyCode=9"));
    key(kLetterV, kChord);
    EXPECT_THAT(
        printed(),
        ElementsAre("[HotkeyMonitor] suppressing quick draw because keyCode=9 used quick-draw modifiers",
                    "[HotkeyMonitor] keyDown passthrough — keyCode=9"));
    flags(kChord);
    EXPECT_THAT(printed(), IsEmpty()) << "the chord is still held";
    flags(kCommand);
    EXPECT_THAT(printed(), ElementsAre("[HotkeyMonitor] quick draw re-armed after modifier release"));
    flags(0);
    EXPECT_THAT(printed(), IsEmpty()) << "it is armed already";
}

TEST_F(HotkeyGestureTest, NamesNoPassedKeyWhereLinesAreKept)
{
    monitor->stop();
    monitor->printsPassedKeys = false;
    start();
    key(kSpace, kHotkeyModifiers);
    key(kLetterV);
    key(kLetterV, kChord);
    flags(0);
    EXPECT_THAT(printed(), ElementsAre("[HotkeyMonitor] hotkey matched — consuming event",
                                       "[HotkeyMonitor] quick draw re-armed after modifier release"));
}

TEST_F(HotkeyGestureTest, PassesWhatItDoesNotKnow)
{
    EXPECT_EQ(tap.input(static_cast<TapEventType>(99), {}), kPass);
    EXPECT_THAT(callbacks(), IsEmpty());
}

} // namespace
} // namespace velmo
