#include "platform/x11/X11DisplayCapture.h"

#include "CaptureFixture.h"
#include "core/Identity.h"
#include "support/x11/ChildProcess.h"
#include "support/x11/RootBackground.h"

#include <atomic>
#include <thread>

namespace velmo::test {
namespace {

/// What else runs on the desktop: window managers, compositing managers, programs of all kinds.
class X11DisplayCaptureDesktopsTest : public X11DisplayCaptureTest {
protected:
    [[nodiscard]] int windowCount()
    {
        auto content = backend().shareableContent();
        return content ? content.value().windowCount : 0;
    }

    /// Grabs the screen over and over while the backend works, none of our windows being shown.
    void expectNothingToFlicker()
    {
        const QImage before = settledScreen();
        std::atomic<bool> goesOn = true;
        std::atomic<int> frames = 0;
        std::atomic<int> wrong = 0;
        std::thread watcher([&] {
            const auto eye = X11Connection::open();
            while (goesOn) {
                if (differingPixels(readRootImage(*eye, QRect(0, 0, 1920, 1080)), before) != 0)
                    ++wrong;
                ++frames;
            }
        });
        // As many rounds as give every step a good chance to be seen.
        const bool wasWatched = awaitCondition(
            [&] {
                backend().prepare();
                backend().freeze(displayID_);
                static_cast<void>(backend().captureDisplay(displayID_, CaptureMoment::Frozen));
                static_cast<void>(backend().captureDisplay(displayID_, CaptureMoment::Now));
                backend().release();
                return frames >= 150;
            },
            std::chrono::seconds(60));
        goesOn = false;
        watcher.join();
        EXPECT_TRUE(wasWatched);
        EXPECT_EQ(wrong, 0) << "of " << frames << " frames";
    }
};

TEST_F(X11DisplayCaptureDesktopsTest, ShowsTheFramesOfAWindowManager)
{
    const RootBackground background(RootBackground::Announced::No);
    ASSERT_TRUE(display().startWindowManager());
    const Scene scene;
    const QImage before = settledScreen();
    backend().prepare();
    // Without a window that takes the keyboard: title bars show who has it.
    const FloatingWidget overlay(QRect(0, 0, 1920, 1080), QColor(0, 40, 0, 60));
    const FloatingWidget tools(QRect(760, 20, 400, 56), QColor(40, 40, 48, 220));
    ASSERT_TRUE(awaitCondition([&] { return differingPixels(screenNow(), before) > 200'000; }));
    static_cast<void>(settledScreen());
    EXPECT_EQ(differingPixels(capture(), before), 0);
}

TEST_F(X11DisplayCaptureDesktopsTest, LeavesOutManagedWindowsWithTheirFrames)
{
    ASSERT_TRUE(display().startWindowManager());
    const PlainClient window(client({100, 80, 800, 600}, 0x204060));
    const QImage before = settledScreen();
    backend().prepare();
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

TEST_F(X11DisplayCaptureDesktopsTest, BlendsAsACompositorDoes)
{
    const RootBackground background(RootBackground::Announced::Yes);
    ASSERT_TRUE(display().startCompositor());
    const Scene scene;
    expectCaptureWithoutOwnWindows();
}

TEST_F(X11DisplayCaptureDesktopsTest, BlendsTheFramesOfAWindowManager)
{
    const RootBackground background(RootBackground::Announced::Yes);
    ASSERT_TRUE(display().startWindowManager());
    ASSERT_TRUE(display().startCompositor());
    const Scene scene;
    const QImage before = settledScreen();
    backend().prepare();
    backend().freeze(displayID_);
    const OwnWindows own(*platform_.windowSurfaces);
    ASSERT_TRUE(own.isComplete());
    static_cast<void>(settledScreen());
    EXPECT_EQ(differingPixels(capture(CaptureMoment::Frozen), before), 0);
}

TEST_F(X11DisplayCaptureDesktopsTest, ShowsWhatACompositorPaintsBelowAllWindows)
{
    ASSERT_TRUE(display().startCompositor());
    const PlainClient window(client({100, 80, 800, 600}, 0x204060));
    expectCaptureWithoutOwnWindows();
}

TEST_F(X11DisplayCaptureDesktopsTest, HonoursTheOpacityThatAWindowAsksFor)
{
    const RootBackground background(RootBackground::Announced::Yes);
    ASSERT_TRUE(display().startCompositor());
    const Scene scene;
    auto options = client({300, 200, 600, 400}, 0x804020);
    options.opacity = 0.7;
    options.bypassesManager = true;
    const PlainClient faint(options);
    const QImage before = settledScreen();
    backend().prepare();
    const OwnWindows own(*platform_.windowSurfaces);
    ASSERT_TRUE(own.isComplete());
    static_cast<void>(settledScreen());
    // Compositors round half-way values as they like.
    EXPECT_LE(greatestDifference(capture(), before), 1);
}

TEST_F(X11DisplayCaptureDesktopsTest, IgnoresOpacityWithoutACompositor)
{
    auto options = client({300, 200, 600, 400}, 0x804020);
    options.opacity = 0.5;
    const PlainClient faint(options);
    expectCaptureWithoutOwnWindows();
}

TEST_F(X11DisplayCaptureDesktopsTest, FollowsACompositorThatBeginsMeanwhile)
{
    const RootBackground background(RootBackground::Announced::Yes);
    const Scene scene;
    backend().prepare();
    const QImage opaque = settledScreen();
    ASSERT_TRUE(display().startCompositor());
    ASSERT_TRUE(awaitCondition([&] { return differingPixels(screenNow(), opaque) > 10'000; }))
        << "the translucent window must become so";
    expectCaptureOfWhatIsBelow();
    EXPECT_EQ(backend().takeDiagnostics(), QStringList());
}

TEST_F(X11DisplayCaptureDesktopsTest, TellsThatItCannotKnowTheBackgroundOfALateCompositor)
{
    const RootBackground background(RootBackground::Announced::No);
    const PlainClient window(client({100, 80, 800, 600}, 0x204060));
    const QImage before = settledScreen();
    backend().prepare();
    ASSERT_TRUE(display().startCompositor());
    const FloatingWidget overlay(QRect(0, 0, 1920, 1080), QColor(0, 40, 0, 60));
    static_cast<void>(settledScreen());
    EXPECT_FALSE(backend().captureDisplay(displayID_, CaptureMoment::Now)) << "nothing invented";
    EXPECT_EQ(differingPixels(capture(CaptureMoment::Frozen), before), 0)
        << "the screen before our window came";
    const auto diagnostics = backend().takeDiagnostics();
    ASSERT_EQ(diagnostics.size(), 1);
    EXPECT_TRUE(diagnostics.front().contains(QStringLiteral("background")));
}

TEST_F(X11DisplayCaptureDesktopsTest, FollowsTheEndOfACompositor)
{
    const RootBackground background(RootBackground::Announced::No);
    const Scene scene;
    const QImage opaque = settledScreen();
    ASSERT_TRUE(display().startCompositor());
    ASSERT_TRUE(awaitCondition([&] { return differingPixels(screenNow(), opaque) > 10'000; }));
    backend().prepare();
    display().stopCompositor();
    ASSERT_EQ(differingPixels(settledScreen(), opaque), 0);
    expectCaptureOfWhatIsBelow();
    EXPECT_EQ(differingPixels(capture(), opaque), 0);
}

TEST_F(X11DisplayCaptureDesktopsTest, NeverFlickers)
{
    const RootBackground background(RootBackground::Announced::No);
    const Scene scene;
    expectNothingToFlicker();
}

TEST_F(X11DisplayCaptureDesktopsTest, NeverFlickersBesideACompositor)
{
    const RootBackground background(RootBackground::Announced::Yes);
    const Scene scene;
    ASSERT_TRUE(display().startCompositor());
    expectNothingToFlicker();
}

TEST_F(X11DisplayCaptureDesktopsTest, ShowsProgramsThatHang)
{
    const RootBackground background(RootBackground::Announced::No);
    const int windowsBefore = windowCount();
    ChildProcess desk({VELMO_DESK_EXECUTABLE});
    ASSERT_TRUE(awaitCondition([&] { return windowCount() > windowsBefore; }));
    const PlainClient front(client({400, 300, 300, 200}, 0x604020));
    static_cast<void>(settledScreen());
    backend().prepare();
    // Preparing asks it to paint what was covered, and it may be in the middle of that.
    static_cast<void>(settledScreen());
    desk.halt();
    expectCaptureWithoutOwnWindows();
}

TEST_F(X11DisplayCaptureDesktopsTest, ShowsWhatIsDrawnByOpenGl)
{
    const QImage empty = settledScreen();
    ChildProcess gears({"glxgears", "-geometry", "500x400+200+150"});
    const auto hasDrawn = [&] { return differingPixels(screenNow(), empty) > 5'000; };
    const bool isShown =
        awaitCondition([&] { return !gears.isRunning() || hasDrawn(); }) && gears.isRunning();
    if (!isShown)
        GTEST_SKIP() << "This server does not offer OpenGL to glxgears.";
    backend().prepare();
    // Some frames more, drawn while its window has pixels of its own.
    const QImage frame = screenNow();
    ASSERT_TRUE(awaitCondition([&] { return differingPixels(screenNow(), frame) > 0; }));
    gears.halt();
    expectCaptureWithoutOwnWindows();
}

} // namespace
} // namespace velmo::test
