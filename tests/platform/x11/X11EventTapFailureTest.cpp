#include "TapRecorder.h"
#include "platform/x11/X11InputExtensions.h"
#include "platform/x11/X11PassiveGrab.h"
#include "support/x11/InputDriver.h"
#include "support/x11/PlainClient.h"
#include "support/x11/VirtualDisplay.h"

#include <array>
#include <gtest/gtest.h>
#include <xcb/xinput.h>

namespace velmo::test {
namespace {

constexpr int kSpace = 49;
constexpr uint16_t kControlAlt = XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_1;

class X11EventTapFailureTest : public testing::Test {
protected:
    void holdForCoreClients(uint16_t modifiers)
    {
        auto& connection = holder_.connection();
        const XcbPointer<xcb_generic_error_t> error(xcb_request_check(
            connection.get(),
            xcb_grab_key_checked(connection.get(), 0, connection.root(), modifiers, input_.keyCode("space"),
                                 XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC)));
        ASSERT_FALSE(error);
    }

    void holdUnderAllLocks()
    {
        for (const int locks : {0, 2, 16, 18})
            holdForCoreClients(static_cast<uint16_t>(kControlAlt | locks));
    }

    /// Whether the tap reports once more, and that nothing is refused.
    [[nodiscard]] bool awaitFreedom()
    {
        return awaitCondition([this] { return tap_.reports().size() == 2; }) &&
               tap_.reports().back() == EventTap::StartReport{true, {}, {}} &&
               tap_.tap().report() == EventTap::StartReport{true, {}, {}};
    }

    int holderPresses() { return holder_.count(PlainClient::Event::Type::KeyPress, input_.keyCode("space")); }

