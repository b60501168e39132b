#include "e2e/GestureDesk.h"
#include "support/x11/SecondSeat.h"

#include <QProcess>
#include <xcb/xcb.h>

namespace velmo::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class HotkeyDesk : public GestureDesk {
protected:
    void pressHotkey() { input_.chord({"Control_L", "Alt_L", "space"}); }

    /// Changes the keyboard as users do, and returns when the server has it.
    static void setKeyboard(const QStringList& arguments)
    {
        ASSERT_EQ(QProcess::execute(QStringLiteral("setxkbmap"), arguments), 0);
    }
};

struct Locks {
    const char* name;
    std::vector<const char*> keys;
    friend void PrintTo(const Locks& locks, std::ostream* stream) { *stream << locks.name; }
};

class HotkeyUnderLocks : public HotkeyDesk, public testing::WithParamInterface<Locks> {};

TEST_P(HotkeyUnderLocks, ActivatesOnceAndTheClientSeesOnlyTheReleases)
{
    for (const char* lock : GetParam().keys)
        input_.tap(lock);
    const quint32 locked = input_.modifiers();
    ASSERT_EQ(locked != 0, !GetParam().keys.empty());
    startMonitor();

    pressHotkey();
    ASSERT_TRUE(awaitTold("activate"));
    settle();
    EXPECT_THAT(told_, ElementsAre("activate"));
    EXPECT_EQ(printed("[HotkeyMonitor] hotkey matched — consuming event"), 1);
    EXPECT_EQ(printed("[HotkeyMonitor] keyDown passthrough — keyCode=49"), 0) << "one press is told once";
    EXPECT_EQ(clientKeys("space"), 0);
    EXPECT_EQ(clientKeyReleases("Control_L"), 1);
    EXPECT_EQ(clientKeyReleases("Alt_L"), 1);
    EXPECT_EQ(input_.modifiers(), locked);
    for (const char* lock : GetParam().keys)
        input_.tap(lock);
}

INSTANTIATE_TEST_SUITE_P(Locks, HotkeyUnderLocks,
                         testing::Values(Locks{"None", {}}, Locks{"Caps", {"Caps_Lock"}},
                                         Locks{"Num", {"Num_Lock"}},
                                         Locks{"Both", {"Caps_Lock", "Num_Lock"}}),
                         [](const auto& instance) { return std::string(instance.param.name); });

TEST_F(HotkeyDesk, PassesWithShift)
{
    startMonitor();
    input_.chord({"Control_L", "Alt_L", "Shift_L", "space"});
    settle();
    EXPECT_THAT(told_, IsEmpty());
    EXPECT_EQ(clientKeys("space"), 1);
    EXPECT_EQ(printed("[HotkeyMonitor] keyDown passthrough — keyCode=49"), 1);
}

TEST_F(HotkeyDesk, LetsPlainKeysPassAndSaysSo)
{
    startMonitor();
    for (const char* key : {"a", "Return", "space"})
        input_.tap(key);
    settle();
    EXPECT_EQ(clientKeys("a"), 1);
    EXPECT_EQ(clientKeys("Return"), 1);
    EXPECT_EQ(clientKeys("space"), 1);
    EXPECT_THAT(lines(), ElementsAre("[HotkeyMonitor] keyDown passthrough — keyCode=0",
                                     "[HotkeyMonitor] keyDown passthrough — keyCode=36",
                                     "[HotkeyMonitor] keyDown passthrough — keyCode=49",
                                     "[HotkeyMonitor] keyDown passthrough — keyCode=46"));
    EXPECT_THAT(told_, IsEmpty());
}

TEST_F(HotkeyDesk, StaysThroughALayoutThatMovesLettersAndBack)
{
    startMonitor();
    setKeyboard({QStringLiteral("-layout"), QStringLiteral("de")});
    pressHotkey();
    EXPECT_TRUE(awaitTold("activate", 1));
    setKeyboard({QStringLiteral("-layout"), QStringLiteral("us,de"), QStringLiteral("-option"),
                 QStringLiteral("grp:alt_shift_toggle")});
    input_.chord({"Alt_L", "Shift_L"});
    pressHotkey();
    EXPECT_TRUE(awaitTold("activate", 2)) << "in the second group";
    setKeyboard({QStringLiteral("-layout"), QStringLiteral("us"), QStringLiteral("-option"), QString()});
    pressHotkey();
    EXPECT_TRUE(awaitTold("activate", 3));
    EXPECT_EQ(clientKeys("space"), 0);
}

TEST_F(HotkeyDesk, LosesNoPressToAMapThatChangesNothing)
{
    startMonitor();
    // As sent whenever another keyboard is typed on: a new map that is the old one.
    for (int round = 1; round <= 10; ++round) {
        setKeyboard({QStringLiteral("-layout"), QStringLiteral("us")});
        pressHotkey();
        ASSERT_TRUE(awaitTold("activate", round));
    }
    EXPECT_EQ(clientKeys("space"), 0);
    EXPECT_EQ(reports_.size(), 1U);
}

