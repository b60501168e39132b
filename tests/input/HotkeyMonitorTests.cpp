#include "support/input/GestureTest.h"

#include <QThread>
#include <thread>

namespace velmo {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class HotkeyMonitorTest : public GestureTest {};

TEST_F(HotkeyMonitorTest, HasTheUsualGesturesUntilItIsToldOthers)
{
    start();
    ASSERT_TRUE(tap.interest);
    EXPECT_EQ(tap.interest->hotkeyKeyCode, 49);
    EXPECT_EQ(tap.interest->hotkeyModifiers, 0x0C0000U);
    EXPECT_EQ(tap.interest->quickDrawModifiers, 0x180000U);
    EXPECT_TRUE(tap.interest->middleButton);
}

TEST_F(HotkeyMonitorTest, AsksForNoMoreThanItsSettings)
{
    monitor->keyCode = 11;
    monitor->keyModifiers = kCommand;
    monitor->quickDrawModifiers = 0;
    monitor->quickDrawMiddleMouseEnabled = false;
    start();
    EXPECT_EQ(tap.interest->hotkeyKeyCode, 11);
    EXPECT_EQ(tap.interest->hotkeyModifiers, kCommand);
    EXPECT_EQ(tap.interest->quickDrawModifiers, 0U);
    EXPECT_FALSE(tap.interest->middleButton);
}

TEST_F(HotkeyMonitorTest, StartsAndStopsTheTapOnce)
{
    start();
    start();
    EXPECT_EQ(tap.starts, 1);
    monitor->stop();
    monitor->stop();
    EXPECT_EQ(tap.stops, 1);
    start();
    EXPECT_EQ(tap.starts, 2);
}

TEST_F(HotkeyMonitorTest, SaysThatTheTapCouldNotBeCreatedAndTriesAgainWhenAsked)
{
    tap.nextReport = {false, {QStringLiteral("No X display can be reached.")}};
    start();
    EXPECT_THAT(
        printed(),
        ElementsAre("HotkeyMonitor: Failed to create event tap — Accessibility permission may be missing"));
    EXPECT_THAT(reports, ElementsAre(tap.nextReport));

    tap.nextReport = {true, {}};
    start();
    EXPECT_EQ(tap.starts, 2);
    key(kSpace, kHotkeyModifiers);
    EXPECT_THAT(callbacks(), ElementsAre("activate"));
}

TEST_F(HotkeyMonitorTest, PassesOnWhatTheDesktopRefused)
{
    const EventTap::StartReport report{true, {QStringLiteral("Ctrl+Alt+Space is held by another program.")}};
    tap.nextReport = report;
    start();
    EXPECT_THAT(reports, ElementsAre(report));
    tap.tell({true, {}});
    settle();
    EXPECT_EQ(reports.size(), 2U) << "and again when the keyboard changes";
    key(kSpace, kHotkeyModifiers);
    EXPECT_THAT(callbacks(), ElementsAre("activate"));
}

TEST_F(HotkeyMonitorTest, CallsBackLaterInTheOrderOfTheEvents)
{
    start();
    flags(kChord);
    leftDown({10, 10}, kChord);
    leftDrag({20, 30});
    leftDrag({21, 30});
    leftUp();
    key(kSpace, kHotkeyModifiers);
    EXPECT_THAT(told, IsEmpty()) << "never within the event";
    EXPECT_THAT(callbacks(), ElementsAre("hint", "draw 10,990", "no hint", "drag 20,970", "drag 21,970", "up",
                                         "activate"));
}

TEST_F(HotkeyMonitorTest, CallsBackOnTheMainThreadWhereverEventsComeFrom)
{
    start();
    const QThread* main = QThread::currentThread();
    const QThread* caller = nullptr;
    monitor->onQuickDrawHint = [&](bool) { caller = QThread::currentThread(); };
    std::thread([this] { flags(kChord); }).join();
    EXPECT_TRUE(turnUntil([&] { return caller != nullptr; }));
    EXPECT_EQ(caller, main);
}

TEST_F(HotkeyMonitorTest, NothingIsHeardOfAMonitorThatWasStopped)
{
    start();
    flags(kChord);
    key(kSpace, kHotkeyModifiers);
    monitor->stop();
    EXPECT_THAT(callbacks(), IsEmpty());
}

TEST_F(HotkeyMonitorTest, NothingIsHeardOfARunBeforeThisOne)
{
    start();
    key(kSpace, kHotkeyModifiers);
    monitor->stop();
    monitor->start();
    EXPECT_THAT(callbacks(), IsEmpty());

    monitor->stop();
    tap.nextReport = {false, {}};
    monitor->start();
    monitor->stop();
    tap.nextReport = {true, {}};
    start();
    key(kSpace, kHotkeyModifiers);
    EXPECT_THAT(callbacks(), ElementsAre("activate")) << "the failure was another run's";
    monitor->stop();
    EXPECT_EQ(tap.stops, 4);
}

TEST_F(HotkeyMonitorTest, SaysOnlyOfACreationThatItFailed)
{
    start();
    tap.tell({false, {QStringLiteral("The connection to the X display was lost.")}});
    settle();
    EXPECT_THAT(printed(), IsEmpty());
    EXPECT_EQ(reports.size(), 2U);
}

TEST_F(HotkeyMonitorTest, NothingIsHeardOfAMonitorThatIsGone)
{
    start();
    key(kSpace, kHotkeyModifiers);
    monitor->stop();
    monitor = std::make_shared<HotkeyMonitor>(tap, HotkeyMonitor::Callbacks{});
    EXPECT_THAT(callbacks(), IsEmpty());
}

TEST_F(HotkeyMonitorTest, LivesAsLongAsTheTapUsesIt)
{
    start();
    const std::weak_ptr<HotkeyMonitor> weak = monitor;
    monitor = std::make_shared<HotkeyMonitor>(tap, HotkeyMonitor::Callbacks{});
    EXPECT_FALSE(weak.expired()) << "it was not stopped";
    tap.stop();
    EXPECT_TRUE(weak.expired());
}

TEST_F(HotkeyMonitorTest, AGestureThatWasCutOffIsForgottenAtTheNextStart)
{
    start();
    leftDown({1, 1}, kChord);
    monitor->stop();
    start();
    EXPECT_EQ(leftDrag({2, 2}), kPass);
    EXPECT_EQ(leftUp(), kPass);

    key(kLetterV, kChord);
    middleDown({1, 1});
    flags(kChord);
    monitor->stop();
    start();
    EXPECT_EQ(middleDrag({50, 50}), kPass);
    EXPECT_EQ(leftDown({1, 1}, kChord), kSwallow);
}

TEST_F(HotkeyMonitorTest, FollowsTheMainScreen)
{
    start();
    leftDown({5, 10}, kChord);
    leftUp();
    monitor->setMainScreenTop(720.5);
    leftDown({5, 10}, kChord);
    leftUp();
    monitor->setMainScreenTop(0);
    leftDown({5, 10}, kChord);
    EXPECT_THAT(callbacks(), ElementsAre("draw 5,990", "up", "draw 5,710", "up", "draw 5,-10"));
}

TEST_F(HotkeyMonitorTest, WorksWithoutAHint)
{
    monitor->onQuickDrawHint = {};
    start();
    flags(kChord);
    leftDown({1, 1}, kChord);
    EXPECT_THAT(callbacks(), ElementsAre("draw 1,999"));
}

} // namespace
} // namespace velmo
