#include "core/async/Channel.h"
#include "core/async/TaskScope.h"
#include "support/core/EventLoop.h"
#include "support/core/Printing.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <numeric>
#include <thread>

namespace velmo {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using NumberChannel = async::Channel<int, QString>;

struct Received {
    std::vector<std::vector<int>> batches;
    bool ended = false;
    std::optional<QString> error;

    [[nodiscard]] std::vector<int> all() const
    {
        std::vector<int> values;
        for (const auto& batch : batches)
            values.insert(values.end(), batch.begin(), batch.end());
        return values;
    }
};

async::Task<> readAll(NumberChannel::Reader reader, std::shared_ptr<Received> received)
{
    while (true) {
        auto batch = co_await reader.nextBatch();
        if (batch.empty())
            break;
        received->batches.push_back(std::move(batch));
    }
    received->ended = true;
    received->error = reader.error();
}

class ChannelTest : public testing::Test {
protected:
    ChannelTest()
        : ChannelTest(NumberChannel::open())
    {}

    void startReading() { scope.start(readAll(std::move(reader), received)); }

    const std::shared_ptr<Received> received = std::make_shared<Received>();
    NumberChannel::Writer writer;
    NumberChannel::Reader reader;
    async::TaskScope scope;

private:
    explicit ChannelTest(std::pair<NumberChannel::Writer, NumberChannel::Reader> ends)
        : writer(std::move(ends.first))
        , reader(std::move(ends.second))
    {}
};

TEST_F(ChannelTest, AllThatHasComeIsOneBatch)
{
    writer.push({1, 2});
    writer.push({3});
    startReading();
    settle();

    EXPECT_THAT(received->batches, ElementsAre(ElementsAre(1, 2, 3)));
    EXPECT_FALSE(received->ended);
}

TEST_F(ChannelTest, PushesOfOneTurnWakeAWaitingReaderOnce)
{
    startReading();
    settle();
    writer.push({1});
    writer.push({2, 3});
    settle();
    writer.push({4});
    settle();

    EXPECT_THAT(received->batches, ElementsAre(ElementsAre(1, 2, 3), ElementsAre(4)));
}

TEST_F(ChannelTest, AWakeUpForValuesThatWereTakenIsNotAnEnd)
{
    startReading();
    writer.push({1}); // Taken by the reader's first turn; the wake-up for it comes after that.
    settle();
    EXPECT_FALSE(received->ended);
    writer.push({2});
    settle();

    EXPECT_THAT(received->batches, ElementsAre(ElementsAre(1), ElementsAre(2)));
    EXPECT_FALSE(received->ended);
}

TEST_F(ChannelTest, TheEndComesAfterTheLastValues)
{
    startReading();
    settle();
    writer.push({1});
    writer.finish();
    settle();

    EXPECT_THAT(received->all(), ElementsAre(1));
    EXPECT_TRUE(received->ended);
    EXPECT_FALSE(received->error);
}

TEST_F(ChannelTest, AnErrorComesAfterTheLastValues)
{
    writer.push({1, 2});
    writer.fail(QStringLiteral("broken"));
    startReading();
    settle();

    EXPECT_THAT(received->all(), ElementsAre(1, 2));
    EXPECT_TRUE(received->ended);
    EXPECT_EQ(received->error, QStringLiteral("broken"));
}

TEST_F(ChannelTest, NothingCountsAfterTheEnd)
{
    writer.finish();
    writer.push({1});
    writer.fail(QStringLiteral("late"));
    startReading();
    settle();

    EXPECT_THAT(received->batches, IsEmpty());
    EXPECT_TRUE(received->ended);
    EXPECT_FALSE(received->error);
}

TEST_F(ChannelTest, AnEmptyPushIsNotAnEnd)
{
    startReading();
    settle();
    writer.push({});
    settle();
    EXPECT_FALSE(received->ended);
    writer.push({1});
    settle();

    EXPECT_THAT(received->all(), ElementsAre(1));
}

TEST_F(ChannelTest, ValuesOfAnotherThreadArriveInOrder)
{
    constexpr int kValues = 20'000;
    startReading();
    std::thread thread([copy = writer] {
        for (int value = 0; value < kValues; ++value)
            copy.push({value});
        copy.finish();
    });
    const bool ended = turnUntil([this] { return received->ended; });
    thread.join();
    ASSERT_TRUE(ended);

    std::vector<int> expected(kValues);
    std::iota(expected.begin(), expected.end(), 0);
    EXPECT_EQ(received->all(), expected);
}

TEST_F(ChannelTest, ValuesForAReaderThatIsGoneAreNotKept)
{
    using SharedChannel = async::Channel<std::shared_ptr<int>, QString>;
    const auto value = std::make_shared<int>(1);
    auto [sharedWriter, sharedReader] = SharedChannel::open();
    sharedWriter.push({value});
    EXPECT_EQ(value.use_count(), 2);
    {
        const auto dropped = std::move(sharedReader);
    }
    EXPECT_EQ(value.use_count(), 1);
    sharedWriter.push({value});
    EXPECT_EQ(value.use_count(), 1);
}

/// Reads on, and writes once itself while it is busy with its first batch, as another thread may at that
/// moment.
async::Task<> readAllAndWriteMeanwhile(NumberChannel::Reader reader, NumberChannel::Writer writer,
                                       std::shared_ptr<Received> received)
{
    while (true) {
        auto batch = co_await reader.nextBatch();
        if (batch.empty())
            break;
        received->batches.push_back(std::move(batch));
        if (received->batches.size() == 1)
            writer.push({2});
    }
    received->ended = true;
}

TEST_F(ChannelTest, WhatCameWhileTheReaderWasBusyIsNotTakenForTheEnd)
{
    scope.start(readAllAndWriteMeanwhile(std::move(reader), writer, received));
    settle();
    writer.push({1});
    settle();
    EXPECT_THAT(received->batches, ElementsAre(ElementsAre(1), ElementsAre(2)));
    EXPECT_FALSE(received->ended);
    writer.push({3});
    settle();
    EXPECT_THAT(received->all(), ElementsAre(1, 2, 3));
}

async::Task<> readOneBatch(std::shared_ptr<NumberChannel::Reader> reader, std::shared_ptr<Received> received)
{
    received->batches.push_back(co_await reader->nextBatch());
}

TEST_F(ChannelTest, WhatACancelledReaderDidNotTakeWaitsForTheNext)
{
    const auto shared = std::make_shared<NumberChannel::Reader>(std::move(reader));
    const auto task = scope.start(readOneBatch(shared, received));
    settle();
    writer.push({1});
    task.cancel();
    settle();
    EXPECT_THAT(received->batches, IsEmpty());
    scope.start(readOneBatch(shared, received));
    settle();

    EXPECT_THAT(received->batches, ElementsAre(ElementsAre(1)));
}

} // namespace
} // namespace velmo
