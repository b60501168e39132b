#include "AtSpiFocusScene.h"

#include <QTimer>
#include <algorithm>

namespace velmo::test {
namespace {

/// What waits for a bus or an application takes as long as the lookup may, or for ever.
constexpr qint64 kInstant = 120; ///< Less than the time that a wait would take.

/// How long the main loop was away at most.
class LoopWatch {
public:
    LoopWatch()
    {
        sinceTurn_.start();
        QObject::connect(&timer_, &QTimer::timeout, [this] {
            longest_ = std::max(longest_, sinceTurn_.restart());
            ++turns_;
        });
        timer_.start(1);
    }
    [[nodiscard]] qint64 longest() const { return longest_; }
    [[nodiscard]] int turns() const { return turns_; }

private:
    QTimer timer_;
    QElapsedTimer sinceTurn_;
    qint64 longest_ = 0;
    int turns_ = 0;
};

class AtSpiFocusTroubleTest : public AtSpiFocusScene {
protected:
    /// Every call of the main thread, while something does not answer.
    FocusRestorationTarget expectInstantCalls()
    {
        const LoopWatch watch;
        QElapsedTimer timer;
        timer.start();
        auto target = capture();
        EXPECT_LT(timer.restart(), kInstant) << "taking an element";
        static_cast<void>(awaitFinding(target));
        EXPECT_LT(timer.restart(), 1000) << "looking it up";
        if (target.focusedElement)
            focus_->focusElement(*target.focusedElement);
        EXPECT_LT(timer.restart(), kInstant) << "focusing it";
        auto copy = capture();
        timer.restart();
        copy = {};
        EXPECT_LT(timer.restart(), kInstant) << "dropping one";
        // Where nothing answers, a lookup that begins after a request ends after it, too.
        static_cast<void>(awaitFinding(capture()));
        static_cast<void>(awaitCondition([&] { return watch.turns() > 100; }));
        EXPECT_LT(watch.longest(), kInstant) << "the main loop was held up";
        return target;
    }

