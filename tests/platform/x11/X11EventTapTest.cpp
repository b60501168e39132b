#include "TapRecorder.h"
#include "support/x11/InputDriver.h"
#include "support/x11/PlainClient.h"

#include <chrono>
#include <gtest/gtest.h>
#include <ostream>
#include <xcb/xcb.h>

namespace velmo::test {
namespace {

using Type = PlainClient::Event::Type;
using std::chrono::milliseconds;

constexpr int kSpace = 49;
constexpr int kLetterA = 0;

/// Against hanging; how long it takes is measured elsewhere.
constexpr milliseconds kStopGuard{1000};
constexpr quint64 kControlOption = ModifierFlag::Control | ModifierFlag::Option;

class X11EventTapTest : public testing::Test {
protected:
    X11EventTapTest()
    {
        client_.takeFocus();
        awaitCondition([this] { return client_.hasFocus(); });
        client_.forgetEvents();
    }

    void pressHotkey() { input_.chord({"Control_L", "Alt_L", "space"}); }

    /// A key after the fact: once the tap and the client have it, everything before has arrived as well.
    void settle()
    {
        const auto seen = tap_.keyDowns(kLetterA).size();
        input_.tap("a");
        EXPECT_TRUE(tap_.awaitKeyDowns(kLetterA, seen + 1));
        EXPECT_TRUE(awaitCondition([this] { return clientPresses("a") > 0; }));
    }

    int clientPresses(const char* key) { return client_.count(Type::KeyPress, input_.keyCode(key)); }

