#include "TapPointerFixture.h"
#include "platform/x11/X11InputExtensions.h"
#include "platform/x11/X11PassiveGrab.h"

#include <chrono>

namespace velmo::test {
namespace {

using std::chrono::milliseconds;

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

} // namespace
} // namespace velmo::test