    void expectInstantEnd()
    {
        QElapsedTimer timer;
        timer.start();
        focus_.reset();
        EXPECT_LT(timer.elapsed(), kInstant) << "ending";
    }
};

TEST_F(AtSpiFocusTroubleTest, ReturnsToWindowsWithoutAnAccessibilityBus)
{
    listen();
    const auto program = start(Toolkit::Qt);
    ASSERT_TRUE(giveFocus(*program, "two"));
    ASSERT_TRUE(awaitFrontmost(program->processID()));
    const auto target = capture();
    EXPECT_EQ(awaitFinding(target), FocusFinding::Nothing);
    const auto other = distract();
    target.restore(*focus_);
    EXPECT_TRUE(awaitFrontmost(program->processID()));
    EXPECT_TRUE(awaitCondition([&] { return !other->hasFocus(); }));
    expectTypingInto(*program, "two");
    expectInstantEnd();
}

TEST_F(AtSpiFocusTroubleTest, ReturnsToWindowsWithoutASessionBus)
{
    focus_ = std::make_unique<X11WindowFocus>(std::make_unique<AtSpiFocus>("disabled:"));
    const auto other = distract();
    const auto target = expectInstantCalls();
    EXPECT_EQ(target.appPID, kOther);
    EXPECT_EQ(awaitFinding(target), FocusFinding::Nothing);
    expectInstantEnd();
}

TEST_F(AtSpiFocusTroubleTest, UsesABusThatAppearsLaterAndItsSuccessor)
{
    listen();
    for (int round = 0; round < 2; ++round) {
        ASSERT_TRUE(buses_.startAccessibility());
        {
            const auto program = start(Toolkit::Gtk);
            FocusRestorationTarget target;
            ASSERT_TRUE(captureTold(*program, "two", target)) << "round " << round;
            ASSERT_TRUE(program->order("focus one"));
            program->forgetFocused();
            focus_->focusElement(*target.focusedElement);
            expectTypingInto(*program, "two");
        }
        buses_.stopAccessibility();
    }
}

TEST_F(AtSpiFocusTroubleTest, ForgetsElementsOfABusThatEnded)
{
    listen();
    ASSERT_TRUE(buses_.startAccessibility());
    const auto program = start(Toolkit::Qt);
    FocusRestorationTarget target;
    ASSERT_TRUE(captureTold(*program, "two", target));
    buses_.stopAccessibility();
    // Another application may have the same name on the next bus.
    EXPECT_TRUE(awaitCondition(
        [&] { return AtSpiFocus::finding(*target.focusedElement->element) == FocusFinding::Nothing; }));
    static_cast<void>(expectInstantCalls());
    expectInstantEnd();
}

class HaltedApplicationTest : public AtSpiFocusTroubleTest,
                              public testing::WithParamInterface<FieldsProgram::Toolkit> {};

INSTANTIATE_TEST_SUITE_P(Toolkits, HaltedApplicationTest,
                         testing::Values(FieldsProgram::Toolkit::Gtk, FieldsProgram::Toolkit::Qt),
                         toolkitName);

TEST_P(HaltedApplicationTest, IsNotWaitedFor)
{
    ASSERT_TRUE(buses_.startAccessibility());
    listen();
    const auto program = start(GetParam());
    FocusRestorationTarget target;
    ASSERT_TRUE(captureTold(*program, "two", target));

    Halt halt(program->processID());
    ASSERT_TRUE(halt.isHalted());
    target = expectInstantCalls();
    EXPECT_EQ(awaitFinding(target), FocusFinding::Told) << "what it told last is believed";
    halt.end();
    ASSERT_TRUE(giveFocus(*program, "one"));
    const auto other = distract();
    program->forgetFocused();
    target.restore(*focus_);
    expectTypingInto(*program, "two");
}

/// It would take the keyboard when the user has long been elsewhere.
TEST_P(HaltedApplicationTest, CarriesNoRequestOutWhenItGoesOn)
{
    ASSERT_TRUE(buses_.startAccessibility());
    listen();
    const auto program = start(GetParam());
    FocusRestorationTarget target;
    ASSERT_TRUE(captureTold(*program, "two", target));
    ASSERT_TRUE(giveFocus(*program, "one"));

    Halt halt(program->processID());
    ASSERT_TRUE(halt.isHalted());
    focus_->focusElement(*target.focusedElement);
    // A lookup that begins after the request ends after it.
    const auto after = capture();
    ASSERT_EQ(awaitFinding(after), FocusFinding::Told);
    halt.end();
    // An answer to one more request comes after whatever had been waiting.
    ASSERT_EQ(awaitFinding(capture()), FocusFinding::Told);
    ASSERT_TRUE(program->order("labels 0"));
    EXPECT_EQ(program->focused(), "one");
    expectTypingInto(*program, "one");
}

TEST_F(AtSpiFocusTroubleTest, FindsNothingInAHaltedApplicationThatNeverTold)
{
    ASSERT_TRUE(buses_.startAccessibility());
    const auto program = start(Toolkit::Gtk);
    ASSERT_TRUE(giveFocus(*program, "two"));
    Halt halt(program->processID());
    ASSERT_TRUE(halt.isHalted());
    listen();
    ASSERT_TRUE(awaitFrontmost(program->processID()));
    EXPECT_EQ(awaitFinding(expectInstantCalls()), FocusFinding::Nothing);
    halt.end();
    EXPECT_TRUE(awaitCondition([&] { return awaitFinding(capture()) != FocusFinding::Nothing; }));
}

TEST_F(AtSpiFocusTroubleTest, DoesNotWaitForAHaltedBus)
{
    ASSERT_TRUE(buses_.startAccessibility());
    listen();
    const auto program = start(Toolkit::Gtk);
    FocusRestorationTarget target;
    ASSERT_TRUE(captureTold(*program, "two", target));

    Halt halt(buses_.accessibilityProcess());
    ASSERT_TRUE(halt.isHalted());
    EXPECT_EQ(awaitFinding(expectInstantCalls()), FocusFinding::Told);
    // However often a session begins and ends meanwhile.
    QElapsedTimer timer;
    timer.start();
    for (int count = 0; count < 2000; ++count) {
        const auto one = focus_->focusedElement({program->processID(), 1});
        focus_->focusElement(*one);
    }
    EXPECT_LT(timer.elapsed(), 2000);
    static_cast<void>(expectInstantCalls());
    halt.end();
    EXPECT_TRUE(captureTold(*program, "two", target)) << "it is of use again";
    Halt again(buses_.accessibilityProcess());
    ASSERT_TRUE(again.isHalted());
    expectInstantEnd();
}

TEST_F(AtSpiFocusTroubleTest, DoesNotWaitForAHaltedRegistry)
{
    ASSERT_TRUE(buses_.startAccessibility());
    const auto program = start(Toolkit::Gtk);
    ASSERT_TRUE(giveFocus(*program, "two"));
    const Halt halt(buses_.registryProcess());
    ASSERT_TRUE(halt.isHalted());
    listen();
    ASSERT_TRUE(awaitFrontmost(program->processID()));
    FocusRestorationTarget target;
    EXPECT_TRUE(awaitCondition([&] {
        target = expectInstantCalls();
        return awaitFinding(target) == FocusFinding::Sought;
    }));
    expectInstantEnd();
}

TEST_F(AtSpiFocusTroubleTest, DoesNotWaitForABusThatIsHaltedBeforeItConnects)
{
    ASSERT_TRUE(buses_.startAccessibility());
    const auto program = start(Toolkit::Gtk);
    ASSERT_TRUE(giveFocus(*program, "two"));
    Halt halt(buses_.accessibilityProcess());
    ASSERT_TRUE(halt.isHalted());
    listen();
    ASSERT_TRUE(awaitFrontmost(program->processID()));
    EXPECT_EQ(awaitFinding(expectInstantCalls()), FocusFinding::Nothing);
    expectInstantEnd();

    listen();
    halt.end();
    EXPECT_TRUE(awaitCondition([&] { return awaitFinding(capture()) != FocusFinding::Nothing; }));
}

TEST_F(AtSpiFocusTroubleTest, DoesNotWaitForAHaltedSessionBus)
{
    const Halt halt(buses_.sessionProcess());
    ASSERT_TRUE(halt.isHalted());
    listen();
    const auto other = distract();
    EXPECT_EQ(awaitFinding(expectInstantCalls()), FocusFinding::Nothing);
    expectInstantEnd();
}

TEST_F(AtSpiFocusTroubleTest, ElementsMayOutliveIt)
{
    ASSERT_TRUE(buses_.startAccessibility());
    listen();
    const auto program = start(Toolkit::Qt);
    ASSERT_TRUE(giveFocus(*program, "two"));
    auto target = capture();
    focus_.reset();
    target = {};
    listen();
    EXPECT_TRUE(awaitCondition([&] { return awaitFinding(capture()) != FocusFinding::Nothing; }));
}

} // namespace
} // namespace velmo::test
