#include "TapPointerFixture.h"
#include "platform/x11/X11InputExtensions.h"
#include "platform/x11/X11PassiveGrab.h"

#include <chrono>

namespace velmo::test {
namespace {

using std::chrono::milliseconds;

/// What happens to the mouse when the tap ends, and when other programs want the same of it.
class X11EventTapSharingTest : public X11EventTapPointerTest {};

TEST_F(X11EventTapSharingTest, AChordPressThatComesWithTheStopIsTheClients)
{
    start();
    {
        const auto blocked = tap_.block();
        holdChord();
        input_.pressButton(kLeft);
        tap_.tap().stop();
    }
    input_.releaseButton(kLeft);
    releaseChord();
    EXPECT_TRUE(awaitCondition([this] { return presses(kLeft) == 1 && releases(kLeft) == 1; }));
}

TEST_F(X11EventTapSharingTest, NamesAHolderOfTheButtonsThatUsesTheCoreProtocol)
{
    auto& holder = client_.connection();
    const auto hold = [&](uint8_t button, uint16_t modifiers) {
        const XcbPointer<xcb_generic_error_t> error(xcb_request_check(
            holder.get(), xcb_grab_button_checked(holder.get(), 0, holder.root(), XCB_EVENT_MASK_BUTTON_PRESS,
                                                  XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC, XCB_NONE,
                                                  XCB_NONE, button, modifiers)));
        return !error;
    };
    ASSERT_TRUE(hold(kLeft, XCB_MOD_MASK_1 | XCB_MOD_MASK_4));
    ASSERT_TRUE(hold(kMiddle, XCB_MOD_MASK_CONTROL));
    const auto report = tap_.start(interest_);
    EXPECT_EQ(
        report.problems,
        (QStringList{QStringLiteral("Alt+Super+left button without any lock is held by another program."),
                     QStringLiteral("Ctrl+middle button without any lock is held by another program.")}));
    holdChord();
    input_.click(kLeft);
    releaseChord();
    EXPECT_TRUE(awaitCondition([this] { return presses(kLeft) == 1; })) << "it stays the holder's";
    EXPECT_FALSE(hold(kLeft, XCB_MOD_MASK_1 | XCB_MOD_MASK_4 | XCB_MOD_MASK_SHIFT))
        << "and nobody gets later what is ours";

    tap_.replaysClicks = true;
    for (int round = 1; round <= 3; ++round) {
        // A click in the moment of the replay of the one before reaches the client without us.
        input_.click(kMiddle);
        EXPECT_TRUE(awaitCondition([&] { return presses(kMiddle) == round && releases(kMiddle) == round; }));
    }
    EXPECT_FALSE(tap_.eventsOf(TapEventType::OtherMouseDown).empty());
}

TEST_F(X11EventTapSharingTest, WantsNothingOfTheMouseWithoutGestures)
{
    interest_.quickDrawModifiers = 0;
    interest_.middleButton = false;
    start();
    holdChord();
    input_.click(kLeft);
    releaseChord();
    input_.click(kMiddle);
    EXPECT_TRUE(awaitCondition([this] { return releases(kMiddle) == 1; }));
    EXPECT_EQ(presses(kLeft), 1);
    settle();
    EXPECT_TRUE(tap_.eventsOf(TapEventType::LeftMouseDown).empty());
    EXPECT_TRUE(tap_.eventsOf(TapEventType::OtherMouseDown).empty());
}

TEST_F(X11EventTapSharingTest, LeavesTheClicksToAProgramThatHoldsThePointer)
{
    start();
    auto& holder = client_.connection();
    const auto grab = holder.await(
        xcb_grab_pointer_reply,
        xcb_grab_pointer(holder.get(), 0, client_.window(),
                         XCB_EVENT_MASK_BUTTON_PRESS | XCB_EVENT_MASK_BUTTON_RELEASE, XCB_GRAB_MODE_ASYNC,
                         XCB_GRAB_MODE_ASYNC, XCB_NONE, XCB_NONE, XCB_CURRENT_TIME));
    ASSERT_TRUE(grab && grab->status == XCB_GRAB_STATUS_SUCCESS);
    holdChord();
    input_.click(kLeft);
    releaseChord();
    input_.click(kMiddle);
    EXPECT_TRUE(awaitCondition([this] { return releases(kLeft) == 1 && releases(kMiddle) == 1; }));
    settle();
    EXPECT_TRUE(tap_.eventsOf(TapEventType::LeftMouseDown).empty());
    EXPECT_TRUE(tap_.eventsOf(TapEventType::OtherMouseDown).empty());

    xcb_ungrab_pointer(holder.get(), XCB_CURRENT_TIME);
    holder.sync();
    holdChord();
    input_.click(kLeft);
    releaseChord();
    EXPECT_TRUE(tap_.await(TapEventType::LeftMouseUp, 1)) << "and they are back afterwards";
}

TEST_F(X11EventTapSharingTest, GivesLocationsInPoints)
{
    Screen left;
    left.frame = {0, 0, 960, 540};
    left.nativeFrame = {0, 0, 1920, 1080};
    left.scale = 2;
    Screen right;
    right.frame = {1920, 40, 500, 500};
    right.nativeFrame = {1920, 0, 500, 500};
    tap_.tap().setScreens({left, right});
    start();
    input_.click(kMiddle);
    ASSERT_TRUE(tap_.await(TapEventType::OtherMouseUp, 1));
    EXPECT_EQ(tap_.eventsOf(TapEventType::OtherMouseDown)[0].location, (TopDownPoint{150, 100}));
}

TEST_F(X11EventTapSharingTest, StopInTheMiddleOfAStrokeReturnsAtOnceAndFreesThePointer)
{
    start();
    holdChord();
    input_.pressButton(kLeft);
    ASSERT_TRUE(tap_.await(TapEventType::LeftMouseDown, 1));
    const auto begin = std::chrono::steady_clock::now();
    tap_.tap().stop();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(1));
    input_.releaseButton(kLeft);
    releaseChord();
    EXPECT_TRUE(awaitCondition([this] {
        input_.click(kLeft);
        return presses(kLeft) > 0;
    }));

