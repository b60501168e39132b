#include "e2e/GestureDesk.h"

#include <QFile>
#include <QTemporaryDir>
#include <xcb/xtest.h>

namespace velmo::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// -- the chord

class ChordDesk : public GestureDesk {
protected:
    /// A window manager that moves windows by left drags with Alt, and with Alt and Super.
    [[nodiscard]] QString movingManager()
    {
        QFile file(folder_.filePath(QStringLiteral("rc.xml")));
        if (!file.open(QIODevice::WriteOnly))
            return {};
        file.write(R"(<?xml version="1.0"?>
<openbox_config xmlns="http://openbox.org/3.4/rc">
  <mouse><dragThreshold>1</dragThreshold><context name="Frame">
    <mousebind button="A-Left" action="Drag"><action name="Move"/></mousebind>
    <mousebind button="W-A-Left" action="Drag"><action name="Move"/></mousebind>
  </context></mouse>
</openbox_config>)");
        return file.fileName();
    }

    /// Where the client's window is on the screen.
    [[nodiscard]] PixelPoint clientPlace()
    {
        auto& connection = client_->connection();
        const auto place = connection.await(
            xcb_translate_coordinates_reply,
            xcb_translate_coordinates(connection.get(), client_->window(), connection.root(), 0, 0));
        return place ? PixelPoint{place->dst_x, place->dst_y} : PixelPoint{};
    }

    void dragLeft(int dx, int dy)
    {
        input_.pressButton(kLeft);
        moveBy(dx / 2, dy / 2);
        moveBy(dx, dy);
        input_.releaseButton(kLeft);
    }

    /// A stroke under the chord is the monitor's, and the window stays; with Alt alone the window moves.
    void expectOursAndTheirs()
    {
        const PixelPoint before = clientPlace();
        holdChord();
        dragLeft(80, 60);
        releaseChord();
        ASSERT_TRUE(awaitTold("up"));
        EXPECT_EQ(told_.front(), "hint");
        EXPECT_EQ(told_[1], at("draw", 0, 0));
        EXPECT_EQ(clientPlace(), before);

        // The window manager takes its time to begin, so the pointer goes on until the window follows.
        moveBy(0, 0);
        input_.press("Alt_L");
        input_.pressButton(kLeft);
        int step = 0;
        EXPECT_TRUE(awaitCondition([&] {
            step = std::min(step + 2, 300);
            moveBy(step, step / 2);
            const PixelPoint now = clientPlace();
            return now.x > before.x + 20 && now.y > before.y + 10;
        }));
        input_.releaseButton(kLeft);
        input_.release("Alt_L");
    }

    QTemporaryDir folder_;
};

TEST_F(ChordDesk, HintsDrawsAndKeepsTheButtonFromTheClient)
{
    startMonitor();
    holdChord();
    ASSERT_TRUE(awaitTold("hint"));
    input_.pressButton(kLeft);
    // Until the press is claimed the server holds the pointer still, and of several motions it keeps the
    // last.
    moveBy(10, 5);
    ASSERT_TRUE(awaitTold(at("drag", 10, 5)));
    input_.release("Super_L");
    moveBy(20, 30);
    input_.release("Alt_L");
    moveBy(40, 50);
    input_.releaseButton(kLeft);
    ASSERT_TRUE(awaitTold("up"));
    settle();
    EXPECT_THAT(told_, ElementsAre("hint", at("draw", 0, 0), "no hint", at("drag", 10, 5), at("drag", 20, 30),
                                   at("drag", 40, 50), "up"));
    EXPECT_EQ(clientPresses(kLeft) + clientReleases(kLeft), 0);
}

TEST_F(ChordDesk, DrawsWithShiftHeldAsWell)
{
    startMonitor();
    input_.press("Shift_L");
    holdChord();
    input_.click(kLeft);
    releaseChord();
    input_.release("Shift_L");
    ASSERT_TRUE(awaitTold("up"));
    settle();
    EXPECT_THAT(told_, ElementsAre("hint", at("draw", 0, 0), "no hint", "up"));
    EXPECT_EQ(clientPresses(kLeft), 0);
}

