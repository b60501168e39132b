#include "e2e/OverlayDesk.h"
#include "support/x11/SplitMonitors.h"

#include <gtest/gtest.h>
#include <xcb/randr.h>
#include <xcb/xfixes.h>

namespace velmo::test {
namespace {

/// Two monitors side by side, each in the scale that the executable was started with.
class ScaledOverlay : public OverlayDesk {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(monitors_.awaitToolkit());
        for (const Screen& screen : platform_.screens->all())
            scales_.push_back(screen.scale);
        ASSERT_EQ(scales_.size(), 2U);
        const QStringList wanted = qEnvironmentVariable("VELMO_TEST_SCALES").split(u',');
        EXPECT_EQ(scales_[0], wanted.value(0).toDouble());
        EXPECT_EQ(scales_[1], wanted.value(1).toDouble());
    }

    [[nodiscard]] QRect nativeGeometry(const QWidget* widget) const
    {
        const auto geometry =
            eye_->await(xcb_get_geometry_reply, xcb_get_geometry(eye_->get(), idOf(widget)));
        return geometry ? QRect(geometry->x, geometry->y, geometry->width, geometry->height) : QRect();
    }

    [[nodiscard]] static bool isRed(const QImage& image, QPoint at)
    {
        const QRgb pixel = image.pixel(at);
        return qRed(pixel) > 200 && qGreen(pixel) < 60 && qBlue(pixel) < 60;
    }

    /// The pointer's picture as the server shows it.
    struct Cursor {
        QSize size;
        QPoint hotSpot;
    };
    [[nodiscard]] Cursor cursorNow() const
    {
        static_cast<void>(
            eye_->await(xcb_xfixes_query_version_reply, xcb_xfixes_query_version(eye_->get(), 4, 0)));
        const auto image =
            eye_->await(xcb_xfixes_get_cursor_image_reply, xcb_xfixes_get_cursor_image(eye_->get()));
        return image ? Cursor{QSize(image->width, image->height), QPoint(image->xhot, image->yhot)}
                     : Cursor{};
    }

    const SplitMonitors monitors_;
    std::vector<double> scales_;
};

TEST_F(ScaledOverlay, EachSurfaceCoversItsMonitorToThePixel)
{
    begin(true);
    const auto windows = surfaces();
    ASSERT_EQ(windows.size(), 2U);
    EXPECT_TRUE(awaitCondition([&] {
        return std::ranges::all_of(windows, [this](const OverlaySurface* surface) {
            const QRect geometry = nativeGeometry(surface);
            return geometry == SplitMonitors::kWest || geometry == SplitMonitors::kEast;
        });
    }));
    EXPECT_NE(nativeGeometry(windows[0]), nativeGeometry(windows[1]));
}

TEST_F(ScaledOverlay, TheToolbarStandsInTheMiddleOfTheMainScreen)
{
    begin(true);
    ASSERT_NE(toolbar(), nullptr);
    const double scale = scales_[0];
    const QRect place = nativeGeometry(toolbar());
    EXPECT_NEAR(place.width(), 420 * scale, 1);
    EXPECT_NEAR(place.height(), 56 * scale, 1);
    EXPECT_NEAR(place.center().x(), SplitMonitors::kWest.center().x(), 1.5);
    EXPECT_NEAR(place.bottom() + 1, SplitMonitors::kWest.bottom() + 1 - 40 * scale, 1.5);
}

TEST_F(ScaledOverlay, AStrokeAcrossBothFollowsThePointerToThePixel)
{
    settings->submitMode.set(SubmitMode::ManualSubmit);
    begin(false);
    const QPoint from(500, 400);
    const QPoint to(1500, 800);
    drag(from, to);
    const auto at = [&](double share) { return (QPointF(from) + QPointF(to - from) * share).toPoint(); };
    EXPECT_TRUE(awaitCondition([&] { return isRed(screenNow(), at(0.98)); })) << "the way's end";
    const QImage picture = screenNow();
    for (const double share : {0.05, 0.2, 0.45, 0.55, 0.7, 0.9}) {
        // The line's middle in this column lies within a pixel of where the pointer was.
        const QPoint point = at(share);
        int first = -1;
        int last = -1;
        for (int y = point.y() - 12; y <= point.y() + 12; ++y) {
            if (isRed(picture, QPoint(point.x(), y))) {
                first = first < 0 ? y : first;
                last = y;
            }
        }
        EXPECT_NEAR((first + last) / 2.0, point.y(), 1.01) << "at " << share;
    }
}

TEST_F(ScaledOverlay, TheCropIsTheScreenThatWasDrawnOn)
{
    for (const QRect& monitor : {SplitMonitors::kWest, SplitMonitors::kEast}) {
        const std::size_t index = monitor == SplitMonitors::kWest ? 0 : 1;
        begin(false);
        drag(monitor.center() - QPoint(200, 100), monitor.center() + QPoint(200, 100));
        ASSERT_TRUE(awaitCondition([&] { return capture.requests.size() == index + 1; }));
        const auto& request = *capture.requests.back();
        const Screen screen = platform_.screens->all().at(index);
        EXPECT_EQ(request.displayID, screen.displayID);
        EXPECT_EQ(request.displayID, index == 0 ? monitors_.west() : monitors_.east());
        EXPECT_EQ(request.overlaySize,
                  QSize(static_cast<int>(screen.frame.width), static_cast<int>(screen.frame.height)));
        session->end();
        velmo::settle();
    }
}

TEST_F(ScaledOverlay, ThePenIsSharpAndItsTipIsTheHotSpot)
{
    begin(false);
    for (std::size_t index = 0; index < 2; ++index) {
        const QPoint middle = (index == 0 ? SplitMonitors::kWest : SplitMonitors::kEast).center();
        input_.moveTo(middle.x(), middle.y());
        const double scale = scales_[index];
        const QSize expected = QSize(24, 24) * scale;
        EXPECT_TRUE(awaitCondition([&] { return cursorNow().size == expected; }))
            << cursorNow().size.width() << " at scale " << scale;
        EXPECT_EQ(cursorNow().hotSpot, (QPointF(4, 20) * scale).toPoint());
    }
}

TEST_F(ScaledOverlay, AScreenThatIsUnpluggedTakesItsSurfaceWithIt)
{
    begin(false);
    ASSERT_EQ(surfaces().size(), 2U);
    xcb_randr_delete_monitor(eye_->get(), eye_->root(), monitors_.east());
    xcb_flush(eye_->get());
    EXPECT_TRUE(awaitCondition([] { return surfaces().size() == 1; }));
    // Drawing goes on, and Escape still ends it.
    input_.moveTo(300, 300);
    input_.pressButton(1);
    input_.moveTo(400, 300);
    EXPECT_TRUE(awaitCondition([&] { return isRed(screenNow(), {350, 300}); }));
    input_.tap("Escape");
    EXPECT_TRUE(awaitCondition([this] { return state() == SessionState::Idle; }));
    input_.releaseButton(1);
}

} // namespace
} // namespace velmo::test