    InputDriver input_;
    PlainClient client_{{}};
    TapRecorder tap_;
};

struct Lock {
    const char* name;
    const char* key; ///< Null for none.
    friend void PrintTo(const Lock& lock, std::ostream* stream) { *stream << lock.name; }
};

class X11EventTapLockTest : public X11EventTapTest, public testing::WithParamInterface<Lock> {};

TEST_P(X11EventTapLockTest, ReportsTheHotkeyOnceAndKeepsItFromTheApplication)
{
    const char* lock = GetParam().key;
    const quint32 before = input_.modifiers();
    if (lock != nullptr) {
        input_.tap(lock);
        ASSERT_NE(input_.modifiers(), before) << "the lock is not on";
    }
    const auto report = tap_.start();
    EXPECT_TRUE(report.started);
    EXPECT_TRUE(report.problems.isEmpty()) << report.problems.join(QLatin1Char('\n')).toStdString();

    pressHotkey();
    settle();
    if (lock != nullptr)
        input_.tap(lock);

    const auto presses = tap_.keyDowns(kSpace);
    ASSERT_EQ(presses.size(), 1U);
    EXPECT_EQ(presses.front().flags, kControlOption);
    EXPECT_EQ(clientPresses("space"), 0);
    EXPECT_EQ(input_.modifiers(), before);
}

INSTANTIATE_TEST_SUITE_P(Locks, X11EventTapLockTest,
                         testing::Values(Lock{"None", nullptr}, Lock{"Caps", "Caps_Lock"},
                                         Lock{"Num", "Num_Lock"}),
                         [](const auto& instance) { return std::string(instance.param.name); });

TEST_F(X11EventTapTest, GivesTheApplicationTheReleasesAndWhatIsTypedAfterTheHotkey)
{
    ASSERT_TRUE(tap_.start().started);
    input_.press("Control_L");
    input_.press("Alt_L");
    input_.press("space");
    ASSERT_TRUE(tap_.awaitKeyDowns(kSpace, 1));
    input_.tap("b");
    input_.release("Alt_L");
    input_.release("Control_L");
    settle();
    EXPECT_EQ(clientPresses("b"), 1);
    EXPECT_EQ(client_.count(Type::KeyRelease, input_.keyCode("Alt_L")), 1);
    EXPECT_EQ(client_.count(Type::KeyRelease, input_.keyCode("Control_L")), 1);
}

TEST_F(X11EventTapTest, LetsTheKeyThroughWithAnotherModifier)
{
    ASSERT_TRUE(tap_.start().started);
    input_.chord({"Control_L", "Alt_L", "Shift_L", "space"});
    settle();
    EXPECT_EQ(clientPresses("space"), 1);
    const auto presses = tap_.keyDowns(kSpace);
    ASSERT_EQ(presses.size(), 1U);
    EXPECT_EQ(presses.front().flags, kControlOption | ModifierFlag::Shift);
}

TEST_F(X11EventTapTest, KeepsEachRepeatOfAHotkeyThatIsHeldDown)
{
    ASSERT_TRUE(tap_.start().started);
    input_.press("Control_L");
    input_.press("Alt_L");
    input_.press("space");
    // The server begins to repeat after 660 ms at the latest, and the application must not get that either.
    EXPECT_TRUE(tap_.awaitKeyDowns(kSpace, 3));
    input_.release("space");
    EXPECT_EQ(clientPresses("space"), 0);
    for (const auto& press : tap_.keyDowns(kSpace))
        EXPECT_EQ(press.flags, kControlOption);
}

TEST_F(X11EventTapTest, DoesNotMindAModifierThatNoGestureSpeaksOf)
{
    // A key for the fifth modifier, as layouts with a third level have one.
    const xcb_keysym_t level = 0xfe03;
    constexpr xcb_keycode_t kKey = 248;
    auto& server = client_.connection();
    xcb_change_keyboard_mapping(server.get(), 1, kKey, 1, &level);
    const auto before = server.await(xcb_get_modifier_mapping_reply, xcb_get_modifier_mapping(server.get()));
    ASSERT_TRUE(before);
    const int perModifier = before->keycodes_per_modifier;
    std::vector<xcb_keycode_t> keys(xcb_get_modifier_mapping_keycodes(before.get()),
                                    xcb_get_modifier_mapping_keycodes(before.get()) + 8 * perModifier);
    const auto restored = keys;
    keys[static_cast<std::size_t>(7 * perModifier)] = kKey;
    const auto setKeys = [&](const std::vector<xcb_keycode_t>& all) {
        static_cast<void>(server.await(
            xcb_set_modifier_mapping_reply,
            xcb_set_modifier_mapping(server.get(), static_cast<uint8_t>(perModifier), all.data())));
    };
    setKeys(keys);
    ASSERT_TRUE(tap_.start().started);
    input_.press("ISO_Level3_Shift");
    ASSERT_EQ(input_.modifiers(), quint32{XCB_MOD_MASK_5});
    pressHotkey();
    input_.release("ISO_Level3_Shift");
    EXPECT_TRUE(tap_.awaitKeyDowns(kSpace, 1));
    settle();
    EXPECT_EQ(clientPresses("space"), 0);
    setKeys(restored);
}

TEST_F(X11EventTapTest, LeavesAloneWhatCannotBeAHotkey)
{
    TapInterest interest;
    interest.hotkeyModifiers = kControlOption | 0x10000;
    const auto report = tap_.start(interest);
    EXPECT_EQ(report.problems,
              QStringList{QStringLiteral("The hotkey's modifiers contain one that cannot be part of them.")});
    pressHotkey();
    settle();
    EXPECT_EQ(clientPresses("space"), 1);
    EXPECT_EQ(tap_.keyDowns(kSpace).size(), 1U);
}

TEST_F(X11EventTapTest, ReportsModifiersAsTheyChangeAndLeavesLocksOut)
{
    ASSERT_TRUE(tap_.start().started);
    input_.tap("Caps_Lock");
    input_.press("Super_L");
    input_.press("Alt_L");
    settle();
    input_.tap("Caps_Lock");
    std::vector<quint64> flags;
    for (const auto& event : tap_.eventsOf(TapEventType::FlagsChanged))
        flags.push_back(event.flags);
    EXPECT_EQ(flags,
              (std::vector<quint64>{ModifierFlag::Command, ModifierFlag::Command | ModifierFlag::Option}));
    EXPECT_EQ(tap_.keyDowns(kLetterA).size(), 1U);
    EXPECT_EQ(tap_.events().size(), 3U) << "modifier keys are no key presses";
}

TEST_F(X11EventTapTest, StopReturnsAtOnceAndGivesTheKeyBack)
{
    ASSERT_TRUE(tap_.start().started);
    const auto begin = std::chrono::steady_clock::now();
    tap_.tap().stop();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, kStopGuard);