TEST_F(HotkeyDesk, FindsSuperWhereverTheKeyboardPutsIt)
{
    monitor_->keyModifiers = ModifierFlag::Command;
    startMonitor();
    input_.chord({"Super_L", "space"});
    ASSERT_TRUE(awaitTold("activate", 1));

    // Super leaves its usual modifier for one that is free.
    ASSERT_EQ(QProcess::execute(QStringLiteral("xmodmap"),
                                {QStringLiteral("-e"), QStringLiteral("clear mod4"), QStringLiteral("-e"),
                                 QStringLiteral("clear mod3"), QStringLiteral("-e"),
                                 QStringLiteral("add mod3 = Super_L Super_R")}),
              0);
    ASSERT_TRUE(awaitCondition([&] {
        input_.chord({"Super_L", "space"});
        return std::ranges::count(told_, "activate") > 1;
    }));
    holdChord();
    ASSERT_TRUE(awaitTold("hint")) << "and the chord follows";
    input_.click(kLeft);
    releaseChord();
    ASSERT_TRUE(awaitTold("up"));
    EXPECT_EQ(clientPresses(kLeft), 0);
    setKeyboard({QStringLiteral("-layout"), QStringLiteral("us")});
}

TEST_F(HotkeyDesk, HearsAKeyboardThatIsPluggedIn)
{
    startMonitor();
    // A second pair of keyboard and pointer, as with a second seat; the new one types.
    const SecondSeat seat;
    ASSERT_TRUE(seat.isThere());
    seat.type({input_.keyCode("Control_L"), input_.keyCode("Alt_L"), input_.keyCode("space")});
    EXPECT_TRUE(awaitTold("activate"));
    pressHotkey();
    EXPECT_TRUE(awaitTold("activate", 2));
}

TEST_F(HotkeyDesk, WaitsWhileAnotherProgramHoldsKeyboardAndPointer)
{
    startMonitor();
    auto& holder = client_->connection();
    const auto keyboard = holder.await(xcb_grab_keyboard_reply,
                                       xcb_grab_keyboard(holder.get(), 0, client_->window(), XCB_CURRENT_TIME,
                                                         XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
    const auto pointer = holder.await(
        xcb_grab_pointer_reply,
        xcb_grab_pointer(holder.get(), 0, client_->window(),
                         XCB_EVENT_MASK_BUTTON_PRESS | XCB_EVENT_MASK_BUTTON_RELEASE, XCB_GRAB_MODE_ASYNC,
                         XCB_GRAB_MODE_ASYNC, XCB_NONE, XCB_NONE, XCB_CURRENT_TIME));
    ASSERT_TRUE(keyboard && keyboard->status == XCB_GRAB_STATUS_SUCCESS);
    ASSERT_TRUE(pointer && pointer->status == XCB_GRAB_STATUS_SUCCESS);
    pressHotkey();
    holdChord();
    input_.click(kLeft);
    releaseChord();
    input_.click(kMiddle);
    settle();
    EXPECT_EQ(clientKeys("space"), 1) << "it is the holder's";
    EXPECT_EQ(clientPresses(kLeft), 1);
    EXPECT_EQ(clientPresses(kMiddle), 1);
    EXPECT_THAT(told_, ElementsAre("hint", "no hint")) << "modifiers are seen all the same";
    told_.clear();

    xcb_ungrab_keyboard(holder.get(), XCB_CURRENT_TIME);
    xcb_ungrab_pointer(holder.get(), XCB_CURRENT_TIME);
    holder.sync();
    pressHotkey();
    EXPECT_TRUE(awaitTold("activate"));
}

TEST_F(HotkeyDesk, LeavesEverythingAloneOnceStopped)
{
    startMonitor();
    pressHotkey();
    ASSERT_TRUE(awaitTold("activate"));
    const auto begin = std::chrono::steady_clock::now();
    monitor_->stop();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(1));
    EXPECT_TRUE(awaitCondition([this] {
        pressHotkey();
        return clientKeys("space") > 0;
    }));
    holdChord();
    input_.click(kLeft);
    releaseChord();
    input_.click(kMiddle);
    EXPECT_TRUE(
        awaitCondition([this] { return clientReleases(kLeft) == 1 && clientReleases(kMiddle) == 1; }));

    startMonitor();
    told_.clear();
    pressHotkey();
    EXPECT_TRUE(awaitTold("activate")) << "and a start takes it up again";
    EXPECT_TRUE(reports_.back().problems.isEmpty());
}

} // namespace
} // namespace velmo::test
