#include "support/input/GestureTest.h"

#include <ostream>

namespace velmo {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// -- the chord

class QuickDrawChordTest : public GestureTest {
protected:
    QuickDrawChordTest() { start(); }
};

struct ChordCase {
    const char* name;
    quint64 chord;
    quint64 held;
    bool draws;
    friend void PrintTo(const ChordCase& chordCase, std::ostream* stream) { *stream << chordCase.name; }
};

class ChordMatchTest : public GestureTest, public testing::WithParamInterface<ChordCase> {};

TEST_P(ChordMatchTest, DrawsAndHintsUnderExactlyTheChord)
{
    monitor->quickDrawModifiers = GetParam().chord;
    start();
    const bool draws = GetParam().draws;
    EXPECT_EQ(flags(GetParam().held), kPass);
    EXPECT_EQ(leftDown({3, 4}, GetParam().held), draws ? kSwallow : kPass);
    EXPECT_EQ(leftDrag({5, 6}), draws ? kSwallow : kPass);
    EXPECT_EQ(leftUp(), draws ? kSwallow : kPass);
    if (draws)
        EXPECT_THAT(callbacks(), ElementsAre("hint", "draw 3,996", "no hint", "drag 5,994", "up"));
    else
        EXPECT_THAT(callbacks(), IsEmpty());
}

constexpr quint64 kDefaultChord = ModifierFlag::Option | ModifierFlag::Command;

INSTANTIATE_TEST_SUITE_P(
    Chords, ChordMatchTest,
    testing::Values(
        ChordCase{"Chord", kDefaultChord, kDefaultChord, true},
        ChordCase{"ShiftDoesNotMatter", kDefaultChord, kDefaultChord | ModifierFlag::Shift, true},
        ChordCase{"LocksDoNotMatter", kDefaultChord, kDefaultChord | 0x10000 | 0x200000 | 0x28, true},
        ChordCase{"ControlMatters", kDefaultChord, kDefaultChord | ModifierFlag::Control, false},
        ChordCase{"FunctionMatters", kDefaultChord, kDefaultChord | ModifierFlag::Function, false},
        ChordCase{"OneModifierIsNotEnough", kDefaultChord, ModifierFlag::Option, false},
        ChordCase{"Nothing", kDefaultChord, 0, false},
        ChordCase{"OneModifierAsAChord", ModifierFlag::Control, ModifierFlag::Control, true},
        ChordCase{"FunctionAsAChord", ModifierFlag::Function, ModifierFlag::Function, true},
        // Shift is never compared, so a chord that asks for it is never held.
        ChordCase{"ChordWithShift", kDefaultChord | ModifierFlag::Shift, kDefaultChord | ModifierFlag::Shift,
                  false},
        ChordCase{"NoChord", 0, 0, false}, ChordCase{"NoChordAndSomething", 0, kDefaultChord, false}),
    [](const auto& instance) { return std::string(instance.param.name); });

TEST_F(QuickDrawChordTest, HintsOnChangesOnly)
{
    flags(kOption);
    flags(kChord);
    flags(kChord | kShift);
    flags(kChord);
    flags(kOption);
    flags(0);
    EXPECT_THAT(callbacks(), ElementsAre("hint", "no hint"));
}

TEST_F(QuickDrawChordTest, KeepsTheHintAwayDuringTheStroke)
{
    flags(kChord);
    leftDown({1, 1}, kChord);
    flags(kOption);
    flags(kChord);
    flags(kChord | kShift);
    leftUp();
    EXPECT_THAT(callbacks(), ElementsAre("hint", "draw 1,999", "no hint", "up"));
    flags(kChord);
    EXPECT_THAT(callbacks(), ElementsAre("hint")) << "with the next change after it";
}

TEST_F(QuickDrawChordTest, GoesOnWhenTheModifiersAreReleased)
{
    leftDown({1, 1}, kChord);
    flags(0);
    EXPECT_EQ(leftDrag({2, 2}), kSwallow);
    EXPECT_EQ(leftUp(), kSwallow);
    EXPECT_THAT(callbacks(), ElementsAre("draw 1,999", "drag 2,998", "up"));
    EXPECT_EQ(leftUp(), kPass) << "it has ended";
    EXPECT_EQ(leftDrag({3, 3}), kPass);
}

TEST_F(QuickDrawChordTest, AShortcutDisarmsItUntilAModifierIsReleased)
{
    flags(kChord);
    EXPECT_EQ(key(kLetterV, kChord), kPass);
    EXPECT_EQ(leftDown({1, 1}, kChord), kPass);
    EXPECT_EQ(leftDrag({2, 2}), kPass);
    EXPECT_EQ(leftUp(), kPass);
    EXPECT_THAT(callbacks(), ElementsAre("hint", "no hint"));

    flags(kChord | kShift);
    EXPECT_EQ(leftDown({1, 1}, kChord), kPass) << "the chord is still held";
    flags(kCommand);
    EXPECT_THAT(callbacks(), IsEmpty());
    flags(kChord);
    EXPECT_EQ(leftDown({1, 1}, kChord), kSwallow);
    EXPECT_THAT(callbacks(), ElementsAre("hint", "draw 1,999", "no hint"));
}

TEST_F(QuickDrawChordTest, AddingAModifierOfTheChordsKindArmsItAgainToo)
{
    key(kLetterV, kChord);
    flags(kChord | kControl);
    flags(kChord);
    EXPECT_EQ(leftDown({1, 1}, kChord), kSwallow);
}

TEST_F(QuickDrawChordTest, OnlyKeysUnderExactlyTheChordDisarmIt)
{
    key(kLetterV);
    key(kLetterV, kOption);
    key(kLetterV, kChord | kControl);
    key(kLetterV, kChord | kFunction);
    EXPECT_EQ(leftDown({1, 1}, kChord), kSwallow);
    leftUp();
    key(kLetterV, kChord | kShift);
    EXPECT_EQ(leftDown({1, 1}, kChord), kPass);
}

TEST_F(QuickDrawChordTest, AKeyTypedDuringTheStrokeDoesNotEndIt)
{
    leftDown({1, 1}, kChord);
    EXPECT_EQ(key(kLetterV, kChord), kPass);
    EXPECT_EQ(leftDrag({2, 2}), kSwallow);
    EXPECT_EQ(leftUp(), kSwallow);
    EXPECT_EQ(leftDown({1, 1}, kChord), kPass) << "but it disarms the chord";
}

// -- the middle button

class QuickDrawMiddleTest : public GestureTest {
protected:
    QuickDrawMiddleTest() { start(); }
};

TEST_F(QuickDrawMiddleTest, AClickIsGivenBackWithTheMarker)
{
    EXPECT_EQ(middleDown({40, 50}, 7000), kSwallow);
    EXPECT_EQ(middleUp(7299), kPass) << "the user's own release completes it";
    ASSERT_EQ(tap.replays.size(), 1U);
    EXPECT_EQ(tap.replays[0].sourceUserData, 0x5C4EEB);
    EXPECT_EQ(tap.replays[0].location, (TopDownPoint{40, 50}));
    EXPECT_EQ(tap.replays[0].buttonNumber, 2);
    EXPECT_THAT(callbacks(), IsEmpty());
    EXPECT_EQ(middleUp(7400), kPass) << "nothing is pending any more";
    EXPECT_EQ(tap.replays.size(), 1U);
}

TEST_F(QuickDrawMiddleTest, ItsOwnReplayPasses)
{
    TapEvent event;
    event.buttonNumber = kMiddleButton;
    event.sourceUserData = HotkeyMonitor::kReplayMarker;
    EXPECT_EQ(tap.input(TapEventType::OtherMouseDown, event), kPass);
    EXPECT_EQ(middleUp(), kPass);
    EXPECT_TRUE(tap.replays.empty());
    event.sourceUserData = HotkeyMonitor::kReplayMarker + 1;
    EXPECT_EQ(tap.input(TapEventType::OtherMouseDown, event), kSwallow);
}

TEST_F(QuickDrawMiddleTest, ALongPressActivates)
{
    middleDown({40, 50}, 7000);
    EXPECT_EQ(middleUp(7300), kSwallow);
    EXPECT_THAT(callbacks(), ElementsAre("activate"));
    EXPECT_TRUE(tap.replays.empty());
    EXPECT_EQ(middleUp(7400), kPass);
}

struct Move {
    const char* name;
    double dx;
    double dy;
    bool isStroke;
    friend void PrintTo(const Move& move, std::ostream* stream) { *stream << move.name; }
};

class MiddleMoveTest : public QuickDrawMiddleTest, public testing::WithParamInterface<Move> {};

TEST_P(MiddleMoveTest, BeginsAStrokeBeyondFivePoints)
{
    middleDown({40, 50});
    EXPECT_EQ(middleDrag({40 + GetParam().dx, 50 + GetParam().dy}), kSwallow);
    if (GetParam().isStroke) {
        EXPECT_THAT(callbacks(), ElementsAre("draw 40,950")) << "at the press; the drag itself is no point";
        EXPECT_EQ(middleUp(), kSwallow);
        EXPECT_THAT(callbacks(), ElementsAre("up"));
        EXPECT_TRUE(tap.replays.empty());
    } else {
        EXPECT_EQ(middleUp(), kPass);
        EXPECT_THAT(callbacks(), IsEmpty());
        EXPECT_EQ(tap.replays.size(), 1U);
    }
}

INSTANTIATE_TEST_SUITE_P(Moves, MiddleMoveTest,
                         testing::Values(Move{"Nowhere", 0, 0, false}, Move{"ThreePoints", 3, 0, false},
                                         Move{"ExactlyFive", 0, -5, false},
                                         Move{"DiagonalThreeFour", 3, 4, false},
                                         Move{"DiagonalFourFour", 4, 4, true},
                                         Move{"JustBeyondFive", -5.01, 0, true}, Move{"Six", 0, 6, true}),
                         [](const auto& instance) { return std::string(instance.param.name); });

TEST_F(QuickDrawMiddleTest, IsAStrokeHoweverLongItWasHeldBefore)
{
    middleDown({40, 50}, 7000);
    EXPECT_EQ(middleDrag({42, 50}, 10000), kSwallow);
    EXPECT_EQ(middleDrag({60, 50}, 11000), kSwallow);
    EXPECT_EQ(middleDrag({70, 60}, 12000), kSwallow);
    EXPECT_EQ(middleUp(13000), kSwallow);
    EXPECT_THAT(callbacks(), ElementsAre("draw 40,950", "drag 70,940", "up"));
}

TEST_F(QuickDrawMiddleTest, ComesBackWithinFivePointsAsTheStrokeThatItIs)
{
    middleDown({40, 50});
    middleDrag({60, 50});
    EXPECT_EQ(middleDrag({41, 50}), kSwallow);
    EXPECT_EQ(middleUp(100), kSwallow);
    EXPECT_THAT(callbacks(), ElementsAre("draw 40,950", "drag 41,950", "up"));
}

TEST_F(QuickDrawMiddleTest, HidesTheHintBeforeItActivates)
{
    flags(kChord);
    middleDown({40, 50});
    middleDrag({60, 50});
    flags(kChord | kShift);
    EXPECT_THAT(callbacks(), ElementsAre("hint", "no hint", "draw 40,950"));
}

TEST_F(QuickDrawMiddleTest, CaresForNoModifiersAndNoShortcut)
{
    key(kLetterV, kChord);
    middleDown({40, 50});
    EXPECT_EQ(middleDrag({60, 50}), kSwallow);
    EXPECT_THAT(callbacks(), ElementsAre("draw 40,950"));
}

TEST_F(QuickDrawMiddleTest, LeavesOtherButtonsAlone)
{
    button = 3;
    EXPECT_EQ(middleDown({40, 50}), kPass);
    EXPECT_EQ(middleDrag({60, 50}), kPass);
    EXPECT_EQ(middleUp(), kPass);

    button = kMiddleButton;
    middleDown({40, 50});
    button = 4;
    EXPECT_EQ(middleDrag({60, 50}), kPass) << "while the middle one is pending";
    EXPECT_EQ(middleUp(), kPass);
    button = kMiddleButton;
    middleDrag({60, 50});
    button = 4;
    EXPECT_EQ(middleDrag({70, 50}), kPass) << "and while it draws";
    EXPECT_EQ(middleUp(), kPass);
    EXPECT_THAT(callbacks(), ElementsAre("draw 40,950"));
}

TEST_F(QuickDrawMiddleTest, CanBeSwitchedOff)
{
    monitor->stop();
    monitor->quickDrawMiddleMouseEnabled = false;
    start();
    EXPECT_EQ(middleDown({40, 50}), kPass);
    EXPECT_EQ(middleDrag({60, 50}), kPass);
    EXPECT_EQ(middleUp(), kPass);
    EXPECT_EQ(leftDown({1, 1}, kChord), kSwallow) << "the chord is another matter";
    EXPECT_THAT(callbacks(), ElementsAre("draw 1,999"));
}

TEST_F(QuickDrawMiddleTest, WorksWithoutTheChord)
{
    monitor->stop();
    monitor->quickDrawModifiers = 0;
    start();
    flags(kChord);
    middleDown({40, 50});
    middleDrag({60, 50});
    EXPECT_THAT(callbacks(), ElementsAre("draw 40,950"));
}

// -- both at once

TEST_F(QuickDrawMiddleTest, TheLeftButtonEndsAStrokeOfTheMiddleOne)
{
    middleDown({40, 50});
    middleDrag({60, 50});
    EXPECT_EQ(leftDown({60, 50}, 0), kPass);
    EXPECT_EQ(leftUp(), kSwallow);
    EXPECT_EQ(middleUp(), kPass);
    EXPECT_THAT(callbacks(), ElementsAre("draw 40,950", "up"));
}

TEST_F(QuickDrawMiddleTest, AClickDuringAStrokeOfTheLeftButtonIsGivenBack)
{
    leftDown({1, 1}, kChord);
    EXPECT_EQ(middleDown({2, 2}, 0), kSwallow);
    EXPECT_EQ(leftDrag({30, 30}), kSwallow);
    EXPECT_EQ(middleUp(200), kPass);
    EXPECT_EQ(tap.replays.size(), 1U);
    EXPECT_EQ(leftDrag({40, 40}), kSwallow);
    EXPECT_EQ(leftUp(), kSwallow);
    EXPECT_THAT(callbacks(), ElementsAre("draw 1,999", "drag 30,970", "drag 40,960", "up"));
}

} // namespace
} // namespace velmo
