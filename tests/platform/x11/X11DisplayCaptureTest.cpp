#include "platform/x11/X11DisplayCapture.h"

#include "CaptureScene.h"
#include "core/Identity.h"
#include "platform/x11/X11Monitors.h"
#include "platform/x11/X11Platform.h"
#include "platform/x11/X11ReadablePixmap.h"
#include "support/x11/Await.h"
#include "support/x11/RootBackground.h"
#include "support/x11/SplitMonitors.h"
#include "support/x11/VirtualDisplay.h"

#include <future>
#include <gtest/gtest.h>

namespace velmo::test {
namespace {

class X11DisplayCaptureTest : public testing::Test {
protected:
    ~X11DisplayCaptureTest() override
    {
        platform_.displayCapture->release();
        display().stopCompositor();
        display().stopWindowManager();
    }

    [[nodiscard]] quint32 displayID() const { return platform_.screens->main()->displayID.value_or(0); }

    [[nodiscard]] QImage screenNow() const { return readRootImage(*eye_, QRect(0, 0, 1920, 1080)); }

    /// The screen once it no longer changes: window managers and compositors paint when they come to it.
    [[nodiscard]] QImage settledScreen() const
    {
        QImage last = screenNow();
        int calm = 0;
        awaitCondition([&] {
            const QImage now = screenNow();
            calm = differingPixels(now, last) == 0 ? calm + 1 : 0;
            last = now;
            return calm >= 15;
        });
        return last;
    }

    /// On a worker thread, as the program does it.
    [[nodiscard]] QImage capture()
    {
        auto result = std::async(std::launch::async, [this] {
                          return platform_.displayCapture->captureDisplay(displayID_, CaptureMoment::Now);
                      }).get();
        EXPECT_TRUE(result.hasValue()) << (result ? "" : result.error().description.toStdString());
        return result ? result.value() : QImage();
    }

