#include "core/async/SerialQueue.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <array>
#include <atomic>
#include <future>
#include <numeric>
#include <vector>

namespace velmo {
namespace {

using testing::ElementsAre;

TEST(SerialQueueTest, RunsFunctionsInTheirOrder)
{
    async::SerialQueue queue("test");
    std::vector<int> seen;
    constexpr int kFunctions = 1000;
    for (int number = 0; number < kFunctions; ++number)
        queue.async([&seen, number] { seen.push_back(number); });
    queue.sync([] {});

    std::vector<int> expected(kFunctions);
    std::iota(expected.begin(), expected.end(), 0);
    EXPECT_EQ(seen, expected);
}

TEST(SerialQueueTest, RunsOneFunctionAtATimeForManyThreads)
{
    async::SerialQueue queue("test");
    std::atomic<int> running = 0;
    std::atomic<bool> overlapped = false;
    int sum = 0; // Unguarded on purpose: the queue is the guard.
    std::vector<std::thread> threads;
    constexpr int kThreads = 8;
    constexpr int kFunctions = 200;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([&] {
            for (int number = 0; number < kFunctions; ++number) {
                queue.async([&] {
                    if (++running != 1)
                        overlapped = true;
                    ++sum;
                    --running;
                });
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    queue.sync([] {});

    EXPECT_FALSE(overlapped);
    EXPECT_EQ(sum, kThreads * kFunctions);
}

TEST(SerialQueueTest, SyncWaitsForAllThatCameBefore)
{
    async::SerialQueue queue("test");
    std::vector<int> seen;
    std::promise<void> gate;
    queue.async([&] {
        gate.get_future().wait();
        seen.push_back(1);
    });
    gate.set_value();
    queue.sync([&seen] { seen.push_back(2); });

    EXPECT_THAT(seen, ElementsAre(1, 2));
}

TEST(SerialQueueTest, RunsElsewhere)
{
    async::SerialQueue queue("test");
    std::thread::id id;
    queue.sync([&id] { id = std::this_thread::get_id(); });

    EXPECT_NE(id, std::thread::id());
    EXPECT_NE(id, std::this_thread::get_id());
}

TEST(SerialQueueTest, DestructionRunsWhatIsQueued)
{
    int count = 0;
    {
        async::SerialQueue queue("test");
        for (int number = 0; number < 100; ++number)
            queue.async([&count] { ++count; });
    }
    EXPECT_EQ(count, 100);
}

TEST(SerialQueueTest, DestructionOfAnUnusedQueueDoesNotWait)
{
    const auto queue = std::make_unique<async::SerialQueue>("a label that is longer than the kernel keeps");
    EXPECT_EQ(queue->label(), "a label that is longer than the kernel keeps");
}

TEST(SerialQueueTest, AFunctionMayQueueAnother)
{
    std::vector<int> seen;
    {
        async::SerialQueue queue("test");
        queue.async([&] {
            queue.async([&seen] { seen.push_back(2); });
            seen.push_back(1);
        });
    }
    EXPECT_THAT(seen, ElementsAre(1, 2));
}

TEST(SerialQueueTest, ItsThreadCarriesTheBeginningOfTheLabel)
{
    async::SerialQueue queue("app.velmo.Velmo.debuglog");
    std::array<char, 64> name{};
    queue.sync([&name] { pthread_getname_np(pthread_self(), name.data(), name.size()); });

    EXPECT_STREQ(name.data(), "app.velmo.Velmo");
}

} // namespace
} // namespace velmo
