#include "core/async/OneShot.h"
#include "core/async/TaskScope.h"
#include "core/async/Timer.h"
#include "support/core/EventLoop.h"
#include "support/core/Printing.h"

#include <QStringList>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velmo {
namespace {

using async::Task;
using testing::ElementsAre;
using testing::IsEmpty;

/// Written by the tasks of a test, in the order of events.
using Events = std::shared_ptr<QStringList>;

/// Leaves a trace when the frame that holds it goes.
struct Trace {
    Events events;
    QString text;
    Trace(Events to, QString what)
        : events(std::move(to))
        , text(std::move(what))
    {}
    Trace(const Trace&) = delete;
    Trace& operator=(const Trace&) = delete;
    ~Trace() { events->append(text); }
};

Task<> append(Events events, QString text)
{
    events->append(text);
    co_return;
}

Task<int> giveLater(async::OneShot<int> source)
{
    co_return co_await source.value();
}

Task<int> addOne(async::OneShot<int> source)
{
    co_return co_await giveLater(source) + 1;
}

/// Waits, tidies up when it is told to stop, and passes that on.
Task<int> tidy(async::OneShot<int> source, Events events)
{
    const Trace frame(events, QStringLiteral("frame gone"));
    events->append(QStringLiteral("begin"));
    try {
        const int value = co_await source.value();
        events->append(QStringLiteral("value"));
        co_return value;
    } catch (const async::Cancelled&) {
        events->append(QStringLiteral("cancelled"));
        throw;
    }
}

/// Ignores the first request to stop and waits again.
Task<> waitTwice(async::OneShot<int> first, async::OneShot<int> second, Events events)
{
    try {
        co_await first.value();
    } catch (const async::Cancelled&) {
        events->append(QStringLiteral("first cancelled"));
    }
    try {
        co_await second.value();
        events->append(QStringLiteral("second value"));
    } catch (const async::Cancelled&) {
        events->append(QStringLiteral("second cancelled"));
    }
}

Task<> observe(async::TaskHandle<int> task, Events events)
{
    const auto outcome = co_await task.outcome();
    events->append(outcome.cancelled ? QStringLiteral("saw cancelled")
                                     : QStringLiteral("saw ") + QString::number(outcome.value.value_or(-1)));
}

class TaskTest : public testing::Test {
protected:
    const Events events = std::make_shared<QStringList>();
    async::TaskScope scope;
};

TEST_F(TaskTest, TheBodyBeginsOnALaterTurn)
{
    const auto task = scope.start(append(events, QStringLiteral("body")));
    EXPECT_THAT(*events, IsEmpty());
    EXPECT_FALSE(task.isFinished());
    EXPECT_TRUE(scope.isBusy());
    settle();

    EXPECT_THAT(*events, ElementsAre(u"body"));
    EXPECT_TRUE(task.isFinished());
    EXPECT_FALSE(scope.isBusy());
}

TEST_F(TaskTest, BodiesBeginInTheOrderInWhichTheyWereStarted)
{
    scope.start(append(events, QStringLiteral("1")));
    async::postToMainLoop([this] { events->append(QStringLiteral("posted between")); });
    scope.start(append(events, QStringLiteral("2")));
    settle();

    EXPECT_THAT(*events, ElementsAre(u"1", u"posted between", u"2"));
}

TEST_F(TaskTest, AValueTravelsThroughNestedTasks)
{
    const async::OneShot<int> source;
    const auto task = scope.start(addOne(source));
    scope.start(observe(task, events));
    settle();
    EXPECT_THAT(*events, IsEmpty());
    source.resolve(41);
    settle();

    EXPECT_THAT(*events, ElementsAre(u"saw 42"));
}

TEST_F(TaskTest, CancellingResumesItAtItsPointOfWaiting)
{
    const async::OneShot<int> source;
    const auto task = scope.start(tidy(source, events));
    scope.start(observe(task, events));
    settle();
    task.cancel();
    EXPECT_THAT(*events, ElementsAre(u"begin")) << "never inside the call";
    settle();

    EXPECT_THAT(*events, ElementsAre(u"begin", u"cancelled", u"frame gone", u"saw cancelled"));
    EXPECT_TRUE(task.isFinished());
}

TEST_F(TaskTest, CancellingReachesTheInnermostWait)
{
    const async::OneShot<int> source;
    const auto task = scope.start(addOne(source));
    scope.start(observe(task, events));
    settle();
    task.cancel();
    settle();
    source.resolve(1);
    settle();

    EXPECT_THAT(*events, ElementsAre(u"saw cancelled"));
}

TEST_F(TaskTest, CancellingBeforeTheBodyStopsItAtItsFirstWait)
{
    const async::OneShot<int> source;
    source.resolve(1);
    const auto task = scope.start(tidy(source, events));
    task.cancel();
    settle();

    EXPECT_THAT(*events, ElementsAre(u"begin", u"cancelled", u"frame gone"));
}

TEST_F(TaskTest, ACancelledTaskNeverWaitsAgain)
{
    const async::OneShot<int> first;
    const async::OneShot<int> second;
    second.resolve(1);
    const auto task = scope.start(waitTwice(first, second, events));
    settle();
    task.cancel();
    settle();

    EXPECT_THAT(*events, ElementsAre(u"first cancelled", u"second cancelled"));
    EXPECT_TRUE(task.isFinished());
}

TEST_F(TaskTest, CancellingTwiceResumesOnce)
{
    const async::OneShot<int> source;
    const auto task = scope.start(tidy(source, events));
    settle();
    task.cancel();
    task.cancel();
    settle();

    EXPECT_THAT(*events, ElementsAre(u"begin", u"cancelled", u"frame gone"));
}

TEST_F(TaskTest, AValueThatIsOnItsWayLosesAgainstACancel)
{
    const async::OneShot<int> source;
    const auto task = scope.start(tidy(source, events));
    settle();
    source.resolve(1);
    task.cancel();
    settle();

    EXPECT_THAT(*events, ElementsAre(u"begin", u"cancelled", u"frame gone"));
}

TEST_F(TaskTest, CancellingAFinishedTaskDoesNothing)
{
    const async::OneShot<int> source;
    source.resolve(5);
    const auto task = scope.start(tidy(source, events));
    settle();
    task.cancel();
    scope.start(observe(task, events));
    settle();

    EXPECT_EQ(events->last(), u"saw 5");
}

TEST_F(TaskTest, EveryWaiterLearnsTheOutcome)
{
    const async::OneShot<int> source;
    const auto task = scope.start(giveLater(source));
    scope.start(observe(task, events));
    scope.start(observe(task, events));
    settle();
    source.resolve(3);
    settle();
    scope.start(observe(task, events));
    settle();

    EXPECT_THAT(*events, ElementsAre(u"saw 3", u"saw 3", u"saw 3"));
}

TEST_F(TaskTest, CancellingAWaiterLeavesTheTaskAlone)
{
    const async::OneShot<int> source;
    const auto task = scope.start(tidy(source, events));
    const auto waiter = scope.start(observe(task, events));
    settle();
    waiter.cancel();
    settle();
    EXPECT_TRUE(waiter.isFinished());
    EXPECT_FALSE(task.isFinished());
    source.resolve(3);
    settle();

    EXPECT_THAT(*events, ElementsAre(u"begin", u"value", u"frame gone"));
}

TEST_F(TaskTest, DestroyingAWaiterBetweenTheEndAndItsTurnIsSafe)
{
    const async::OneShot<int> source;
    const auto task = scope.start(giveLater(source));
    auto other = std::make_unique<async::TaskScope>();
    other->start(observe(task, events));
    settle();
    source.resolve(3);
    ASSERT_TRUE(turnUntil([&] { return task.isFinished(); }));
    other.reset();
    settle();

    EXPECT_THAT(events->filter(QStringLiteral("saw 3")).size(), testing::Le(1));
    EXPECT_TRUE(task.isFinished());
}

TEST_F(TaskTest, DroppingTheHandleLeavesTheTaskRunning)
{
    const async::OneShot<int> source;
    {
        const auto task = scope.start(tidy(source, events));
        EXPECT_TRUE(task.isValid());
    }
    settle();
    source.resolve(1);
    settle();

    EXPECT_THAT(*events, ElementsAre(u"begin", u"value", u"frame gone"));
}

TEST_F(TaskTest, HandlesNameTheirTask)
{
    const async::OneShot<int> source;
    const auto first = scope.start(giveLater(source));
    const auto second = scope.start(giveLater(source));
    const auto copy = first;

    EXPECT_TRUE(first == copy);
    EXPECT_FALSE(first == second);
    EXPECT_FALSE(async::TaskHandle<int>().isValid());
    EXPECT_FALSE(async::TaskHandle<int>().isFinished());
}

Task<> sleepAndTell(std::chrono::milliseconds duration, Events events)
{
    try {
        co_await async::sleepFor(duration);
        events->append(QStringLiteral("awake"));
    } catch (const async::Cancelled&) {
        events->append(QStringLiteral("woken"));
    }
}

TEST_F(TaskTest, ASleepLastsItsTime)
{
    QElapsedTimer timer;
    timer.start();
    scope.start(sleepAndTell(std::chrono::milliseconds(60), events));
    ASSERT_TRUE(turnUntil([this] { return !events->isEmpty(); }));

    EXPECT_GE(timer.elapsed(), 59);
    EXPECT_THAT(*events, ElementsAre(u"awake"));
}

TEST_F(TaskTest, ACancelledSleepEndsAtOnce)
{
    const auto task = scope.start(sleepAndTell(std::chrono::hours(1), events));
    settle();
    task.cancel();
    settle();

    EXPECT_THAT(*events, ElementsAre(u"woken"));
}

Task<> threeTurns(Events events)
{
    for (int turn = 0; turn < 3; ++turn) {
        events->append(QString::number(turn));
        co_await async::nextTurn();
    }
}

TEST_F(TaskTest, TheNextTurnLetsOthersRun)
{
    scope.start(threeTurns(events));
    scope.start(threeTurns(events));
    ASSERT_TRUE(turnUntil([this] { return !scope.isBusy(); }));

    EXPECT_THAT(*events, ElementsAre(u"0", u"0", u"1", u"1", u"2", u"2"));
}

} // namespace
} // namespace velmo
