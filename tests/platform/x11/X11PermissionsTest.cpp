#include "platform/x11/X11Permissions.h"

#include "platform/x11/X11Connection.h"
#include "support/x11/VirtualDisplay.h"
#include "support/x11/WaylandMonitor.h"

#include <chrono>
#include <future>
#include <gtest/gtest.h>
#include <optional>
#include <thread>

namespace velmo::test {
namespace {

TEST(X11PermissionsTest, GrantsWhatAnOrdinaryServerOffers)
{
    X11Permissions permissions;
    EXPECT_TRUE(permissions.accessibilityGranted());
    EXPECT_TRUE(permissions.screenRecordingGranted());
}

TEST(X11PermissionsTest, AnswersFastEnoughToBeAskedEverySecond)
{
    X11Permissions permissions;
    ASSERT_TRUE(permissions.accessibilityGranted());
    constexpr int kRounds = 200;
    const auto begin = std::chrono::steady_clock::now();
    for (int i = 0; i < kRounds; ++i)
        EXPECT_TRUE(permissions.accessibilityGranted() && permissions.screenRecordingGranted());
    const auto each = (std::chrono::steady_clock::now() - begin) / (2 * kRounds);
    RecordProperty("microseconds", static_cast<int>(each / std::chrono::microseconds(1)));
    EXPECT_LT(each, std::chrono::milliseconds(1));
}

TEST(X11PermissionsTest, DoesNotWaitForAServerThatIsOccupied)
{
    X11Permissions permissions;
    ASSERT_TRUE(permissions.screenRecordingGranted());
    const auto other = X11Connection::open();
    xcb_grab_server(other->get());
    other->sync();
    // Nothing that waits returns before the grab is over, which would be never.
    std::promise<void> answered;
    std::jthread guard([&other, answer = answered.get_future()] {
        answer.wait_for(std::chrono::seconds(10));
        xcb_ungrab_server(other->get());
        other->sync();
    });
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_TRUE(permissions.accessibilityGranted());
    EXPECT_TRUE(permissions.screenRecordingGranted());
    EXPECT_TRUE(permissions.screenRecordingGranted());
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(9));
    answered.set_value();
    guard.join();
    EXPECT_TRUE(permissions.screenRecordingGranted());
}

TEST(X11PermissionsTest, DeniesInputWithoutXtest)
{
    VirtualDisplay::Options options;
    options.arguments = {"-extension", "XTEST"};
    const VirtualDisplay poor(options);
    X11Permissions permissions;
    EXPECT_FALSE(permissions.accessibilityGranted());
    EXPECT_TRUE(permissions.screenRecordingGranted());
}

TEST(X11PermissionsTest, DeniesTheScreenOfAWaylandDesktop)
{
    const VirtualDisplay other;
    ASSERT_NE(nameMonitorLikeWayland(), xcb_atom_t{XCB_NONE});
    X11Permissions permissions;
    EXPECT_TRUE(permissions.accessibilityGranted());
    EXPECT_FALSE(permissions.screenRecordingGranted());
}

TEST(X11PermissionsTest, NoticesThatTheDisplayWentAndCameBack)
{
    X11Permissions permissions;
    {
        std::optional<VirtualDisplay> other(std::in_place);
        EXPECT_TRUE(permissions.accessibilityGranted());
        const QByteArray name = other->name();
        other.reset();
        const QByteArray before = qgetenv("DISPLAY");
        qputenv("DISPLAY", name);
        EXPECT_FALSE(permissions.accessibilityGranted());
        EXPECT_FALSE(permissions.screenRecordingGranted());
        qputenv("DISPLAY", before);
    }
    EXPECT_TRUE(permissions.accessibilityGranted());
    EXPECT_TRUE(permissions.screenRecordingGranted());
}

} // namespace
} // namespace velmo::test
