#include "core/async/Channel.h"
#include "core/async/OneShot.h"
#include "core/async/TaskScope.h"
#include "core/async/Timer.h"
#include "core/async/WorkerPool.h"
#include "support/core/EventLoop.h"
#include "support/core/Printing.h"

#include <QStringList>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <thread>

namespace velmo {
namespace {

using async::Task;
using testing::ElementsAre;
using testing::IsEmpty;

using Events = std::shared_ptr<QStringList>;
using NumberChannel = async::Channel<int, QString>;

struct Trace {
    Events events;
    explicit Trace(Events to)
        : events(std::move(to))
    {}
    Trace(const Trace&) = delete;
    Trace& operator=(const Trace&) = delete;
    ~Trace() { events->append(QStringLiteral("frame gone")); }
};

Task<> waitForValue(async::OneShot<int> source, Events events)
{
    const Trace frame(events);
    co_await source.value();
    events->append(QStringLiteral("resumed"));
}

Task<> waitForBatch(std::shared_ptr<NumberChannel::Reader> reader, Events events)
{
    const Trace frame(events);
    co_await reader->nextBatch();
    events->append(QStringLiteral("resumed"));
}

Task<> waitForTime(std::chrono::milliseconds duration, Events events)
{
    const Trace frame(events);
    co_await async::sleepFor(duration);
    events->append(QStringLiteral("resumed"));
}

Task<> waitForTask(async::TaskHandle<> task, Events events)
{
    const Trace frame(events);
    co_await task.outcome();
    events->append(QStringLiteral("resumed"));
}

Task<> nest(Task<> inner, Events events)
{
    const Trace frame(events);
    co_await std::move(inner);
}

class TaskScopeTest : public testing::Test {
protected:
    const Events events = std::make_shared<QStringList>();
    std::unique_ptr<async::TaskScope> scope = std::make_unique<async::TaskScope>();
};

TEST_F(TaskScopeTest, DestructionUnwindsATaskThatWaitsForAValue)
{
    const async::OneShot<int> source;
    scope->start(waitForValue(source, events));
    settle();
    scope.reset();
    EXPECT_THAT(*events, ElementsAre(u"frame gone"));
    source.resolve(1);
    settle();

    EXPECT_THAT(*events, ElementsAre(u"frame gone"));
}

TEST_F(TaskScopeTest, DestructionUnwindsATaskWhoseValueIsOnItsWay)
{
    const async::OneShot<int> source;
    scope->start(waitForValue(source, events));
    settle();
    source.resolve(1);
    scope.reset();
    settle();

    EXPECT_THAT(*events, ElementsAre(u"frame gone"));
}

TEST_F(TaskScopeTest, DestructionUnwindsATaskThatWaitsForAChannel)
{
    auto [writer, reader] = NumberChannel::open();
    scope->start(waitForBatch(std::make_shared<NumberChannel::Reader>(std::move(reader)), events));
    settle();
    scope.reset();
    writer.push({1});
    settle();

    EXPECT_THAT(*events, ElementsAre(u"frame gone"));
}

TEST_F(TaskScopeTest, DestructionUnwindsASleepingTask)
{
    scope->start(waitForTime(std::chrono::milliseconds(5), events));
    settle();
    scope.reset();
    turnFor(std::chrono::milliseconds(20));

    EXPECT_THAT(*events, ElementsAre(u"frame gone"));
}

TEST_F(TaskScopeTest, DestructionUnwindsATaskThatWaitsForAnother)
{
    const async::OneShot<int> source;
    async::TaskScope other;
    const auto task = other.start(waitForValue(source, std::make_shared<QStringList>()));
    scope->start(waitForTask(task, events));
    settle();
    scope.reset();
    source.resolve(1);
    settle();

    EXPECT_THAT(*events, ElementsAre(u"frame gone"));
    EXPECT_TRUE(task.isFinished());
}

TEST_F(TaskScopeTest, DestructionBeforeTheBodyDropsTheTask)
{
    const async::OneShot<int> source;
    const auto task = scope->start(waitForValue(source, events));
    scope.reset();
    settle();

    EXPECT_THAT(*events, IsEmpty()) << "the body never began, so it has nothing to unwind";
    EXPECT_FALSE(task.isFinished());
}

TEST_F(TaskScopeTest, DestructionUnwindsNestedFramesInnermostFirst)
{
    const auto outerEvents = events;
    const auto innerEvents = std::make_shared<QStringList>();
    scope->start(nest(waitForValue(async::OneShot<int>(), innerEvents), outerEvents));
    settle();
    scope.reset();

    EXPECT_THAT(*innerEvents, ElementsAre(u"frame gone"));
    EXPECT_THAT(*outerEvents, ElementsAre(u"frame gone"));
}

TEST_F(TaskScopeTest, DestructionAfterACancelThatWasNotYetDeliveredIsSafe)
{
    const auto task = scope->start(waitForValue(async::OneShot<int>(), events));
    settle();
    task.cancel();
    scope.reset();
    settle();

    EXPECT_THAT(*events, ElementsAre(u"frame gone"));
    task.cancel();
}

Task<> destroyOwner(std::shared_ptr<std::unique_ptr<async::TaskScope>> owner, bool waitAfterwards,
                    Events events)
{
    const Trace frame(events);
    owner->reset();
    events->append(QStringLiteral("still running"));
    if (waitAfterwards) {
        co_await async::nextTurn();
        events->append(QStringLiteral("resumed"));
    }
}

class OwnScopeTest : public TaskScopeTest, public testing::WithParamInterface<bool> {};

TEST_P(OwnScopeTest, ATaskMayDestroyItsOwnScope)
{
    const auto owner = std::make_shared<std::unique_ptr<async::TaskScope>>(std::move(scope));
    (*owner)->start(destroyOwner(owner, GetParam(), events));
    turnFor(std::chrono::milliseconds(10));

    EXPECT_THAT(*events, ElementsAre(u"still running", u"frame gone"));
    EXPECT_FALSE(*owner);
}

INSTANTIATE_TEST_SUITE_P(EndingAtOnceOrAtTheNextWait, OwnScopeTest, testing::Bool());

Task<> destroyAnother(std::shared_ptr<std::unique_ptr<async::TaskScope>> other)
{
    other->reset();
    co_return;
}

TEST_F(TaskScopeTest, ATaskMayDestroyTheScopeOfAnother)
{
    const auto other =
        std::make_shared<std::unique_ptr<async::TaskScope>>(std::make_unique<async::TaskScope>());
    (*other)->start(waitForValue(async::OneShot<int>(), events));
    settle();
    scope->start(destroyAnother(other));
    settle();

    EXPECT_THAT(*events, ElementsAre(u"frame gone"));
}

Task<> increment(std::shared_ptr<int> number)
{
    ++*number;
    co_return;
}

TEST_F(TaskScopeTest, AFinishedTaskLetsGoOfItsParameters)
{
    const auto number = std::make_shared<int>(1);
    const auto task = scope->start(increment(number));
    settle();

    EXPECT_EQ(*number, 2);
    EXPECT_TRUE(task.isFinished());
    EXPECT_EQ(number.use_count(), 1);
}

Task<> startAnother(async::TaskScope* scope, Events events)
{
    scope->start(waitForTime(std::chrono::milliseconds(0), events));
    events->append(QStringLiteral("started"));
    co_return;
}

TEST_F(TaskScopeTest, ATaskMayStartAnotherInItsOwnScope)
{
    scope->start(startAnother(scope.get(), events));
    ASSERT_TRUE(turnUntil([this] { return !scope->isBusy(); }));

    EXPECT_THAT(*events, ElementsAre(u"started", u"resumed", u"frame gone"));
}

TEST_F(TaskScopeTest, DetachedTasksRunToTheirEnd)
{
    const async::OneShot<int> source;
    async::detachedTasks().start(waitForValue(source, events));
    settle();
    source.resolve(1);
    settle();

    EXPECT_THAT(*events, ElementsAre(u"resumed", u"frame gone"));
}

Task<> compute(std::shared_ptr<std::thread::id> worker, Events events)
{
    auto function = [worker] {
        *worker = std::this_thread::get_id();
        return 42;
    };
    const int value = co_await async::onWorker(std::move(function));
    events->append(QString::number(value));
}

TEST_F(TaskScopeTest, AWorkerComputesElsewhereAndTheTaskResumesHere)
{
    const auto worker = std::make_shared<std::thread::id>();
    scope->start(compute(worker, events));
    ASSERT_TRUE(turnUntil([this] { return !events->isEmpty(); }));

    EXPECT_THAT(*events, ElementsAre(u"42"));
    EXPECT_NE(*worker, std::this_thread::get_id());
}

Task<> computeAfter(std::shared_future<void> gate, std::shared_ptr<std::atomic<bool>> computed, Events events)
{
    const Trace frame(events);
    auto function = [gate, computed] {
        gate.wait();
        return computed->exchange(true);
    };
    co_await async::onWorker(std::move(function));
    events->append(QStringLiteral("resumed"));
}

TEST_F(TaskScopeTest, AResultOfAWorkerWhoseTaskIsGoneIsDropped)
{
    std::promise<void> gate;
    const auto computed = std::make_shared<std::atomic<bool>>(false);
    scope->start(computeAfter(gate.get_future().share(), computed, events));
    settle();
    scope.reset();
    gate.set_value();
    ASSERT_TRUE(turnUntil([&] { return computed->load(); }));
    settle();

    EXPECT_THAT(*events, ElementsAre(u"frame gone"));
}

TEST_F(TaskScopeTest, ATaskThatWaitsForAWorkerCanBeCancelled)
{
    std::promise<void> gate;
    const auto computed = std::make_shared<std::atomic<bool>>(false);
    const auto task = scope->start(computeAfter(gate.get_future().share(), computed, events));
    settle();
    task.cancel();
    settle();
    EXPECT_THAT(*events, ElementsAre(u"frame gone"));
    EXPECT_TRUE(task.isFinished());
    gate.set_value();
    ASSERT_TRUE(turnUntil([&] { return computed->load(); }));
}

TEST_F(TaskScopeTest, OnlyTheFirstValueOfAOneShotCounts)
{
    const async::OneShot<int> source;
    std::thread([source] {
        source.resolve(1);
        source.resolve(2);
    }).join();
    const auto take = [](async::OneShot<int> from, Events to) -> Task<> {
        to->append(QString::number(co_await from.value()));
    };
    scope->start(take(source, events));
    settle();

    EXPECT_THAT(*events, ElementsAre(u"1"));
}

} // namespace
} // namespace velmo
