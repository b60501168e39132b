#include "TapRecorder.h"
#include "platform/x11/X11InputExtensions.h"
#include "platform/x11/X11PassiveGrab.h"
#include "support/x11/InputDriver.h"
#include "support/x11/PlainClient.h"

#include <chrono>
#include <gtest/gtest.h>

namespace velmo::test {
namespace {

using Type = PlainClient::Event::Type;
using std::chrono::milliseconds;

constexpr int kLeft = 1;
constexpr int kMiddle = 2;

/// A tap that wants every gesture, and a client's window under the pointer.
class X11EventTapPointerTest : public testing::Test {
protected:
    X11EventTapPointerTest()
    {
        interest_.quickDrawModifiers = ModifierFlag::Option | ModifierFlag::Command;
        interest_.middleButton = true;
        input_.moveTo(300, 200);
        client_.takeFocus();
        awaitCondition([this] { return client_.hasFocus(); });
        client_.forgetEvents();
    }

    void start()
    {
        const auto report = tap_.start(interest_);
        ASSERT_TRUE(report.started);
        ASSERT_TRUE(report.problems.isEmpty()) << report.problems.join(u'\n').toStdString();
    }

    void holdChord() { input_.hold({"Alt_L", "Super_L"}); }
    void releaseChord() { input_.letGo({"Alt_L", "Super_L"}); }

    /// A stroke of the left button that has been claimed. Until then the server holds the pointer still,
    /// keeps the last of several motions, and gives what else happens the places of later.
    void beginStroke()
    {
        holdChord();
        input_.pressButton(kLeft);
        input_.moveTo(301, 201);
        ASSERT_TRUE(tap_.await(TapEventType::LeftMouseDragged, 1));
        releaseChord();
    }

    [[nodiscard]] int presses(int button) { return client_.count(Type::ButtonPress, button); }
    [[nodiscard]] int releases(int button) { return client_.count(Type::ButtonRelease, button); }

    /// One key after another way round: what came before it has arrived at the tap and at the client.
    void settle()
    {
        const auto seen = tap_.keyDowns(0).size();
        input_.tap("a");
        ASSERT_TRUE(tap_.awaitKeyDowns(0, seen + 1));
        ASSERT_TRUE(
            awaitCondition([this] { return client_.count(Type::KeyPress, input_.keyCode("a")) > 0; }));
    }