    /// Shows our windows over what is there and expects the capture to be the screen from before.
    void expectCaptureWithoutOwnWindows()
    {
        const QImage before = settledScreen();
        platform_.displayCapture->prepare();
        EXPECT_EQ(differingPixels(settledScreen(), before), 0) << "preparing must not be seen";

        const FloatingWidget overlay(QRect(0, 0, 1920, 1080), QColor(0, 40, 0, 60));
        const FloatingWidget panel(QRect(650, 300, 620, 400), QColor(17, 17, 21, 255));
        ASSERT_TRUE(awaitCondition([&] { return differingPixels(screenNow(), before) > 200'000; }));
        const QImage covered = settledScreen();

        for (int round = 0; round < 2; ++round) {
            const QImage image = capture();
            EXPECT_EQ(image.format(), QImage::Format_RGB32);
            EXPECT_EQ(differingPixels(image, before), 0);
        }
        EXPECT_EQ(differingPixels(settledScreen(), covered), 0) << "capturing must not be seen";
        EXPECT_EQ(platform_.displayCapture->takeDiagnostics(), QStringList());
    }

    X11Platform platform_ = X11Platform::create();
    quint32 displayID_ = displayID();
    std::unique_ptr<X11Connection> eye_ = X11Connection::open();
};

TEST_F(X11DisplayCaptureTest, ShowsTheScreenWithoutOwnWindows)
{
    const RootBackground background(RootBackground::Announced::No);
    const Scene scene;
    expectCaptureWithoutOwnWindows();
}

TEST_F(X11DisplayCaptureTest, ShowsABackgroundThatIsAnnounced)
{
    const RootBackground background(RootBackground::Announced::Yes);
    const Scene scene;
    expectCaptureWithoutOwnWindows();
}

TEST_F(X11DisplayCaptureTest, ShowsAnEmptyDesktop)
{
    expectCaptureWithoutOwnWindows();
}

TEST_F(X11DisplayCaptureTest, ShowsTheFramesOfAWindowManager)
{
    const RootBackground background(RootBackground::Announced::No);
    ASSERT_TRUE(display().startWindowManager());
    const Scene scene;
    expectCaptureWithoutOwnWindows();
}

TEST_F(X11DisplayCaptureTest, BlendsAsACompositorDoes)
{
    const RootBackground background(RootBackground::Announced::Yes);
    ASSERT_TRUE(display().startWindowManager());
    ASSERT_TRUE(display().startCompositor());
    const Scene scene;
    expectCaptureWithoutOwnWindows();
}

TEST_F(X11DisplayCaptureTest, ShowsWhatACompositorPaintsBelowAllWindows)
{
    ASSERT_TRUE(display().startCompositor());
    const PlainClient window(client({100, 80, 800, 600}, 0x204060));
    expectCaptureWithoutOwnWindows();
}

TEST_F(X11DisplayCaptureTest, HonoursTheOpacityThatAWindowAsksFor)
{
    const RootBackground background(RootBackground::Announced::Yes);
    ASSERT_TRUE(display().startCompositor());
    auto options = client({300, 200, 600, 400}, 0x804020);
    options.opacity = 0.5;
    options.bypassesManager = true;
    const PlainClient faint(options);
    const QImage before = settledScreen();
    platform_.displayCapture->prepare();
    const QImage image = capture();
    // Compositors round half-way values as they like.
    const QRgb expected = before.pixel(350, 590);
    const QRgb actual = image.pixel(350, 590);
    EXPECT_NEAR(qRed(actual), qRed(expected), 1);
    EXPECT_NEAR(qGreen(actual), qGreen(expected), 1);
    EXPECT_NEAR(qBlue(actual), qBlue(expected), 1);
    EXPECT_EQ(image.pixel(20, 20), before.pixel(20, 20));
}

TEST_F(X11DisplayCaptureTest, IgnoresOpacityWithoutACompositor)
{
    auto options = client({300, 200, 600, 400}, 0x804020);
    options.opacity = 0.5;
    const PlainClient faint(options);
    expectCaptureWithoutOwnWindows();
}

TEST_F(X11DisplayCaptureTest, FollowsWindowsThatMoveWhileOursCoverThem)
{
    const RootBackground background(RootBackground::Announced::No);
    PlainClient window(client({100, 80, 800, 600}, 0x204060));
    platform_.displayCapture->prepare();
    auto overlay = std::make_unique<FloatingWidget>(QRect(0, 0, 1920, 1080), QColor(0, 40, 0, 255));
    static_cast<void>(settledScreen());
    const std::array<uint32_t, 2> place{500, 300};
    xcb_configure_window(window.connection().get(), window.window(),
                         XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y, place.data());
    window.connection().sync();
    const QImage image = capture();
    overlay.reset();
    EXPECT_EQ(differingPixels(image, settledScreen()), 0);
}

TEST_F(X11DisplayCaptureTest, LeavesOutManagedWindowsWithTheirFrames)
{
    ASSERT_TRUE(display().startWindowManager());
    const PlainClient window(client({100, 80, 800, 600}, 0x204060));
    const QImage before = settledScreen();
    platform_.displayCapture->prepare();
    QWidget settings;
    settings.setGeometry(1000, 200, 500, 400);
    settings.show();
    PlainClient::Options second = client({1000, 650, 500, 300}, 0x306030);
    second.windowClass = QByteArray(kApplicationIdentifier) + '\0' + "Other" + '\0';
    const PlainClient secondCopy(second);
    ASSERT_TRUE(awaitCondition([&] { return differingPixels(screenNow(), before) > 200'000; }));
    static_cast<void>(settledScreen());
    // Title bars show which window is active, and ours is now.
    const QImage image = capture();
    EXPECT_EQ(differingPixels(image.copy(950, 0, 970, 1080), before.copy(950, 0, 970, 1080)), 0);
    EXPECT_EQ(differingPixels(image.copy(110, 100, 780, 500), before.copy(110, 100, 780, 500)), 0);
}

TEST_F(X11DisplayCaptureTest, KeepsWindowsWhoseClassOnlyLooksLikeOurs)
{
    auto options = client({100, 80, 800, 600}, 0x204060);
    options.windowClass = QByteArray("APP.velmo.Velmo") + '\0' + "app.velmo.Velmo2" + '\0';
    const PlainClient window(options);
    expectCaptureWithoutOwnWindows();
}

TEST_F(X11DisplayCaptureTest, TellsThatAnUnpreparedCaptureShowsEverything)
{
    const PlainClient window(client({100, 80, 800, 600}, 0x204060));
    const QImage before = settledScreen();
    EXPECT_EQ(differingPixels(capture(), before), 0);
    const auto diagnostics = platform_.displayCapture->takeDiagnostics();
    ASSERT_EQ(diagnostics.size(), 1);
    EXPECT_TRUE(diagnostics.front().contains(QStringLiteral("not prepared")));
    EXPECT_TRUE(platform_.displayCapture->takeDiagnostics().isEmpty());
}

TEST_F(X11DisplayCaptureTest, CapturesOneMonitorOfSeveral)
{
    const RootBackground background(RootBackground::Announced::No);
    const Scene scene;
    const SplitMonitors monitors;
    ASSERT_EQ(readMonitors(eye_->get(), eye_->root()).size(), 2U);
    const QImage before = settledScreen();
    platform_.displayCapture->prepare();
    const FloatingWidget overlay(QRect(0, 0, 1920, 1080), QColor(0, 40, 0, 255));
    static_cast<void>(settledScreen());
    for (const auto& [name, area] : {std::pair{monitors.west(), SplitMonitors::kWest},
                                     std::pair{monitors.east(), SplitMonitors::kEast}}) {
        displayID_ = name;
        EXPECT_EQ(differingPixels(capture(), before.copy(area)), 0);
    }
}

TEST_F(X11DisplayCaptureTest, ListsDisplaysInPointsAndCountsWindows)
{
    auto empty = platform_.displayCapture->shareableContent();
    ASSERT_TRUE(empty);
    const Scene scene;
    platform_.displayCapture->setScaleSource([this] { return std::vector{DisplayScale{displayID_, 1.7}}; });
    auto content = platform_.displayCapture->shareableContent();
    ASSERT_TRUE(content);
    ASSERT_EQ(content.value().displays.size(), 1U);
    EXPECT_EQ(content.value().displays.front().id, displayID_);
    EXPECT_EQ(content.value().displays.front().width, 1129);
    EXPECT_EQ(content.value().displays.front().height, 635);
    EXPECT_EQ(content.value().windowCount, empty.value().windowCount + 6);
}

TEST_F(X11DisplayCaptureTest, FailsForADisplayThatIsNotThere)
{
    auto result = platform_.displayCapture->captureDisplay(0xffffff, CaptureMoment::Now);
    ASSERT_FALSE(result);
    EXPECT_EQ(result.error().kind, PlatformError::Kind::Failed);
}

TEST_F(X11DisplayCaptureTest, FallsBackToThePlainScreenWithoutTheExtensions)
{
    VirtualDisplay::Options options;
    options.arguments = {"-extension", "RENDER"};
    const VirtualDisplay poor(options);
    ASSERT_FALSE(poor.name().isEmpty());
    X11DisplayCapture capture;
    capture.prepare();
    auto content = capture.shareableContent();
    ASSERT_TRUE(content);
    auto image = capture.captureDisplay(content.value().displays.front().id, CaptureMoment::Now);
    ASSERT_TRUE(image);
    EXPECT_EQ(image.value().size(), QSize(1920, 1080));
    EXPECT_EQ(capture.takeDiagnostics().size(), 1);
    capture.release();
}

TEST_F(X11DisplayCaptureTest, CapturesOtherDepthsAndWithoutSharedMemory)
{
    VirtualDisplay::Options shallow;
    shallow.screen = "800x600x16";
    VirtualDisplay::Options deep;
    deep.screen = "800x600x30";
    VirtualDisplay::Options remote;
    remote.screen = "800x600x24";
    remote.arguments = {"-extension", "MIT-SHM"};
    for (const auto& options : {shallow, deep, remote}) {
        SCOPED_TRACE((options.screen + ' ' + options.arguments.join(' ')).toStdString());
        const VirtualDisplay other(options);
        ASSERT_FALSE(other.name().isEmpty());
        const RootBackground background(RootBackground::Announced::No);
        const PlainClient window(client({50, 50, 300, 300}, 0x1234));
        const auto eye = X11Connection::open();
        const QImage before = readRootImage(*eye, QRect(0, 0, 800, 600));
        ASSERT_FALSE(before.isNull());
        X11DisplayCapture capture;
        capture.prepare();
        auto content = capture.shareableContent();
        ASSERT_TRUE(content);
        auto image = capture.captureDisplay(content.value().displays.front().id, CaptureMoment::Now);
        ASSERT_TRUE(image);
        EXPECT_EQ(differingPixels(image.value(), before), 0);
        capture.release();
    }
}

} // namespace
} // namespace velmo::test
