#include "platform/x11/X11DisplayCapture.h"

#include "CaptureFixture.h"
#include "core/Identity.h"
#include "platform/x11/X11Monitors.h"
#include "support/x11/RootBackground.h"
#include "support/x11/SplitMonitors.h"

#include <atomic>
#include <ostream>
#include <thread>

namespace velmo::test {
namespace {

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

/// What programs leave in the property that announces the background.
struct Announcement {
    const char* name;
    /// Makes the pixmap and returns its number.
    quint32 (*announce)(X11Connection& connection);

    friend void PrintTo(const Announcement& announcement, std::ostream* stream)
    {
        *stream << announcement.name;
    }
};

quint32 filledPixmap(X11Connection& connection, QSize size, quint8 depth)
{
    xcb_connection_t* xcb = connection.get();
    const xcb_pixmap_t pixmap = xcb_generate_id(xcb);
    xcb_create_pixmap(xcb, depth, pixmap, connection.root(), static_cast<uint16_t>(size.width()),
                      static_cast<uint16_t>(size.height()));
    const xcb_gcontext_t context = xcb_generate_id(xcb);
    xcb_create_gc(xcb, context, pixmap, 0, nullptr);
    for (int y = 0; y < size.height(); ++y) {
        const auto color = static_cast<uint32_t>(0x400000 + y * 0x0301);
        xcb_change_gc(xcb, context, XCB_GC_FOREGROUND, &color);
        const xcb_rectangle_t line{0, static_cast<int16_t>(y), static_cast<uint16_t>(size.width()), 1};
        xcb_poly_fill_rectangle(xcb, pixmap, context, 1, &line);
    }
    xcb_free_gc(xcb, context);
    return pixmap;
}

class X11DisplayCaptureAnnouncementTest : public X11DisplayCaptureTest,
                                          public testing::WithParamInterface<Announcement> {};

TEST_P(X11DisplayCaptureAnnouncementTest, ShowsWhatTheServerPaintsInstead)
{
    const RootBackground background(RootBackground::Announced::No);
    const Scene scene;
    auto connection = X11Connection::open();
    const quint32 announced = GetParam().announce(*connection);
    const xcb_atom_t property = connection->atom("_XROOTPMAP_ID");
    xcb_change_property(connection->get(), XCB_PROP_MODE_REPLACE, connection->root(), property,
                        XCB_ATOM_PIXMAP, 32, 1, &announced);
    connection->sync();
    expectCaptureWithoutOwnWindows();
    xcb_delete_property(connection->get(), connection->root(), property);
    connection->sync();
}

INSTANTIATE_TEST_SUITE_P(
    Announcements, X11DisplayCaptureAnnouncementTest,
    testing::Values(Announcement{"OfNothing", [](X11Connection&) -> quint32 { return 0x1fffff00; }},
                    Announcement{"OfAPixmapThatIsGone",
                                 [](X11Connection& connection) {
                                     const quint32 pixmap = filledPixmap(connection, {1920, 1080}, 24);
                                     xcb_free_pixmap(connection.get(), pixmap);
                                     return pixmap;
                                 }},
                    Announcement{"OfAPictureThatWasReplaced",
                                 [](X11Connection& connection) {
                                     return filledPixmap(connection, {1920, 1080}, 24);
                                 }},
                    Announcement{"OfASmallPictureThatWasReplaced",
                                 [](X11Connection& connection) {
                                     return filledPixmap(connection, {64, 48}, 24);
                                 }},
                    Announcement{"OfAnotherDepth",
                                 [](X11Connection& connection) {
                                     return filledPixmap(connection, {1920, 1080}, 32);
                                 }},
                    Announcement{"OfAWindow",
                                 [](X11Connection& connection) {
                                     const quint32 window = xcb_generate_id(connection.get());
                                     xcb_create_window(connection.get(), XCB_COPY_FROM_PARENT, window,
                                                       connection.root(), 0, 0, 1920, 1080, 0,
                                                       XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, 0,
                                                       nullptr);
                                     return window;
                                 }}),
    [](const auto& announcement) { return announcement.param.name; });

TEST_F(X11DisplayCaptureTest, ShowsATiledBackground)
{
    const auto connection = X11Connection::open();
    const quint32 tile = filledPixmap(*connection, {70, 50}, 24);
    const xcb_atom_t property = connection->atom("_XROOTPMAP_ID");
    xcb_change_window_attributes(connection->get(), connection->root(), XCB_CW_BACK_PIXMAP, &tile);
    xcb_change_property(connection->get(), XCB_PROP_MODE_REPLACE, connection->root(), property,
                        XCB_ATOM_PIXMAP, 32, 1, &tile);
    xcb_clear_area(connection->get(), 0, connection->root(), 0, 0, 0, 0);
    connection->sync();
    const Scene scene;
    expectCaptureWithoutOwnWindows();
    backend().release();
    ASSERT_TRUE(display().startCompositor());
    expectCaptureWithoutOwnWindows();
    // Makes the root black again.
    const RootBackground tidy(RootBackground::Announced::Yes);
}

TEST_F(X11DisplayCaptureTest, ShowsManyWindowsOnTopOfOneAnother)
{
    const RootBackground background(RootBackground::Announced::No);
    std::vector<std::unique_ptr<PlainClient>> windows;
    for (int i = 0; i < 44; ++i) {
        auto options =
            client({i * 31, i * 17, 500 + i * 3, 330}, 0x102030 + static_cast<quint32>(i) * 0x050301);
        options.border = i % 4;
        options.bypassesManager = true;
        windows.push_back(std::make_unique<PlainClient>(options));
    }
    expectCaptureWithoutOwnWindows();
}

TEST_F(X11DisplayCaptureTest, FollowsWindowsThatMoveWhileOursCoverThem)
{
    const RootBackground background(RootBackground::Announced::No);
    PlainClient window(client({100, 80, 800, 600}, 0x204060));
    backend().prepare();
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

TEST_F(X11DisplayCaptureTest, ShowsWindowsThatComeWhileOursCoverThem)
{
    backend().prepare();
    auto overlay = std::make_unique<FloatingWidget>(QRect(0, 0, 1920, 1080), QColor(0, 40, 0, 255));
    static_cast<void>(settledScreen());
    const Scene scene;
    overlay->raise();
    static_cast<void>(settledScreen());
    const QImage image = capture();
    overlay.reset();
    EXPECT_EQ(differingPixels(image, settledScreen()), 0);
}

TEST_F(X11DisplayCaptureTest, KeepsWindowsWhoseClassOnlyLooksLikeOurs)
{
    auto options = client({100, 80, 800, 600}, 0x204060);
    options.windowClass = QByteArray("APP.velmo.Velmo") + '\0' + "app.velmo.Velmo2" + '\0';
    const PlainClient window(options);
    expectCaptureWithoutOwnWindows();
}

TEST_F(X11DisplayCaptureTest, PreparesOnlyOnce)
{
    const RootBackground background(RootBackground::Announced::No);
    ASSERT_TRUE(display().startCompositor());
    const PlainClient window(client({100, 80, 800, 600}, 0x204060));
    const QImage before = settledScreen();
    backend().prepare();
    auto overlay = std::make_unique<FloatingWidget>(QRect(0, 0, 1920, 1080), QColor(0, 40, 0, 255));
    ASSERT_TRUE(awaitCondition([&] { return differingPixels(screenNow(), before) > 1'000'000; }));
    static_cast<void>(settledScreen());
    // A second picture of the screen would have our window in it.
    backend().prepare();
    EXPECT_EQ(differingPixels(capture(), before), 0);
    overlay.reset();
    backend().release();
    EXPECT_EQ(differingPixels(settledScreen(), before), 0);
}

TEST_F(X11DisplayCaptureTest, AnUnpreparedCaptureFailsRatherThanShowOurWindows)
{
    const PlainClient window(client({100, 80, 800, 600}, 0x204060));
    for (const auto moment : {CaptureMoment::Now, CaptureMoment::Frozen}) {
        const auto result = backend().captureDisplay(displayID_, moment);
        ASSERT_FALSE(result);
        EXPECT_EQ(result.error().kind, PlatformError::Kind::Unsupported);
        EXPECT_TRUE(result.error().description.contains(QStringLiteral("not prepared")));
    }
}

TEST_F(X11DisplayCaptureTest, CapturesOneMonitorOfSeveral)
{
    const RootBackground background(RootBackground::Announced::No);
    const Scene scene;
    const SplitMonitors monitors;
    ASSERT_EQ(readMonitors(eye_->get(), eye_->root()).size(), 2U);
    const QImage before = settledScreen();
    backend().prepare();
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
    auto empty = backend().shareableContent();
    ASSERT_TRUE(empty);
    const Scene scene;
    backend().setScaleSource([this] { return std::vector{DisplayScale{displayID_, 1.7}}; });
    auto content = backend().shareableContent();
    ASSERT_TRUE(content);
    ASSERT_EQ(content.value().displays.size(), 1U);
    EXPECT_EQ(content.value().displays.front().id, displayID_);
    EXPECT_EQ(content.value().displays.front().width, 1129);
    EXPECT_EQ(content.value().displays.front().height, 635);
    EXPECT_EQ(content.value().windowCount, empty.value().windowCount + 6);
}

TEST_F(X11DisplayCaptureTest, FailsForADisplayThatWentAfterItWasListed)
{
    backend().prepare();
    quint32 east = 0;
    {
        const SplitMonitors monitors;
        auto content = backend().shareableContent();
        ASSERT_TRUE(content);
        ASSERT_EQ(content.value().displays.size(), 2U);
        east = content.value().displays.back().id;
        EXPECT_TRUE(backend().captureDisplay(east, CaptureMoment::Now));
    }
    auto result = backend().captureDisplay(east, CaptureMoment::Now);
    ASSERT_FALSE(result);
    EXPECT_EQ(result.error().kind, PlatformError::Kind::Failed);
}

TEST_F(X11DisplayCaptureTest, CapturesAtTheSameTime)
{
    const RootBackground background(RootBackground::Announced::No);
    const Scene scene;
    const QImage before = settledScreen();
    backend().prepare();
    const FloatingWidget overlay(QRect(0, 0, 1920, 1080), QColor(0, 40, 0, 255));
    static_cast<void>(settledScreen());

    std::atomic<int> wrong = 0;
    const auto captureOften = [&](CaptureMoment moment) {
        for (int i = 0; i < 15; ++i) {
            auto image = backend().captureDisplay(displayID_, moment);
            auto content = backend().shareableContent();
            if (!image || !content || differingPixels(image.value(), before) != 0)
                ++wrong;
        }
    };
    std::thread first(captureOften, CaptureMoment::Now);
    std::thread second(captureOften, CaptureMoment::Frozen);
    std::thread third(captureOften, CaptureMoment::Frozen);
    for (int i = 0; i < 30; ++i)
        backend().freeze(displayID_);
    first.join();
    second.join();
    third.join();
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(backend().takeDiagnostics(), QStringList());
}

} // namespace
} // namespace velmo::test