TEST_F(ChordDesk, DoesNotDrawWithControlHeldAsWell)
{
    startMonitor();
    input_.press("Control_L");
    holdChord();
    input_.click(kLeft);
    releaseChord();
    input_.release("Control_L");
    EXPECT_TRUE(awaitCondition([this] { return clientReleases(kLeft) == 1; }));
    settle();
    EXPECT_EQ(clientPresses(kLeft), 1);
    EXPECT_THAT(told_, IsEmpty());
}

TEST_F(ChordDesk, AShortcutWithTheChordIsTheClientsAndSoIsTheClickAfterIt)
{
    startMonitor();
    holdChord();
    input_.tap("v");
    input_.click(kLeft);
    ASSERT_TRUE(awaitCondition([this] { return clientReleases(kLeft) == 1; }));
    EXPECT_EQ(clientKeys("v"), 1);
    EXPECT_EQ(clientPresses(kLeft), 1);
    releaseChord();
    settle();
    EXPECT_THAT(told_, ElementsAre("hint", "no hint"));
    EXPECT_EQ(printed("[HotkeyMonitor] suppressing quick draw because keyCode=9 used quick-draw modifiers"),
              1);
    EXPECT_EQ(printed("[HotkeyMonitor] keyDown passthrough — keyCode=9"), 1);
    EXPECT_EQ(printed("[HotkeyMonitor] quick draw re-armed after modifier release"), 1);
    EXPECT_EQ(clientPresses(kLeft), 1) << "exactly one click";
    EXPECT_EQ(clientReleases(kLeft), 1);

    holdChord();
    input_.click(kLeft);
    releaseChord();
    EXPECT_TRUE(awaitTold("up"));
    EXPECT_EQ(clientPresses(kLeft), 1);
}

TEST_F(ChordDesk, ComesBeforeAWindowManagerThatHadTheDragFirst)
{
    client_.reset();
    display().stopWindowManager();
    ASSERT_TRUE(display().startWindowManager(movingManager()));
    openClient();
    startMonitor();
    EXPECT_TRUE(reports_.back().problems.isEmpty());
    expectOursAndTheirs();
}

TEST_F(ChordDesk, ComesBeforeAWindowManagerThatTakesTheDragLater)
{
    client_.reset();
    display().stopWindowManager();
    startMonitor();
    ASSERT_TRUE(display().startWindowManager(movingManager()));
    openClient();
    expectOursAndTheirs();
}

TEST_F(ChordDesk, CanBeSwitchedOffInTheSettings)
{
    monitor_->quickDrawModifiers = 0;
    startMonitor();
    holdChord();
    input_.click(kLeft);
    releaseChord();
    EXPECT_TRUE(awaitCondition([this] { return clientReleases(kLeft) == 1; }));
    moveBy(0, 0);
    input_.pressButton(kMiddle);
    moveBy(30, 0);
    input_.releaseButton(kMiddle);
    EXPECT_TRUE(awaitTold("up"));
    EXPECT_THAT(told_, ElementsAre(at("draw", 0, 0), "up"));
    EXPECT_EQ(clientPresses(kLeft), 1);
}

TEST_F(ChordDesk, StopsAmidAStrokeAtOnceAndStartsAgain)
{
    startMonitor();
    holdChord();
    input_.pressButton(kLeft);
    ASSERT_TRUE(awaitTold(at("draw", 0, 0)));
    const auto begin = std::chrono::steady_clock::now();
    monitor_->stop();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(1));
    startMonitor();
    EXPECT_TRUE(reports_.back().problems.isEmpty()) << "nothing of the first run is in the way";
    input_.releaseButton(kLeft);
    releaseChord();
    told_.clear();
    holdChord();
    input_.click(kLeft);
    releaseChord();
    EXPECT_TRUE(awaitTold("up"));
}

// -- the middle button

class MiddleDesk : public GestureDesk {};

struct Wiggle {
    const char* name;
    int dx;
    int dy;
    friend void PrintTo(const Wiggle& wiggle, std::ostream* stream) { *stream << wiggle.name; }
};

class MiddleClickDesk : public MiddleDesk, public testing::WithParamInterface<Wiggle> {};

