#include "platform/x11/X11DisplayCapture.h"

#include "CaptureFixture.h"
#include "platform/x11/X11Monitors.h"
#include "support/x11/ChildProcess.h"
#include "support/x11/RootBackground.h"
#include "support/x11/SplitMonitors.h"
#include "support/x11/WaylandMonitor.h"

#include <optional>

namespace velmo::test {
namespace {

/// Servers that lack something, show other depths, or go away. Our own windows are plain ones there, told
/// apart by the connection that they are made on.
class X11DisplayCaptureServersTest : public testing::Test {
protected:
    [[nodiscard]] static VirtualDisplay::Options options(const QByteArray& screen,
                                                         const QList<QByteArray>& arguments = {})
    {
        VirtualDisplay::Options result;
        result.screen = screen;
        result.arguments = arguments;
        return result;
    }

    [[nodiscard]] static quint32 firstDisplay(X11DisplayCapture& capture)
    {
        auto content = capture.shareableContent();
        return content && !content.value().displays.empty() ? content.value().displays.front().id : 0;
    }

    static void expectCapturesWithoutOwnWindows(const QRect& area)
    {
        const RootBackground background(RootBackground::Announced::No);
        const PlainClient back(client({50, 50, 300, 300}, 0x1234));
        const PlainClient bordered([] {
            auto result = client({200, 120, 300, 300}, 0x5678);
            result.border = 5;
            return result;
        }());
        const PlainClient shaped([] {
            auto result = client({500, 300, 400, 400}, 0x9abc);
            result.shape = {QRect(0, 0, 90, 400), QRect(150, 50, 150, 100), QRect(380, 380, 60, 60)};
            return result;
        }());
        const auto eye = X11Connection::open();
        const auto look = [&] { return readRootImage(*eye, area); };
        const QImage before = settled(look);
        ASSERT_FALSE(before.isNull());
        X11DisplayCapture capture;
        capture.prepare();

        PlainClient own(client({0, 0, 1920, 1080}, 0xf0f0));
        const auto* setup = xcb_get_setup(own.connection().get());
        capture.setOwnConnectionBase(setup->resource_id_base, setup->resource_id_mask);
        ASSERT_GT(differingPixels(settled(look), before), area.width() * area.height() / 2);
        const quint32 display = firstDisplay(capture);
        auto image = capture.captureDisplay(display, CaptureMoment::Now);
        ASSERT_TRUE(image);
        EXPECT_EQ(differingPixels(image.value(), before), 0);
        capture.freeze(display);
        image = capture.captureDisplay(display, CaptureMoment::Frozen);
        ASSERT_TRUE(image);
        EXPECT_EQ(differingPixels(image.value(), before), 0);
        EXPECT_EQ(capture.takeDiagnostics(), QStringList());
    }
};

TEST_F(X11DisplayCaptureServersTest, CapturesOtherDepths)
{
    for (const char* screen : {"800x600x16", "800x600x30", "800x600x24"}) {
        SCOPED_TRACE(screen);
        const VirtualDisplay other(options(screen));
        ASSERT_FALSE(other.name().isEmpty());
        expectCapturesWithoutOwnWindows({0, 0, 800, 600});
    }
}

TEST_F(X11DisplayCaptureServersTest, CapturesWithoutSharedMemory)
{
    const VirtualDisplay other(options("800x600x24", {"-extension", "MIT-SHM"}));
    ASSERT_FALSE(other.name().isEmpty());
    expectCapturesWithoutOwnWindows({0, 0, 800, 600});
}

TEST_F(X11DisplayCaptureServersTest, CapturesFromTheServerOfRealDesktops)
{
    VirtualDisplay::Options dummy;
    dummy.server = VirtualDisplay::Server::Dummy;
    const VirtualDisplay other(dummy);
    ASSERT_FALSE(other.name().isEmpty());
    expectCapturesWithoutOwnWindows({0, 0, 1920, 1080});
}

TEST_F(X11DisplayCaptureServersTest, CapturesBothMonitorsOfTheServerOfRealDesktops)
{
    VirtualDisplay::Options dummy;
    dummy.server = VirtualDisplay::Server::Dummy;
    const VirtualDisplay other(dummy);
    ASSERT_FALSE(other.name().isEmpty());
    const RootBackground background(RootBackground::Announced::Yes);
    const Scene scene;
    const SplitMonitors monitors;
    const auto eye = X11Connection::open();
    const QImage before = settled([&] { return readRootImage(*eye, QRect(0, 0, 1920, 1080)); });
    X11DisplayCapture capture;
    capture.prepare();
    PlainClient own(client({0, 0, 1920, 1080}, 0xf0f0));
    const auto* setup = xcb_get_setup(own.connection().get());
    capture.setOwnConnectionBase(setup->resource_id_base, setup->resource_id_mask);
    for (const auto& [name, area] : {std::pair{monitors.west(), SplitMonitors::kWest},
                                     std::pair{monitors.east(), SplitMonitors::kEast}}) {
        auto image = capture.captureDisplay(name, CaptureMoment::Now);
        ASSERT_TRUE(image);
        EXPECT_EQ(differingPixels(image.value(), before.copy(area)), 0);
    }
}

TEST_F(X11DisplayCaptureServersTest, FallsBackToTheScreenFromBeforeOurWindowsAndSaysWhy)
{
    for (const char* extension : {"RENDER", "Composite"}) {
        SCOPED_TRACE(extension);
        VirtualDisplay::Options poor = options("1920x1080x24");
        poor.arguments = {"-extension", extension};
        const VirtualDisplay other(poor);
        ASSERT_FALSE(other.name().isEmpty());
        const PlainClient window(client({50, 50, 300, 300}, 0x1234));
        const auto eye = X11Connection::open();
        const auto look = [&] { return readRootImage(*eye, QRect(0, 0, 1920, 1080)); };
        const QImage before = settled(look);
        X11DisplayCapture capture;
        capture.prepare();
        const PlainClient own(client({0, 0, 1920, 1080}, 0xf0f0));
        ASSERT_TRUE(awaitCondition([&] { return differingPixels(look(), before) > 200'000; }));
        const quint32 display = firstDisplay(capture);
        capture.freeze(display);
        EXPECT_FALSE(capture.captureDisplay(display, CaptureMoment::Now)) << "with our window in it";
        for (int round = 0; round < 2; ++round) {
            auto image = capture.captureDisplay(display, CaptureMoment::Frozen);
            ASSERT_TRUE(image);
            EXPECT_EQ(differingPixels(image.value(), before), 0);
        }
        // Said once, however often it is so.
        const auto diagnostics = capture.takeDiagnostics();
        ASSERT_EQ(diagnostics.size(), 1);
        EXPECT_TRUE(diagnostics.front().contains(QString::fromLatin1(extension), Qt::CaseInsensitive));
        capture.release();
    }
}

TEST_F(X11DisplayCaptureServersTest, TakesTheWholeScreenWhereThereIsNoTalkOfMonitors)
{
    const VirtualDisplay other(options("800x600x24", {"-extension", "RANDR"}));
    ASSERT_FALSE(other.name().isEmpty());
    const PlainClient window(client({50, 50, 300, 300}, 0x1234));
    X11DisplayCapture capture;
    capture.prepare();
    auto content = capture.shareableContent();
    ASSERT_TRUE(content);
    ASSERT_EQ(content.value().displays.size(), 1U);
    EXPECT_EQ(content.value().displays.front().width, 800);
    EXPECT_EQ(content.value().displays.front().height, 600);
    EXPECT_EQ(capture.takeDiagnostics().size(), 1);
    auto image = capture.captureDisplay(content.value().displays.front().id, CaptureMoment::Now);
    ASSERT_TRUE(image);
    const auto eye = X11Connection::open();
    EXPECT_EQ(differingPixels(image.value(), readRootImage(*eye, QRect(0, 0, 800, 600))), 0);
}

TEST_F(X11DisplayCaptureServersTest, ListsNothingWhenAllMonitorsAreOff)
{
    const VirtualDisplay other(options("800x600x24"));
    ASSERT_FALSE(other.name().isEmpty());
    const auto eye = X11Connection::open();
    X11DisplayCapture capture;
    capture.prepare();
    const quint32 display = firstDisplay(capture);
    ChildProcess xrandr({"xrandr", "--output", "screen", "--off"});
    ASSERT_TRUE(awaitCondition([&] { return readMonitors(eye->get(), eye->root()).empty(); }));
    auto content = capture.shareableContent();
    ASSERT_TRUE(content);
    EXPECT_TRUE(content.value().displays.empty());
    capture.freeze(std::nullopt);
    auto image = capture.captureDisplay(display, CaptureMoment::Frozen);
    ASSERT_FALSE(image);
    EXPECT_EQ(image.error().kind, PlatformError::Kind::Failed);
}

TEST_F(X11DisplayCaptureServersTest, RefusesAScreenThatBelongsToAWaylandDesktop)
{
    const VirtualDisplay other(options("800x600x24"));
    ASSERT_FALSE(other.name().isEmpty());
    const xcb_atom_t name = nameMonitorLikeWayland();
    ASSERT_NE(name, xcb_atom_t{XCB_NONE});
    X11DisplayCapture capture;
    capture.prepare();
    capture.freeze(name);
    for (const auto moment : {CaptureMoment::Now, CaptureMoment::Frozen}) {
        auto image = capture.captureDisplay(name, moment);
        ASSERT_FALSE(image);
        EXPECT_EQ(image.error().kind, PlatformError::Kind::Unsupported);
    }
}

TEST_F(X11DisplayCaptureServersTest, FailsWithoutAServerAndWorksWithTheNext)
{
    X11DisplayCapture capture;
    int calls = 0;
    quint32 display = 0;
    const auto expectFailures = [&] {
        auto content = capture.shareableContent();
        ASSERT_FALSE(content);
        EXPECT_EQ(content.error().kind, PlatformError::Kind::Failed);
        for (const auto moment : {CaptureMoment::Frozen, CaptureMoment::Now}) {
            auto image = capture.captureDisplay(display, moment);
            ASSERT_FALSE(image);
            EXPECT_EQ(image.error().kind, PlatformError::Kind::Failed);
        }
    };
    const QByteArray name = qgetenv("DISPLAY");
    {
        const VirtualDisplay first(options("800x600x24"));
        ASSERT_FALSE(first.name().isEmpty());
        capture.setChangeHandler([&] { ++calls; });
        capture.prepare();
        display = firstDisplay(capture);
        capture.freeze(display);
    }
    // Nothing listens here.
    qputenv("DISPLAY", ":59999");
    expectFailures();
    capture.freeze(display);
    capture.prepare();
    capture.freeze(display);
    expectFailures();
    capture.release();
    qputenv("DISPLAY", name);

    const VirtualDisplay second(options("800x600x24"));
    capture.prepare();
    PlainClient window(client({50, 50, 300, 300}, 0x1234));
    EXPECT_TRUE(awaitCondition([&] { return calls > 0; }));
    auto image = capture.captureDisplay(firstDisplay(capture), CaptureMoment::Now);
    ASSERT_TRUE(image);
    const auto eye = X11Connection::open();
    EXPECT_EQ(differingPixels(image.value(), readRootImage(*eye, QRect(0, 0, 800, 600))), 0);
    EXPECT_EQ(capture.takeDiagnostics(), QStringList());
    capture.setChangeHandler({});
}

TEST_F(X11DisplayCaptureServersTest, FailsWhenTheServerGoesDuringACapture)
{
    X11DisplayCapture capture;
    std::optional<VirtualDisplay> other(std::in_place, options("800x600x24"));
    ASSERT_FALSE(other->name().isEmpty());
    capture.prepare();
    const quint32 display = firstDisplay(capture);
    std::promise<void> isUnderWay;
    auto last = std::async(std::launch::async, [&] {
        for (bool isFirst = true;; isFirst = false) {
            auto image = capture.captureDisplay(display, CaptureMoment::Now);
            if (!image)
                return image.error().kind;
            if (isFirst)
                isUnderWay.set_value();
        }
    });
    isUnderWay.get_future().wait();
    other->stopServer();
    EXPECT_EQ(last.get(), PlatformError::Kind::Failed);
}

} // namespace
} // namespace velmo::test