    TapInterest interest_;
    InputDriver input_;
    PlainClient client_{{}};
    TapRecorder tap_;
};

TEST_F(X11EventTapPointerTest, AClaimedChordPressAndAllUntilItsReleaseStayHere)
{
    start();
    holdChord();
    input_.pressButton(kLeft);
    ASSERT_TRUE(tap_.await(TapEventType::LeftMouseDown, 1));
    // Until the press is claimed the server holds the pointer still, and of several motions it keeps the
    // last.
    input_.moveTo(320, 230);
    ASSERT_TRUE(tap_.await(TapEventType::LeftMouseDragged, 1));
    releaseChord();
    input_.moveTo(340, 260);
    input_.releaseButton(kLeft);
    ASSERT_TRUE(tap_.await(TapEventType::LeftMouseUp, 1));
    settle();
    EXPECT_EQ(presses(kLeft) + releases(kLeft), 0);

    const auto down = tap_.eventsOf(TapEventType::LeftMouseDown);
    ASSERT_EQ(down.size(), 1U);
    EXPECT_EQ(down[0].location, (TopDownPoint{300, 200}));
    EXPECT_EQ(down[0].flags, interest_.quickDrawModifiers);
    EXPECT_EQ(down[0].buttonNumber, 0);
    const auto drags = tap_.eventsOf(TapEventType::LeftMouseDragged);
    ASSERT_EQ(drags.size(), 2U);
    EXPECT_EQ(drags[1].location, (TopDownPoint{340, 260}));
    EXPECT_EQ(drags[1].flags, 0U);
    EXPECT_EQ(tap_.eventsOf(TapEventType::LeftMouseUp)[0].location, (TopDownPoint{340, 260}));

    input_.click(kLeft);
    EXPECT_TRUE(awaitCondition([this] { return presses(kLeft) == 1 && releases(kLeft) == 1; }))
        << "the next click is the client's again";
}

TEST_F(X11EventTapPointerTest, APassedChordPressIsTheClientsWithItsRelease)
{
    tap_.verdict = TapVerdict::Pass;
    start();
    holdChord();
    input_.click(kLeft);
    releaseChord();
    EXPECT_TRUE(awaitCondition([this] { return presses(kLeft) == 1 && releases(kLeft) == 1; }));
    settle();
    EXPECT_EQ(presses(kLeft), 1);
    EXPECT_EQ(releases(kLeft), 1);
    EXPECT_TRUE(tap_.eventsOf(TapEventType::LeftMouseUp).empty());
}

struct Held {
    const char* name;
    std::vector<const char*> keys;
    bool isSeen;
    friend void PrintTo(const Held& held, std::ostream* stream) { *stream << held.name; }
};

class X11ChordStateTest : public X11EventTapPointerTest, public testing::WithParamInterface<Held> {};

TEST_P(X11ChordStateTest, ReservesTheLeftButtonUnderTheChordOnly)
{
    start();
    for (const char* key : GetParam().keys)
        input_.press(key);
    input_.click(kLeft);
    for (const char* key : GetParam().keys)
        input_.release(key);
    if (GetParam().isSeen) {
        EXPECT_TRUE(tap_.await(TapEventType::LeftMouseUp, 1));
        settle();
        EXPECT_EQ(presses(kLeft), 0);
    } else {
        EXPECT_TRUE(awaitCondition([this] { return releases(kLeft) == 1; }));
        settle();
        EXPECT_TRUE(tap_.eventsOf(TapEventType::LeftMouseDown).empty());
    }
    if (input_.modifiers() != 0) {
        for (const char* lock : {"Caps_Lock", "Num_Lock"}) {
            if (std::ranges::find(GetParam().keys, std::string_view(lock)) != GetParam().keys.end())
                input_.tap(lock);
        }
    }
    EXPECT_EQ(input_.modifiers(), 0U);
}

INSTANTIATE_TEST_SUITE_P(
    States, X11ChordStateTest,
    testing::Values(Held{"Chord", {"Alt_L", "Super_L"}, true},
                    Held{"WithShift", {"Shift_L", "Alt_L", "Super_L"}, true},
                    Held{"WithCaps", {"Caps_Lock", "Alt_L", "Super_L"}, true},
                    Held{"WithNumAndShift", {"Num_Lock", "Shift_L", "Alt_L", "Super_L"}, true},
                    Held{"WithControl", {"Control_L", "Alt_L", "Super_L"}, false},
                    Held{"AltOnly", {"Alt_L"}, false}, Held{"Nothing", {}, false}),
    [](const auto& instance) { return std::string(instance.param.name); });

TEST_F(X11EventTapPointerTest, HoldsNothingThatItHasNotReserved)
{
    start();
    {
        const auto blocked = tap_.block();
        input_.chord({"Shift_L", "a"});
        input_.tap("b");
        input_.click(kLeft);
        input_.click(3);
        input_.chord({"Control_L", "c"});
        EXPECT_TRUE(awaitCondition([this] {
            return client_.count(Type::KeyPress, input_.keyCode("c")) == 1;
        })) << "it reaches the client although the tap does not move";
        EXPECT_EQ(client_.count(Type::KeyPress, input_.keyCode("a")), 1);
        EXPECT_EQ(client_.count(Type::KeyPress, input_.keyCode("b")), 1);
        EXPECT_EQ(releases(kLeft), 1);
        EXPECT_EQ(releases(3), 1);
    }
    EXPECT_TRUE(tap_.awaitKeyDowns(8, 1));
}

TEST_F(X11EventTapPointerTest, AMiddlePressIsHeldBackUntilItIsGivenBack)
{
    tap_.replaysClicks = true;
    start();
    input_.pressButton(kMiddle);
    ASSERT_TRUE(tap_.await(TapEventType::OtherMouseDown, 1));
    input_.moveTo(303, 204);
    ASSERT_TRUE(tap_.await(TapEventType::OtherMouseDragged, 1));
    EXPECT_EQ(presses(kMiddle), 0);
    input_.releaseButton(kMiddle);
    ASSERT_TRUE(awaitCondition([this] { return presses(kMiddle) == 1 && releases(kMiddle) == 1; }));
    settle();
    EXPECT_EQ(presses(kMiddle), 1);
    EXPECT_EQ(releases(kMiddle), 1);
    ASSERT_EQ(tap_.eventsOf(TapEventType::OtherMouseDown).size(), 1U) << "the replay is not seen";
    const auto down = tap_.eventsOf(TapEventType::OtherMouseDown)[0];
    EXPECT_EQ(down.buttonNumber, kMiddleButton);
    EXPECT_EQ(down.location, (TopDownPoint{300, 200}));
    EXPECT_EQ(tap_.eventsOf(TapEventType::OtherMouseDragged)[0].location, (TopDownPoint{303, 204}));
}

TEST_F(X11EventTapPointerTest, AMiddlePressThatIsNotGivenBackIsNeverSeenByTheClient)
{
    start();
    input_.click(kMiddle);
    ASSERT_TRUE(tap_.await(TapEventType::OtherMouseUp, 1));
    settle();
    EXPECT_EQ(presses(kMiddle) + releases(kMiddle), 0);
}

TEST_F(X11EventTapPointerTest, TimesThePressByTheServersClock)
{
    start();
    input_.pressButton(kMiddle);
    const auto pressed = std::chrono::steady_clock::now();
    awaitCondition([] { return false; }, milliseconds(50));
    input_.releaseButton(kMiddle);
    const auto released = std::chrono::steady_clock::now();
    ASSERT_TRUE(tap_.await(TapEventType::OtherMouseUp, 1));
    const auto held = tap_.eventsOf(TapEventType::OtherMouseUp)[0].time -
                      tap_.eventsOf(TapEventType::OtherMouseDown)[0].time;
    EXPECT_GE(held, milliseconds(49));
    EXPECT_LE(held, std::chrono::duration_cast<milliseconds>(released - pressed) + milliseconds(25));
}

TEST_F(X11EventTapPointerTest, AMiddleClickKeepsItsModifiers)
{
    tap_.replaysClicks = true;
    start();
    input_.press("Control_L");
    input_.click(kMiddle);
    ASSERT_TRUE(awaitCondition([this] { return presses(kMiddle) == 1 && releases(kMiddle) == 1; }));
    EXPECT_EQ(client_.lastState() & 0xff, XCB_MOD_MASK_CONTROL);
    input_.release("Control_L");
}

TEST_F(X11EventTapPointerTest, AMiddleClickOfAMouseWithExchangedButtonsComesBackAsOne)
{
    auto& server = client_.connection();
    const auto before = server.await(xcb_get_pointer_mapping_reply, xcb_get_pointer_mapping(server.get()));
    ASSERT_TRUE(before);
    std::vector<uint8_t> exchanged(xcb_get_pointer_mapping_map(before.get()),
                                   xcb_get_pointer_mapping_map(before.get()) + before->map_len);
    const auto restored = exchanged;
    std::swap(exchanged[1], exchanged[2]);
    const auto set = [&](const std::vector<uint8_t>& map) {
        const auto reply =
            server.await(xcb_set_pointer_mapping_reply,
                         xcb_set_pointer_mapping(server.get(), static_cast<uint8_t>(map.size()), map.data()));
        return reply && reply->status == XCB_MAPPING_STATUS_SUCCESS;
    };
    ASSERT_TRUE(set(exchanged));
    tap_.replaysClicks = true;
    start();
    input_.click(3);
    EXPECT_TRUE(awaitCondition([this] { return presses(kMiddle) == 1 && releases(kMiddle) == 1; }));
    settle();
    EXPECT_EQ(presses(kMiddle), 1);
    EXPECT_EQ(presses(3), 0);
    EXPECT_EQ(tap_.eventsOf(TapEventType::OtherMouseDown).size(), 1U);
    EXPECT_TRUE(set(restored));
}

TEST_F(X11EventTapPointerTest, AClickDuringAClaimedStrokeComesAfterIt)
{
    tap_.replaysClicks = true;
    start();
    beginStroke();
    input_.click(kMiddle);
    ASSERT_TRUE(tap_.await(TapEventType::OtherMouseUp, 1));
    input_.moveTo(310, 210);
    ASSERT_TRUE(tap_.await(TapEventType::LeftMouseDragged, 2)) << "the stroke goes on";
    EXPECT_EQ(presses(kMiddle), 0);
    input_.releaseButton(kLeft);
    EXPECT_TRUE(awaitCondition([this] { return presses(kMiddle) == 1 && releases(kMiddle) == 1; }));
    settle();
    EXPECT_EQ(presses(kLeft) + releases(kLeft), 0);
    EXPECT_EQ(presses(kMiddle), 1);
    EXPECT_EQ(tap_.eventsOf(TapEventType::OtherMouseDown).size(), 1U);
}

TEST_F(X11EventTapPointerTest, AClickThatHadToWaitComesToWhereItWasMade)
{
    PlainClient::Options elsewhere;
    elsewhere.area = QRect(800, 500, 300, 300);
    PlainClient other(elsewhere);
    tap_.replaysClicks = true;
    start();
    beginStroke();
    input_.click(kMiddle);
    input_.moveTo(900, 600);
    input_.releaseButton(kLeft);
    EXPECT_TRUE(awaitCondition([this] { return presses(kMiddle) == 1 && releases(kMiddle) == 1; }));
    settle();
    EXPECT_EQ(other.count(Type::ButtonPress, kMiddle), 0);
    input_.click(kLeft);
    EXPECT_TRUE(awaitCondition([&] { return other.count(Type::ButtonRelease, kLeft) == 1; }))
        << "the pointer is where it was";
}

TEST_F(X11EventTapPointerTest, ALateTapLosesNoClick)
{
    tap_.replaysClicks = true;
    start();
    {
        const auto blocked = tap_.block();
        input_.click(kMiddle);
        input_.pressButton(kMiddle);
    }
    ASSERT_TRUE(tap_.await(TapEventType::OtherMouseDown, 2));
    input_.releaseButton(kMiddle);
    EXPECT_TRUE(awaitCondition([this] { return presses(kMiddle) == 2 && releases(kMiddle) == 2; }));
    settle();
    EXPECT_EQ(presses(kMiddle), 2);
}

TEST_F(X11EventTapPointerTest, AChordPressThatComesWithTheStopIsTheClients)
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

TEST_F(X11EventTapPointerTest, NamesAHolderOfTheButtonsThatUsesTheCoreProtocol)
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

TEST_F(X11EventTapPointerTest, WantsNothingOfTheMouseWithoutGestures)
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

TEST_F(X11EventTapPointerTest, LeavesTheClicksToAProgramThatHoldsThePointer)
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

TEST_F(X11EventTapPointerTest, GivesLocationsInPoints)
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

TEST_F(X11EventTapPointerTest, StopInTheMiddleOfAStrokeReturnsAtOnceAndFreesThePointer)
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

TEST_F(X11EventTapPointerTest, StopWhileAPressIsHeldBackFreesTheButton)
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

TEST_F(X11EventTapPointerTest, ASecondTapIsRefusedEachCombination)
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

TEST_F(X11EventTapPointerTest, AHotkeyOfSomebodyElseLeavesTheButtons)
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

TEST_F(X11EventTapPointerTest, AMiddleButtonThatIsPartlyTakenIsOursOtherwise)
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

TEST_F(X11EventTapPointerTest, SaysThatAChordCannotBeHadWithFn)
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