TEST_P(MiddleClickDesk, IsExactlyOneClickForTheClient)
{
    startMonitor();
    input_.pressButton(kMiddle);
    if (GetParam().dx != 0)
        moveBy(GetParam().dx, GetParam().dy);
    input_.releaseButton(kMiddle);
    ASSERT_TRUE(awaitCondition([this] { return clientReleases(kMiddle) == 1; }));
    settle();
    EXPECT_EQ(clientPresses(kMiddle), 1);
    EXPECT_EQ(clientReleases(kMiddle), 1);
    EXPECT_THAT(told_, IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Moves, MiddleClickDesk,
                         testing::Values(Wiggle{"None", 0, 0}, Wiggle{"ThreePixels", 3, 0},
                                         Wiggle{"DiagonalThreeFour", 3, 4}),
                         [](const auto& instance) { return std::string(instance.param.name); });

TEST_F(MiddleDesk, DrawsFromThePressOnceItHasMovedFarEnough)
{
    startMonitor();
    input_.pressButton(kMiddle);
    moveBy(3, 4);
    moveBy(4, 4);
    moveBy(9, 9);
    input_.releaseButton(kMiddle);
    ASSERT_TRUE(awaitTold("up"));
    settle();
    EXPECT_THAT(told_, ElementsAre(at("draw", 0, 0), at("drag", 9, 9), "up"));
    EXPECT_EQ(clientPresses(kMiddle) + clientReleases(kMiddle), 0);
}

TEST_F(MiddleDesk, ActivatesAfterALongPress)
{
    startMonitor();
    input_.pressButton(kMiddle);
    awaitCondition([] { return false; }, std::chrono::milliseconds(500)); // What is tested is a duration.
    input_.releaseButton(kMiddle);
    ASSERT_TRUE(awaitTold("activate"));
    settle();
    EXPECT_THAT(told_, ElementsAre("activate"));
    EXPECT_EQ(clientPresses(kMiddle) + clientReleases(kMiddle), 0);
}

TEST_F(MiddleDesk, GivesBackEachOfAHundredQuickClicks)
{
    startMonitor();
    constexpr int kClicks = 100;
    for (int round = 0; round < kClicks; ++round) {
        input_.click(kMiddle);
        std::this_thread::sleep_for(std::chrono::milliseconds(15)); // The pace is what is tested.
    }
    EXPECT_TRUE(awaitCondition([this] { return clientReleases(kMiddle) >= kClicks; }));
    settle();
    EXPECT_EQ(clientPresses(kMiddle), kClicks);
    EXPECT_EQ(clientReleases(kMiddle), kClicks);
    EXPECT_THAT(told_, IsEmpty());
}

/// The window manager holds each click on an application until it has looked at it.
TEST_F(MiddleDesk, GivesASecondClickBackWhileTheManagerStillLooksAtTheFirst)
{
    startMonitor();
    // While nobody else is served, both clicks come to the monitor before it can give back the first.
    const auto hand = X11Connection::open();
    xcb_grab_server(hand->get());
    for (int click = 0; click < 2; ++click) {
        for (const auto type : {uint8_t{XCB_BUTTON_PRESS}, uint8_t{XCB_BUTTON_RELEASE}})
            xcb_test_fake_input(hand->get(), type, kMiddle, XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
    }
    xcb_ungrab_server(hand->get());
    hand->sync();
    EXPECT_TRUE(awaitCondition([this] { return clientReleases(kMiddle) >= 2; }));
    settle();
    EXPECT_EQ(clientPresses(kMiddle), 2);
    EXPECT_EQ(clientReleases(kMiddle), 2);
    EXPECT_THAT(told_, IsEmpty());
}

TEST_F(MiddleDesk, CanBeSwitchedOffInTheSettings)
{
    monitor_->quickDrawMiddleMouseEnabled = false;
    startMonitor();
    input_.pressButton(kMiddle);
    moveBy(30, 0);
    input_.releaseButton(kMiddle);
    EXPECT_TRUE(awaitCondition([this] { return clientReleases(kMiddle) == 1; }));
    holdChord();
    input_.click(kLeft);
    releaseChord();
    EXPECT_TRUE(awaitTold("up"));
    EXPECT_THAT(told_, ElementsAre("hint", at("draw", 30, 0), "no hint", "up"));
    EXPECT_EQ(clientPresses(kMiddle), 1);
}

} // namespace
} // namespace velmo::test