    start();
    holdChord();
    input_.click(kLeft);
    releaseChord();
    EXPECT_TRUE(tap_.await(TapEventType::LeftMouseUp, 1));
}

TEST_F(X11EventTapSharingTest, StopWhileAPressIsHeldBackFreesTheButton)
{
    start();
    input_.pressButton(kMiddle);
    ASSERT_TRUE(tap_.await(TapEventType::OtherMouseDown, 1));
    tap_.tap().stop();
    input_.releaseButton(kMiddle);
    EXPECT_TRUE(awaitCondition([this] {
        input_.click(kMiddle);
        return presses(kMiddle) > 0;
    }));
}

TEST_F(X11EventTapSharingTest, ASecondTapIsRefusedEachCombination)
{
    start();
    TapRecorder second;
    const auto report = second.start(interest_);
    EXPECT_TRUE(report.started);
    const QStringList expected{
        QStringLiteral("Ctrl+Alt+Space is held by another program."),
        QStringLiteral("Alt+Super+left button is held by another program."),
        QStringLiteral("Alt+Shift+Super+left button is held by another program."),
        QStringLiteral("Middle button is held by another program."),
    };
    EXPECT_EQ(report.problems, expected);
    EXPECT_EQ(second.tap().report(), report) << "for whoever asks later";

    holdChord();
    input_.click(kLeft);
    releaseChord();
    EXPECT_TRUE(tap_.await(TapEventType::LeftMouseUp, 1)) << "the first one's stay its own";
    EXPECT_TRUE(second.eventsOf(TapEventType::LeftMouseDown).empty());
    second.tap().stop();
    EXPECT_EQ(second.tap().report(), EventTap::StartReport{});
}

TEST_F(X11EventTapSharingTest, AHotkeyOfSomebodyElseLeavesTheButtons)
{
    auto& holder = client_.connection();
    xcb_grab_key(holder.get(), 0, holder.root(), XCB_MOD_MASK_ANY, input_.keyCode("space"),
                 XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC);
    holder.sync();
    const auto report = tap_.start(interest_);
    EXPECT_EQ(report.problems, QStringList{QStringLiteral("Ctrl+Alt+Space is held by another program.")});
    holdChord();
    input_.click(kLeft);
    releaseChord();
    EXPECT_TRUE(tap_.await(TapEventType::LeftMouseUp, 1));
    input_.click(kMiddle);
    EXPECT_TRUE(tap_.await(TapEventType::OtherMouseUp, 1));
}

TEST_F(X11EventTapSharingTest, AMiddleButtonThatIsPartlyTakenIsOursOtherwise)
{
    ASSERT_TRUE(X11InputExtensions::probe(client_.connection()).missing.isEmpty());
    X11PassiveGrab theirs(client_.connection(), X11PassiveGrab::Kind::Button);
    ASSERT_TRUE(theirs.take(kMiddle, {XCB_MOD_MASK_CONTROL}).empty());
    const auto report = tap_.start(interest_);
    EXPECT_EQ(report.problems,
              QStringList{QStringLiteral("Ctrl+middle button without any lock is held by another program.")});

    tap_.replaysClicks = true;
    input_.press("Control_L");
    input_.click(kMiddle);
    input_.release("Control_L");
    settle();
    EXPECT_TRUE(tap_.eventsOf(TapEventType::OtherMouseDown).empty());
    for (int round = 1; round <= 3; ++round) {
        input_.click(kMiddle);
        EXPECT_TRUE(awaitCondition([&] { return presses(kMiddle) == round && releases(kMiddle) == round; }));
    }
    EXPECT_EQ(tap_.eventsOf(TapEventType::OtherMouseDown).size(), 3U);
}

TEST_F(X11EventTapSharingTest, SaysThatAChordCannotBeHadWithFn)
{
    interest_.quickDrawModifiers = ModifierFlag::Function | ModifierFlag::Command;
    const auto report = tap_.start(interest_);
    EXPECT_TRUE(report.started);
    EXPECT_EQ(report.problems, QStringList{QStringLiteral(
                                   "The quick-draw modifiers contain Fn, which X keyboards do not report.")});
    input_.press("Super_L");
    input_.click(kLeft);
    input_.release("Super_L");
    EXPECT_TRUE(awaitCondition([this] { return presses(kLeft) == 1; }));
}

} // namespace
} // namespace velmo::test
