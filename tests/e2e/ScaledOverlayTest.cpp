#include "core/CoordinateSpace.h"
#include "e2e/OverlayDesk.h"
#include "overlay/HintCapsuleController.h"
#include "support/x11/PlainClient.h"
#include "support/x11/SplitMonitors.h"

#include <gtest/gtest.h>
#include <xcb/randr.h>
#include <xcb/xfixes.h>

namespace velmo::test {
namespace {

/// Two monitors side by side, each in the scale that the executable was started with, and either of them the
/// main one.
class ScaledOverlay : public OverlayDesk, public testing::WithParamInterface<SplitMonitors::Primary> {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(monitors_.awaitToolkit());
        const QStringList wanted = qEnvironmentVariable("VELMO_TEST_SCALES").split(u',');
        EXPECT_EQ(west().scale, wanted.value(0).toDouble());
        EXPECT_EQ(east().scale, wanted.value(1).toDouble());
    }

    [[nodiscard]] Screen screenOf(const QString& name) const
    {
        const auto all = platform_.screens->all();
        const auto found = std::ranges::find(all, name, &Screen::name);
        return found == all.end() ? Screen{} : *found;
    }
    [[nodiscard]] Screen west() const { return screenOf(QStringLiteral("west")); }
    [[nodiscard]] Screen east() const { return screenOf(QStringLiteral("east")); }
    /// Not every server lets a monitor without an output be the main one.
    [[nodiscard]] bool isWestMain() const
    {
        const auto main = platform_.screens->main();
        return main && main->name == QStringLiteral("west");
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

    /// Whether a red line goes through all these native points, a pixel off at most.
    void expectLine(QPoint from, QPoint to) const
    {
        const QImage picture = screenNow();
        for (const double share : {0.05, 0.2, 0.45, 0.55, 0.7, 0.9}) {
            // The line's middle in this column lies within a pixel of where the pointer was.
            const QPoint point = (QPointF(from) + QPointF(to - from) * share).toPoint();
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

    const SplitMonitors monitors_{GetParam()};
};

TEST_P(ScaledOverlay, EachSurfaceCoversItsMonitorToThePixel)
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

TEST_P(ScaledOverlay, TheToolbarStandsInTheMiddleOfTheMainScreen)
{
    begin(true);
    ASSERT_NE(toolbar(), nullptr);
    const QRect monitor = isWestMain() ? SplitMonitors::kWest : SplitMonitors::kEast;
    const double scale = isWestMain() ? west().scale : east().scale;
    const QRect place = nativeGeometry(toolbar());
    EXPECT_NEAR(place.width(), 420 * scale, 1);
    EXPECT_NEAR(place.height(), 56 * scale, 1);
    EXPECT_NEAR(place.center().x(), monitor.center().x(), 1.5);
    EXPECT_NEAR(place.bottom() + 1, monitor.bottom() + 1 - 40 * scale, 1.5);
}

TEST_P(ScaledOverlay, AStrokeAcrossBothFollowsThePointerToThePixel)
{
    settings->submitMode.set(SubmitMode::ManualSubmit);
    begin(false);
    const QPoint from(500, 400);
    const QPoint to(1500, 800);
    drag(from, to);
    EXPECT_TRUE(awaitCondition([&] { return isRed(screenNow(), to - QPoint(20, 8)); })) << "the way's end";
    expectLine(from, to);
}

TEST_P(ScaledOverlay, SoDoesAGesturesStroke)
{
    settings->submitMode.set(SubmitMode::ManualSubmit);
    const QPoint from(500, 400);
    const QPoint to(1500, 800);
    const auto pointAt = [this](QPointF native) {
        const PixelPoint pixel{static_cast<int>(native.x()), static_cast<int>(native.y())};
        const Screen screen = west().nativeFrame.contains(pixel) ? west() : east();
        return screenPointFromNative(pixel, screen.nativeFrame, screen.frame, screen.scale);
    };
    platform_.displayCapture->prepare();
    session->beginWithDraw(pointAt(from));
    constexpr int kSteps = 20;
    for (int step = 1; step <= kSteps; ++step)
        session->continueDraw(pointAt(QPointF(from) + QPointF(to - from) * step / kSteps));
    session->endMiddleDraw();
    EXPECT_TRUE(awaitCondition([&] { return isRed(screenNow(), to - QPoint(20, 8)); }));
    expectLine(from, to);
}

TEST_P(ScaledOverlay, TheCropIsTheScreenThatWasDrawnOn)
{
    for (const bool isWest : {true, false}) {
        // From the very first row of pixels on.
        const QRect monitor = isWest ? SplitMonitors::kWest : SplitMonitors::kEast;
        const auto before = capture.requests.size();
        begin(false);
        drag(QPoint(monitor.center().x(), monitor.top()), monitor.center() + QPoint(200, 100));
        ASSERT_TRUE(awaitCondition([&] { return capture.requests.size() == before + 1; }));
        const auto& request = *capture.requests.back();
        const Screen screen = isWest ? west() : east();
        EXPECT_EQ(request.displayID, screen.displayID);
        EXPECT_EQ(request.displayID, isWest ? monitors_.west() : monitors_.east());
        EXPECT_EQ(request.overlaySize,
                  QSize(static_cast<int>(screen.frame.width), static_cast<int>(screen.frame.height)));
        session->end();
        velmo::settle();
    }
}

TEST_P(ScaledOverlay, ThePenIsSharpItsTipIsTheHotSpotAndItGoesWithTheOverlay)
{
    begin(false);
    for (const bool isWest : {true, false}) {
        const QPoint middle = (isWest ? SplitMonitors::kWest : SplitMonitors::kEast).center();
        input_.moveTo(middle.x(), middle.y());
        const double scale = isWest ? west().scale : east().scale;
        const QSize expected = QSize(24, 24) * scale;
        EXPECT_TRUE(awaitCondition([&] { return cursorNow().size == expected; }))
            << cursorNow().size.width() << " at scale " << scale;
        EXPECT_EQ(cursorNow().hotSpot, (QPointF(4, 20) * scale).toPoint());
    }
    const QSize pen = cursorNow().size;
    session->end();
    EXPECT_TRUE(awaitCondition([&] { return cursorNow().size != pen; })) << "with the pointer where it was";
}

TEST_P(ScaledOverlay, BothShowTheDesktopAsItIs)
{
    PlainClient::Options options;
    options.area = {700, 300, 700, 500}; // On both.
    options.bypassesManager = true;
    const PlainClient window(options);
    const QImage before = screenNow();
    begin(true);
    EXPECT_TRUE(awaitCondition([&] {
        return differingPixels(screenNow(), before, nativeGeometry(toolbar()).adjusted(-1, -1, 1, 1)) == 0;
    }));
}

TEST_P(ScaledOverlay, TheHintStandsOnTheScreenOfThePointer)
{
    HintCapsuleController hint(*platform_.screens, *platform_.windowSurfaces);
    for (const bool isWest : {true, false}) {
        const QRect monitor = isWest ? SplitMonitors::kWest : SplitMonitors::kEast;
        const double scale = isWest ? west().scale : east().scale;
        input_.moveTo(monitor.center().x(), monitor.top());
        hint.show();
        const QWidget* capsule = shownWidgets<HintCapsuleView>().at(0)->window();
        const auto stands = [&] {
            const QRect place = nativeGeometry(capsule);
            return std::abs(place.center().x() - monitor.center().x()) <= 2 &&
                   std::abs(place.bottom() + 1 - (monitor.bottom() + 1 - 16 * scale)) <= 2;
        };
        EXPECT_TRUE(awaitCondition(stands))
            << nativeGeometry(capsule).x() << ',' << nativeGeometry(capsule).y();
        hint.hide();
        EXPECT_TRUE(awaitCondition([&] { return !hint.isVisible(); }));
    }
}

TEST_P(ScaledOverlay, AMonitorThatIsUnpluggedTakesItsSurfaceWithItAndTheMainOneTheDrawing)
{
    begin(true);
    ASSERT_EQ(surfaces().size(), 2U);
    xcb_randr_delete_monitor(eye_->get(), eye_->root(), monitors_.east());
    xcb_flush(eye_->get());
    if (!isWestMain()) {
        // The other one is now counted from another corner.
        EXPECT_TRUE(awaitCondition([this] { return state() == SessionState::Idle; }));
        EXPECT_TRUE(surfaces().empty());
        EXPECT_EQ(toolbar(), nullptr);
        return;
    }
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

INSTANTIATE_TEST_SUITE_P(MainScreens, ScaledOverlay,
                         testing::Values(SplitMonitors::Primary::West, SplitMonitors::Primary::East),
                         [](const auto& main) {
                             return main.param == SplitMonitors::Primary::West ? "West" : "East";
                         });

} // namespace
} // namespace velmo::test
