#include "platform/x11/X11Screens.h"

#include "platform/x11/X11Monitors.h"
#include "support/x11/Await.h"
#include "support/x11/PlainClient.h"
#include "support/x11/SplitMonitors.h"
#include "support/x11/VirtualDisplay.h"

#include <array>
#include <gtest/gtest.h>

namespace velmo::test {
namespace {

/// A panel along the bottom of the west monitor, which it reserves by that property.
class BottomPanel : public PlainClient {
public:
    explicit BottomPanel(const char* property = "_NET_WM_STRUT_PARTIAL", const Options& options = panel(),
                         uint32_t depth = 40)
        : PlainClient(options)
    {
        const std::array<uint32_t, 12> strut{0, 0, 0, depth, 0, 0, 0, 0, 0, 0, 0, 999};
        const bool isPartial = QByteArrayView(property).endsWith("_PARTIAL");
        xcb_change_property(connection().get(), XCB_PROP_MODE_REPLACE, window(), connection().atom(property),
                            XCB_ATOM_CARDINAL, 32, isPartial ? 12 : 4, strut.data());
        connection().sync();
    }

    [[nodiscard]] static Options panel()
    {
        Options options;
        options.area = QRect(0, 1040, 1000, 40);
        return options;
    }

    void hide()
    {
        xcb_unmap_window(connection().get(), window());
        connection().sync();
    }
};

class X11ScreensTest : public testing::Test {
protected:
    ~X11ScreensTest() override
    {
        display().stopWindowManager();
        // What it has published stays.
        const auto connection = X11Connection::open();
        for (const char* property : {"_NET_WORKAREA", "_NET_SUPPORTED", "_NET_SUPPORTING_WM_CHECK"})
            xcb_delete_property(connection->get(), connection->root(), connection->atom(property));
        connection->sync();
    }

    static void publish(X11Connection& connection, xcb_window_t window, const char* property,
                        const std::vector<quint32>& numbers)
    {
        xcb_change_property(connection.get(), XCB_PROP_MODE_REPLACE, window, connection.atom(property),
                            XCB_ATOM_CARDINAL, 32, static_cast<uint32_t>(numbers.size()), numbers.data());
        connection.sync();
    }

    /// What is left of the one, and that the other is whole.
    void expectWest(const ScreenRect& visible)
    {
        const auto all = screens_.all();
        ASSERT_EQ(all.size(), 2U);
        EXPECT_EQ(all[0].visibleFrame, visible);
        EXPECT_EQ(all[1].visibleFrame, all[1].frame);
    }
    void expectEast(const ScreenRect& visible)
    {
        const auto all = screens_.all();
        ASSERT_EQ(all.size(), 2U);
        EXPECT_EQ(all[0].visibleFrame, all[0].frame);
        EXPECT_EQ(all[1].visibleFrame, visible);
    }

