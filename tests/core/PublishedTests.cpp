#include "core/Published.h"
#include "support/core/EventLoop.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velmo {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(PublishedTest, ObserversGetTheNewValueWhileTheOldOneIsVisible)
{
    Published<int> value(1);
    std::vector<std::pair<int, int>> told;
    const auto subscription = value.subscribe([&](int next) { told.emplace_back(value.value(), next); });
    value.set(2);
    value.set(3);

    EXPECT_THAT(told, ElementsAre(std::pair(1, 2), std::pair(2, 3)));
    EXPECT_EQ(value.value(), 3);
}

TEST(PublishedTest, AnEqualValueIsToldToo)
{
    Published<int> value(1);
    int told = 0;
    const auto subscription = value.subscribe([&told](int) { ++told; });
    value.set(1);

    EXPECT_EQ(told, 1);
}

TEST(PublishedTest, SubscribingTellsNothing)
{
    const Published<int> value(1);
    int told = 0;
    const auto subscription = value.subscribe([&told](int) { ++told; });

    EXPECT_EQ(told, 0);
}

TEST(PublishedTest, ASubscriptionEndsWithItsDestruction)
{
    Published<int> value;
    int told = 0;
    {
        const auto subscription = value.subscribe([&told](int) { ++told; });
        EXPECT_TRUE(subscription.isActive());
        value.set(1);
    }
    value.set(2);

    EXPECT_EQ(told, 1);
}

TEST(PublishedTest, ASubscriptionCanBeCancelled)
{
    Published<int> value;
    int told = 0;
    auto subscription = value.subscribe([&told](int) { ++told; });
    subscription.cancel();
    EXPECT_FALSE(subscription.isActive());
    value.set(1);

    EXPECT_EQ(told, 0);
}

TEST(PublishedTest, AnObserverThatLeavesDuringANotificationIsNotToldAnyMore)
{
    Published<int> value;
    std::vector<int> told;
    Subscription second;
    const auto first = value.subscribe([&](int) {
        told.push_back(1);
        second.cancel();
    });
    second = value.subscribe([&](int) { told.push_back(2); });
    value.set(1);

    EXPECT_THAT(told, ElementsAre(1));
}

TEST(PublishedTest, AnObserverMayEndItsOwnSubscription)
{
    Published<int> value;
    Subscription own;
    const auto state = std::make_shared<int>(0);
    own = value.subscribe([&own, state](int next) {
        own.cancel();
        *state = next; // What it holds must live as long as it runs.
    });
    value.set(5);
    value.set(6);

    EXPECT_EQ(*state, 5);
    EXPECT_EQ(state.use_count(), 1);
}

TEST(PublishedTest, AnObserverThatComesDuringANotificationHearsOfTheNext)
{
    Published<int> value;
    std::vector<int> told;
    std::vector<Subscription> later;
    const auto first = value.subscribe([&](int) {
        if (later.empty())
            later.push_back(value.subscribe([&told](int next) { told.push_back(next); }));
    });
    value.set(1);
    EXPECT_THAT(told, IsEmpty());
    value.set(2);

    EXPECT_THAT(told, ElementsAre(2));
}

TEST(PublishedTest, ASubscriptionMayOutliveItsValue)
{
    auto value = std::make_unique<Published<int>>();
    int told = 0;
    auto subscription = value->subscribe([&told](int) { ++told; });
    value.reset();
    subscription.cancel();

    EXPECT_EQ(told, 0);
}

TEST(LaterRefreshTest, RunsOnceForAllTheChangesOfATurn)
{
    QObject view;
    int refreshes = 0;
    const LaterRefresh later(&view, [&refreshes] { ++refreshes; });
    later.request();
    later.request();
    EXPECT_EQ(refreshes, 0);
    settle();
    EXPECT_EQ(refreshes, 1);
    later.request();
    settle();

    EXPECT_EQ(refreshes, 2);
}

TEST(LaterRefreshTest, SeesTheLatestState)
{
    QObject view;
    Published<int> value(1);
    int shown = 0;
    const LaterRefresh later(&view, [&] { shown = value.value(); });
    const auto subscription = value.subscribe([&later](int) { later.request(); });
    value.set(2);
    value.set(3);
    settle();

    EXPECT_EQ(shown, 3);
}

TEST(LaterRefreshTest, NeverRunsAfterItsViewIsGone)
{
    auto view = std::make_unique<QObject>();
    int refreshes = 0;
    const LaterRefresh later(view.get(), [&refreshes] { ++refreshes; });
    later.request();
    view.reset();
    later.request();
    settle();

    EXPECT_EQ(refreshes, 0);
}

TEST(LaterRefreshTest, CanBeCalledOff)
{
    QObject view;
    int refreshes = 0;
    const LaterRefresh later(&view, [&refreshes] { ++refreshes; });
    later.request();
    later.cancel();
    settle();
    later.request();
    settle();
    EXPECT_EQ(refreshes, 0);
}

TEST(LaterRefreshTest, ARefreshMayAskForAnother)
{
    QObject view;
    int refreshes = 0;
    std::optional<LaterRefresh> later;
    later.emplace(&view, [&] {
        if (++refreshes < 3)
            later->request();
    });
    later->request();
    settle();

    EXPECT_EQ(refreshes, 3);
}

} // namespace
} // namespace velmo
