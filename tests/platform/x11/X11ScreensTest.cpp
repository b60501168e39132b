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

/// A panel that reserves the bottom of the west monitor.
class BottomPanel : public PlainClient {
public:
    BottomPanel()
        : PlainClient([] {
            Options options;
            options.area = QRect(0, 1040, 1000, 40);
            return options;
        }())
    {
        const std::array<uint32_t, 12> strut{0, 0, 0, 40, 0, 0, 0, 0, 0, 0, 0, 999};
        xcb_change_property(connection().get(), XCB_PROP_MODE_REPLACE, window(),
                            connection().atom("_NET_WM_STRUT_PARTIAL"), XCB_ATOM_CARDINAL, 32, 12,
                            strut.data());
        connection().sync();
    }
};

class X11ScreensTest : public testing::Test {
protected:
    ~X11ScreensTest() override { display().stopWindowManager(); }

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
    const auto all = screens_.all();
    EXPECT_EQ(all[0].visibleFrame, (ScreenRect{0, 40, 1000, 1040}));
    EXPECT_EQ(all[1].visibleFrame, all[1].frame);
}

} // namespace
} // namespace velmo::test