    InputDriver input_;
    PlainClient holder_{{}};
    TapRecorder tap_;
};

TEST_F(X11EventTapFailureTest, NamesACombinationThatAnotherProgramHolds)
{
    holdUnderAllLocks();
    const auto report = tap_.start();
    EXPECT_TRUE(report.started);
    ASSERT_EQ(report.problems.size(), 1);
    EXPECT_EQ(report.problems.front(), QStringLiteral("Ctrl+Alt+Space is held by another program."));

    input_.chord({"Control_L", "Alt_L", "space"});
    EXPECT_TRUE(awaitCondition([this] { return holderPresses() == 1; }))
        << "it must stay the other program's";
    input_.tap("a");
    EXPECT_TRUE(tap_.awaitKeyDowns(0, 1));
    EXPECT_TRUE(tap_.keyDowns(kSpace).empty());
}

TEST_F(X11EventTapFailureTest, ARefusedSelectionIsNoticed)
{
    constexpr quint16 kNoSuchDevice = 4711;
    EXPECT_FALSE(selectInput(holder_.connection(), kNoSuchDevice, XCB_INPUT_XI_EVENT_MASK_RAW_KEY_PRESS));
    EXPECT_TRUE(
        selectInput(holder_.connection(), XCB_INPUT_DEVICE_ALL, XCB_INPUT_XI_EVENT_MASK_RAW_KEY_PRESS));
}

TEST_F(X11EventTapFailureTest, ProbingLeavesNothingSelected)
{
    const auto connection = X11Connection::open();
    ASSERT_TRUE(connection);
    ASSERT_EQ(X11InputExtensions::probe(*connection).missing, QString());
    input_.tap("a");
    connection->sync();
    EXPECT_EQ(connection->nextEvent(), nullptr);
}

TEST_F(X11EventTapFailureTest, NamesTheLockUnderWhichAnotherProgramHoldsTheCombination)
{
    holdForCoreClients(kControlAlt | XCB_MOD_MASK_LOCK);
    const auto report = tap_.start();
    EXPECT_TRUE(report.started);
    ASSERT_EQ(report.problems.size(), 1);
    EXPECT_EQ(report.problems.front(),
              QStringLiteral("Ctrl+Alt+Space with Caps Lock is held by another program."));
    input_.chord({"Control_L", "Alt_L", "space"});
    EXPECT_TRUE(tap_.awaitKeyDowns(kSpace, 1));
}

TEST_F(X11EventTapFailureTest, FindsAHolderThatUsesTheInputExtension)
{
    ASSERT_TRUE(X11InputExtensions::probe(holder_.connection()).missing.isEmpty());
    X11PassiveGrab theirs(holder_.connection(), X11PassiveGrab::Kind::Key);
    ASSERT_TRUE(theirs.take(input_.keyCode("space"), {X11PassiveGrab::kAnyModifiers}).empty());
    const auto report = tap_.start();
    EXPECT_TRUE(report.started);
    EXPECT_EQ(report.problems, QStringList{QStringLiteral("Ctrl+Alt+Space is held by another program.")});
}

TEST_F(X11EventTapFailureTest, TakesTheHotkeyWhenItsHolderLetsGo)
{
    holdUnderAllLocks();
    ASSERT_EQ(tap_.start().hotkeyProblems.size(), 1);
    auto& connection = holder_.connection();
    xcb_ungrab_key(connection.get(), input_.keyCode("space"), connection.root(), XCB_MOD_MASK_ANY);
    connection.sync();
    ASSERT_TRUE(awaitFreedom());
    input_.chord({"Control_L", "Alt_L", "space"});
    EXPECT_TRUE(tap_.awaitKeyDowns(kSpace, 1));
    EXPECT_EQ(holderPresses(), 0);

    const XcbPointer<xcb_generic_error_t> error(
        xcb_request_check(connection.get(), xcb_grab_key_checked(connection.get(), 0, connection.root(),
                                                                 kControlAlt, input_.keyCode("space"),
                                                                 XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC)));
    EXPECT_TRUE(error) << "it is ours now";
}

TEST_F(X11EventTapFailureTest, TakesTheHotkeyWhenAHolderThatUsesTheInputExtensionEnds)
{
    auto theirs = X11Connection::open();
    ASSERT_TRUE(X11InputExtensions::probe(*theirs).missing.isEmpty());
    X11PassiveGrab grab(*theirs, X11PassiveGrab::Kind::Key);
    ASSERT_TRUE(grab.take(input_.keyCode("space"), {X11PassiveGrab::kAnyModifiers}).empty());
    ASSERT_EQ(tap_.start().hotkeyProblems.size(), 1);
    theirs.reset();
    ASSERT_TRUE(awaitFreedom());
    input_.chord({"Control_L", "Alt_L", "space"});
    EXPECT_TRUE(tap_.awaitKeyDowns(kSpace, 1));
}

TEST_F(X11EventTapFailureTest, TakesTheChordAndTheMiddleButtonWhenTheirHoldersLetGo)
{
    auto& connection = holder_.connection();
    const auto hold = [&](uint8_t button, uint16_t modifiers) {
        const XcbPointer<xcb_generic_error_t> error(xcb_request_check(
            connection.get(),
            xcb_grab_button_checked(connection.get(), 0, connection.root(), XCB_EVENT_MASK_BUTTON_PRESS,
                                    XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC, XCB_NONE, XCB_NONE, button,
                                    modifiers)));
        return error == nullptr;
    };
    ASSERT_TRUE(hold(1, XCB_MOD_MASK_ANY));
    ASSERT_TRUE(hold(2, XCB_MOD_MASK_CONTROL));
    TapInterest interest;
    interest.quickDrawModifiers = ModifierFlag::Control | ModifierFlag::Option;
    interest.middleButton = true;
    const auto report = tap_.start(interest);
    ASSERT_GE(report.problems.size(), 2);
    ASSERT_TRUE(report.hotkeyProblems.isEmpty());
    EXPECT_EQ(report.chordProblems,
              (QStringList{QStringLiteral("Ctrl+Alt+left button is held by another program."),
                           QStringLiteral("Ctrl+Alt+Shift+left button is held by another program.")}));
    EXPECT_EQ(report.chordProblems + report.middleButtonProblems, report.problems);

    xcb_ungrab_button(connection.get(), 1, connection.root(), XCB_MOD_MASK_ANY);
    connection.sync();
    ASSERT_TRUE(awaitCondition([this] { return tap_.reports().size() == 2; }));
    const auto remaining = tap_.reports().back();
    EXPECT_FALSE(remaining.problems.isEmpty());
    EXPECT_EQ(remaining.middleButtonProblems, remaining.problems);
    for (const QString& problem : remaining.problems)
        EXPECT_TRUE(problem.contains(QStringLiteral("middle button"))) << problem.toStdString();
    xcb_ungrab_button(connection.get(), 2, connection.root(), XCB_MOD_MASK_ANY);
    connection.sync();
    ASSERT_TRUE(awaitCondition([this] { return tap_.reports().size() == 3; }));
    EXPECT_EQ(tap_.reports().back(), (EventTap::StartReport{true, {}, {}}));

    input_.press("Control_L");
    input_.pressButton(2);
    input_.releaseButton(2);
    EXPECT_TRUE(tap_.await(TapEventType::OtherMouseUp, 1));
    input_.press("Alt_L");
    input_.pressButton(1);
    input_.releaseButton(1);
    input_.release("Alt_L");
    input_.release("Control_L");
    EXPECT_TRUE(tap_.await(TapEventType::LeftMouseUp, 1));
}

TEST_F(X11EventTapFailureTest, IsQuietAboutAHolderThatKeepsTheHotkey)
{
    constexpr std::chrono::milliseconds kSeveralAttempts{5000};
    holdUnderAllLocks();
    ASSERT_EQ(tap_.start().hotkeyProblems.size(), 1);
    EXPECT_FALSE(awaitCondition([this] { return tap_.reports().size() > 1; }, kSeveralAttempts));
    input_.chord({"Control_L", "Alt_L", "space"});
    EXPECT_TRUE(awaitCondition([this] { return holderPresses() == 1; }));
}

TEST_F(X11EventTapFailureTest, SaysWhenTheKeyboardHasNoSuchKey)
{
    TapInterest interest;
    interest.hotkeyKeyCode = 127;
    const auto report = tap_.start(interest);
    EXPECT_TRUE(report.started);
    EXPECT_EQ(report.problems,
              QStringList{QStringLiteral("This keyboard has no key for the hotkey (key code 127).")});
}

TEST_F(X11EventTapFailureTest, DoesNotStartWithoutXtest)
{
    VirtualDisplay::Options options;
    options.arguments = {"-extension", "XTEST"};
    const VirtualDisplay poor(options);
    ASSERT_FALSE(poor.name().isEmpty());
    const auto report = tap_.start();
    EXPECT_FALSE(report.started);
    EXPECT_EQ(report.problems, QStringList{QStringLiteral("The X server lacks the test extension (XTEST).")});
}

TEST_F(X11EventTapFailureTest, DoesNotStartWithoutADisplay)
{
    const QByteArray before = qgetenv("DISPLAY");
    qputenv("DISPLAY", ":65000");
    const auto report = tap_.start();
    qputenv("DISPLAY", before);
    EXPECT_FALSE(report.started);
    EXPECT_EQ(report.problems, QStringList{QStringLiteral("No X display can be reached.")});
}

TEST_F(X11EventTapFailureTest, TellsWhenTheDisplayGoesAway)
{
    {
        const VirtualDisplay shortLived;
        ASSERT_TRUE(tap_.start().started);
    }
    ASSERT_TRUE(awaitCondition([this] { return tap_.reports().size() == 2; }));
    EXPECT_FALSE(tap_.reports().back().started);
    EXPECT_EQ(tap_.reports().back().problems,
              QStringList{QStringLiteral("The connection to the X display was lost.")});
}

} // namespace
} // namespace velmo::test