    X11Screens screens_;
};

TEST_F(X11ScreensTest, DescribesASingleScreen)
{
    const auto all = screens_.all();
    ASSERT_EQ(all.size(), 1U);
    EXPECT_EQ(all.front().frame, (ScreenRect{0, 0, 1920, 1080}));
    EXPECT_EQ(all.front().nativeFrame, (PixelRect{0, 0, 1920, 1080}));
    EXPECT_EQ(all.front().scale, 1);
    const auto connection = X11Connection::open();
    const auto monitors = readMonitors(connection->get(), connection->root());
    ASSERT_EQ(monitors.size(), 1U);
    EXPECT_EQ(all.front().displayID, monitors.front().id);
    EXPECT_EQ(screens_.main()->name, all.front().name);
}

TEST_F(X11ScreensTest, CountsUpwardsFromTheBottomOfTheMainScreen)
{
    const SplitMonitors monitors;
    ASSERT_TRUE(monitors.awaitToolkit());
    const auto all = screens_.all();
    ASSERT_EQ(all.size(), 2U);
    EXPECT_EQ(screens_.main()->name, QStringLiteral("west"));
    EXPECT_EQ(all[0].displayID, monitors.west());
    EXPECT_EQ(all[1].displayID, monitors.east());
    EXPECT_EQ(all[0].frame, (ScreenRect{0, 0, 1000, 1080}));
    EXPECT_EQ(all[1].frame, (ScreenRect{1000, 80, 920, 800}));
    EXPECT_EQ(all[1].nativeFrame, (PixelRect{1000, 200, 920, 800}));
}

TEST_F(X11ScreensTest, TakesAPanelOffItsOwnScreenOnly)
{
    const SplitMonitors monitors;
    ASSERT_TRUE(monitors.awaitToolkit());
    ASSERT_TRUE(display().startWindowManager());
    const BottomPanel panel;
    EXPECT_TRUE(awaitCondition([this] { return screens_.all()[0].visibleFrame.y > 0; }));
    expectWest({0, 40, 1000, 1040});
}

TEST_F(X11ScreensTest, TakesAPanelOffWhereNoWorkAreaIsPublished)
{
    for (const char* property : {"_NET_WM_STRUT_PARTIAL", "_NET_WM_STRUT"}) {
        BottomPanel panel(property);
        EXPECT_EQ(screens_.main()->visibleFrame, (ScreenRect{0, 40, 1920, 1040})) << property;
        panel.hide();
        EXPECT_EQ(screens_.main()->visibleFrame, (ScreenRect{0, 0, 1920, 1080})) << property;
    }
}

TEST_F(X11ScreensTest, TakesAPanelOffItsOwnScreenOnlyWhereNoWorkAreaIsPublished)
{
    const SplitMonitors monitors;
    ASSERT_TRUE(monitors.awaitToolkit());
    const BottomPanel panel;
    expectWest({0, 40, 1000, 1040});
}

TEST_F(X11ScreensTest, APanelBetweenTwoScreensIsOnOneOfThemOnly)
{
    const SplitMonitors monitors;
    ASSERT_TRUE(monitors.awaitToolkit());
    PlainClient::Options options;
    options.area = {1000, 200, 40, 800};
    PlainClient panel(options);
    // Depths are counted from the desktop's edge, across the other screen.
    publish(panel.connection(), panel.window(), "_NET_WM_STRUT_PARTIAL",
            {1040, 0, 0, 0, 200, 999, 0, 0, 0, 0, 0, 0});
    expectEast({1040, 80, 880, 800});
}

TEST_F(X11ScreensTest, TakesAPanelOffThatIsInAFrame)
{
    PlainClient::Options options;
    options.area = {0, 1000, 1920, 80};
    const PlainClient frame(options);
    BottomPanel panel;
    xcb_reparent_window(panel.connection().get(), panel.window(), frame.window(), 0, 40);
    panel.connection().sync();
    EXPECT_EQ(screens_.main()->visibleFrame, (ScreenRect{0, 40, 1920, 1040}));
}

TEST_F(X11ScreensTest, BelievesNoWorkAreaOfAWindowManagerThatIsGone)
{
    const auto former = X11Connection::open();
    // Without a list of windows, where a manager that publishes an area would have the panel.
    publish(*former, former->root(), "_NET_WORKAREA", {0, 0, 1920, 900});
    const BottomPanel panel;
    const ScreenRect expected{0, 40, 1920, 1040};
    EXPECT_EQ(screens_.main()->visibleFrame, expected);
    publish(*former, former->root(), "_NET_SUPPORTED", {former->atom("_NET_WORKAREA")});
    // A window that is not there, and one that does not say that it is a manager's.
    publish(*former, former->root(), "_NET_SUPPORTING_WM_CHECK", {0x7fffff});
    EXPECT_EQ(screens_.main()->visibleFrame, expected);
    const PlainClient other({});
    publish(*former, former->root(), "_NET_SUPPORTING_WM_CHECK", {other.window()});
    EXPECT_EQ(screens_.main()->visibleFrame, expected);
}

TEST_F(X11ScreensTest, BelievesNoWorkAreaThatTheWindowManagerDoesNotKeep)
{
    const auto former = X11Connection::open();
    publish(*former, former->root(), "_NET_WORKAREA", {0, 0, 1920, 900});
    PlainClient::Options options;
    options.area = {0, 0, 1, 1};
    PlainClient manager(options);
    for (const xcb_window_t window : {former->root(), manager.window()})
        publish(*former, window, "_NET_SUPPORTING_WM_CHECK", {manager.window()});
    const BottomPanel panel;
    publish(*former, former->root(), "_NET_SUPPORTED", {former->atom("_NET_CLIENT_LIST")});
    EXPECT_EQ(screens_.main()->visibleFrame, (ScreenRect{0, 40, 1920, 1040}));
    // One that does counts, and so does its list of windows, which has no panel here.
    publish(*former, former->root(), "_NET_SUPPORTED", {former->atom("_NET_WORKAREA")});
    EXPECT_TRUE(awaitCondition([this] {
        return screens_.main()->visibleFrame == ScreenRect{0, 180, 1920, 900};
    }));
}

TEST_F(X11ScreensTest, KeepsAnOldKindOfPanelOffTheOtherScreens)
{
    const SplitMonitors monitors;
    ASSERT_TRUE(monitors.awaitToolkit());
    const auto bottomOf = [](const QRect& monitor) {
        PlainClient::Options options;
        options.area = {monitor.x(), 980, monitor.width(), 100};
        return options;
    };
    {
        const BottomPanel panel("_NET_WM_STRUT", bottomOf(SplitMonitors::kWest), 100);
        expectWest({0, 100, 1000, 980});
    }
    const BottomPanel panel("_NET_WM_STRUT", bottomOf(SplitMonitors::kEast), 100);
    // That monitor ends 80 pixels above the desktop's edge.
    expectEast({1000, 100, 920, 780});
}

TEST_F(X11ScreensTest, TakesAShortPanelOffTheEdgeThatItClaims)
{
    PlainClient::Options options;
    options.area = {960, 1040, 20, 40};
    const BottomPanel panel("_NET_WM_STRUT", options);
    EXPECT_EQ(screens_.main()->visibleFrame, (ScreenRect{0, 40, 1920, 1040}));
}

} // namespace
} // namespace velmo::test