    // The tap's thread gives back on its own time, so the key is pressed until it arrives.
    EXPECT_TRUE(awaitCondition([this] {
        pressHotkey();
        return clientPresses("space") > 0;
    }));
    const auto seen = tap_.events().size();
    input_.tap("a");
    EXPECT_TRUE(awaitCondition([this] { return clientPresses("a") > 0; }));
    EXPECT_FALSE(awaitCondition([&] { return tap_.events().size() != seen; }, milliseconds(50)));
}

TEST_F(X11EventTapTest, StartsAgainWithoutMeetingItsOwnReservation)
{
    ASSERT_TRUE(tap_.start().started);
    for (int round = 0; round < 10; ++round) {
        tap_.tap().stop();
        const auto report = tap_.start();
        ASSERT_TRUE(report.started);
        ASSERT_TRUE(report.problems.isEmpty()) << report.problems.join(QLatin1Char('\n')).toStdString();
    }
    pressHotkey();
    settle();
    EXPECT_EQ(tap_.keyDowns(kSpace).size(), 1U);
}

TEST_F(X11EventTapTest, AStartReplacesTheRunBefore)
{
    ASSERT_TRUE(tap_.start().started);
    TapInterest other;
    other.hotkeyKeyCode = 11;
    other.hotkeyModifiers = ModifierFlag::Command;
    ASSERT_TRUE(tap_.start(other).problems.isEmpty());
    pressHotkey();
    input_.chord({"Super_L", "b"});
    settle();
    EXPECT_EQ(clientPresses("space"), 1) << "the hotkey of before is an ordinary key again";
    EXPECT_EQ(clientPresses("b"), 0);
    EXPECT_EQ(tap_.keyDowns(11).size(), 1U);
}

TEST_F(X11EventTapTest, SurvivesBeingStoppedBeforeItHasStarted)
{
    tap_.startWithoutWaiting();
    tap_.tap().stop();
    EXPECT_TRUE(tap_.start().started);
    pressHotkey();
    settle();
    EXPECT_EQ(tap_.keyDowns(kSpace).size(), 1U);
}

TEST_F(X11EventTapTest, KeepsTheHotkeyWhenTheKeyboardMapIsChanged)
{
    ASSERT_TRUE(tap_.start().started);
    // A symbol on an unused key: the server announces a new map, and the hotkey's place is the same.
    const xcb_keysym_t symbol = 0x1008ff41;
    xcb_change_keyboard_mapping(client_.connection().get(), 1, 248, 1, &symbol);
    client_.connection().sync();
    settle();
    for (std::size_t press = 1; press <= 3; ++press) {
        pressHotkey();
        ASSERT_TRUE(tap_.awaitKeyDowns(kSpace, press));
    }
    EXPECT_EQ(clientPresses("space"), 0);
}

TEST_F(X11EventTapTest, LeavesTheHotkeyToAProgramThatHoldsTheKeyboard)
{
    ASSERT_TRUE(tap_.start().started);
    auto& holder = client_.connection();
    const auto grab = holder.await(xcb_grab_keyboard_reply,
                                   xcb_grab_keyboard(holder.get(), 0, client_.window(), XCB_CURRENT_TIME,
                                                     XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
    ASSERT_TRUE(grab && grab->status == XCB_GRAB_STATUS_SUCCESS);
    pressHotkey();
    settle();
    EXPECT_TRUE(tap_.keyDowns(kSpace).empty());
    EXPECT_EQ(clientPresses("space"), 1);

    // Where the holder is one of our own windows, the hotkey is still the hotkey.
    tap_.tap().setOwnKeyboardHeld(true);
    pressHotkey();
    EXPECT_TRUE(tap_.awaitKeyDowns(kSpace, 1));
    settle();
    const auto presses = tap_.keyDowns(kSpace);
    ASSERT_EQ(presses.size(), 1U);
    EXPECT_EQ(presses.front().flags, kControlOption);
}

} // namespace
} // namespace velmo::test
