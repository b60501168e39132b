#include "core/CoordinateSpace.h"
#include "overlay/DrawingCanvasView.h"
#include "support/core/SessionTest.h"

#include <QPainter>
#include <QPainterPath>
#include <cmath>

namespace velmo {
namespace {

constexpr ScreenRect kFrame{0, 0, 400, 300};

/// A canvas of 400 x 300 points with what the test needs to look at it.
class Canvas : public SessionTest {
protected:
    void stroke(DrawingCanvasView& on, const std::vector<CanvasPoint>& points) const
    {
        on.beginStroke(points.front());
        for (std::size_t i = 1; i < points.size(); ++i)
            on.extendStroke(points[i]);
    }

    [[nodiscard]] static bool isTransparent(const QImage& image)
    {
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < image.width(); ++x) {
                if (qAlpha(image.pixel(x, y)) != 0)
                    return false;
            }
        }
        return true;
    }

    /// A spiral of many points.
    [[nodiscard]] static std::vector<CanvasPoint> spiral(int points, double width, double height)
    {
        std::vector<CanvasPoint> result;
        for (int i = 0; i < points; ++i) {
            const double turn = 12.0 * i / points;
            const double radius = 0.45 * i / points;
            result.push_back(
                {width * (0.5 + radius * std::cos(turn)), height * (0.5 + radius * std::sin(turn))});
        }
        return result;
    }

    std::shared_ptr<DrawingState> drawing = std::make_shared<DrawingState>();
    DrawingCanvasView canvas{kFrame, drawing, *session};
};

TEST_F(Canvas, BeginsEmptyInRedWithTheScribble)
{
    EXPECT_TRUE(canvas.strokes().empty());
    EXPECT_FALSE(canvas.currentStroke());
    EXPECT_FALSE(canvas.hasCompletedFirstStroke());
    EXPECT_EQ(drawing->selectedColor.value(), QColor::fromRgbF(1, 0, 0));
    EXPECT_EQ(drawing->selectedTool.value(), DrawingTool::Scribble);
}

TEST_F(Canvas, OnlyTheFirstFinishedStrokeIsTold)
{
    EXPECT_FALSE(canvas.endStroke()) << "nothing was begun";
    canvas.beginStroke({1, 1});
    EXPECT_TRUE(canvas.endStroke());
    canvas.beginStroke({2, 2});
    EXPECT_FALSE(canvas.endStroke());
    EXPECT_TRUE(canvas.hasCompletedFirstStroke());
}

TEST_F(Canvas, RendersFinishedStrokesOnATransparentGround)
{
    stroke(canvas, {{50, 100}, {150, 100}});
    EXPECT_TRUE(isTransparent(canvas.renderToImage(std::nullopt)))
        << "the stroke in progress is not rendered";
    canvas.endStroke();
    const QImage image = canvas.renderToImage(std::nullopt);
    EXPECT_EQ(image.size(), QSize(400, 300));
    EXPECT_EQ(image.devicePixelRatio(), 1);
    EXPECT_EQ(image.pixelColor(100, 200), QColor(Qt::red)) << "y grows upwards in the canvas";
    EXPECT_EQ(image.pixelColor(100, 199), QColor(Qt::red));
    EXPECT_EQ(qAlpha(image.pixel(100, 204)), 0);
    EXPECT_EQ(qAlpha(image.pixel(100, 100)), 0);
    EXPECT_EQ(qAlpha(image.pixel(160, 200)), 0);
}

TEST_F(Canvas, AnAreaPartlyOutsideShiftsTheStrokes)
{
    stroke(canvas, {{10, 10}, {60, 10}});
    canvas.endStroke();
    const QImage image = canvas.renderToImage(CanvasRect{-40, -20, 120, 80});
    EXPECT_EQ(image.size(), QSize(120, 80));
    // The area's top is at 60, so y = 10 is 50 below it; x = 30 is 70 from its left.
    EXPECT_EQ(image.pixelColor(70, 50), QColor(Qt::red));
    EXPECT_EQ(qAlpha(image.pixel(20, 50)), 0);
}

TEST_F(Canvas, AnEmptyAreaGivesNoPicture)
{
    stroke(canvas, {{10, 10}, {60, 10}});
    canvas.endStroke();
    EXPECT_TRUE(canvas.renderToImage(CanvasRect{0, 0, 0, 0}).isNull());
    EXPECT_TRUE(canvas.renderToImage(CanvasRect{10, 10, -5, 20}).isNull());
}

TEST_F(Canvas, WithoutAnyScreenThereIsNothingToDrawOn)
{
    DrawingCanvasView nowhere({}, drawing, *session);
    stroke(nowhere, {{10, 10}, {60, 10}});
    EXPECT_TRUE(nowhere.endStroke());
    EXPECT_TRUE(nowhere.renderToImage(std::nullopt).isNull());
}

TEST_F(Canvas, LaterStrokesPaintOverEarlierOnes)
{
    stroke(canvas, {{50, 150}, {350, 150}});
    canvas.endStroke();
    drawing->selectedColor.set(StrokeColor::Green);
    stroke(canvas, {{200, 50}, {200, 250}});
    canvas.endStroke();
    const QImage image = canvas.renderToImage(std::nullopt);
    EXPECT_EQ(image.pixelColor(200, 150), QColor::fromRgbF(0, 1, 0));
    EXPECT_EQ(image.pixelColor(100, 150), QColor(Qt::red));
}

TEST_F(Canvas, APressReplacesTheStrokeInProgress)
{
    std::vector<QRect> changes;
    canvas.onChange = [&](std::size_t, const QRect& pixels) { changes.push_back(pixels); };
    stroke(canvas, {{50, 150}, {350, 150}});
    changes.clear();
    canvas.beginStroke({10, 10});
    ASSERT_FALSE(changes.empty());
    EXPECT_TRUE(changes.front().contains(QPoint(50, 150)) && changes.front().contains(QPoint(350, 150)))
        << "what vanishes must be repainted";
    canvas.endStroke();
    EXPECT_EQ(canvas.strokes().size(), 1U);
    EXPECT_TRUE(isTransparent(canvas.renderToImage(std::nullopt)));
}

TEST_F(Canvas, TellsTheAreaOfEachSegmentAndNotMore)
{
    std::vector<QRect> changes;
    canvas.onChange = [&](std::size_t, const QRect& pixels) { changes.push_back(pixels); };
    stroke(canvas, {{10, 290}, {300, 290}, {300, 280}});
    ASSERT_EQ(changes.size(), 2U);
    EXPECT_TRUE(changes[1].contains(QRect(QPoint(298, 8), QPoint(301, 21))));
    EXPECT_LT(changes[1].width(), 10);
    EXPECT_LT(changes[1].height(), 20);
    canvas.endStroke();
    EXPECT_EQ(changes.size(), 2U) << "a finished stroke looks as it did";
}

TEST_F(Canvas, IsAsSmoothAsAStrokeDrawnAtOnce)
{
    const auto points = spiral(600, 400, 300);
    stroke(canvas, points);
    canvas.endStroke();
    const QImage image = canvas.renderToImage(std::nullopt);

    QImage reference(400, 300, QImage::Format_ARGB32_Premultiplied);
    reference.fill(Qt::transparent);
    QPainterPath path(topDownFromCanvas(points.front(), kFrame.height));
    for (const CanvasPoint& point : points)
        path.lineTo(topDownFromCanvas(point, kFrame.height));
    QPainter painter(&reference);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(Qt::red, 3, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.drawPath(path);
    painter.end();

    double sum = 0;
    int largest = 0;
    for (int y = 0; y < 300; ++y) {
        for (int x = 0; x < 400; ++x) {
            const int difference = std::abs(qAlpha(image.pixel(x, y)) - qAlpha(reference.pixel(x, y)));
            largest = std::max(largest, difference);
            sum += difference;
        }
    }
    EXPECT_LT(largest, 128) << "edges may differ a little, bodies not at all";
    EXPECT_LT(sum / (400 * 300), 0.5);
}

TEST_F(Canvas, ALongSegmentIsOneStraightLine)
{
    stroke(canvas, {{5, 5}, {395, 295}});
    canvas.endStroke();
    const QImage image = canvas.renderToImage(std::nullopt);
    for (int i = 1; i < 100; ++i) {
        const QPoint at(5 + 390 * i / 100, static_cast<int>(std::floor(295 - 2.9 * i)));
        EXPECT_EQ(qAlpha(image.pixel(at)), 255) << at.x() << ',' << at.y();
    }
}

TEST_F(Canvas, KeepsAScreensOwnPixelsAndRendersPoints)
{
    DrawingCanvasView sharp(kFrame, drawing, *session, {{{0, 0, 400, 300}, {0, 0, 800, 600}, 2}});
    const auto points = spiral(300, 400, 300);
    stroke(sharp, points);
    stroke(canvas, points);
    sharp.endStroke();
    canvas.endStroke();
    EXPECT_EQ(sharp.layer(0).finishedImage().size(), QSize(800, 600));
    const QImage image = sharp.renderToImage(CanvasRect{0, 0, 400, 300});
    const QImage plain = canvas.renderToImage(CanvasRect{0, 0, 400, 300});
    ASSERT_EQ(image.size(), QSize(400, 300));
    double sum = 0;
    for (int y = 0; y < 300; ++y) {
        for (int x = 0; x < 400; ++x)
            sum += std::abs(qAlpha(image.pixel(x, y)) - qAlpha(plain.pixel(x, y)));
    }
    EXPECT_LT(sum / (400 * 300), 1) << "the same strokes at the same place";
}

/// Two screens side by side, each in its own scale.
class TwoScaleCanvas : public Canvas, public testing::WithParamInterface<std::pair<double, double>> {};

TEST_P(TwoScaleCanvas, AStrokeAcrossBothMeetsAtTheirBorder)
{
    const auto [left, right] = GetParam();
    // Both are 360 native pixels high, so in points the canvas has a step between them.
    const int leftWidth = static_cast<int>(240 * left);
    const double heightLeft = 360 / left;
    const double heightRight = 360 / right;
    const double height = std::max(heightLeft, heightRight);
    const CanvasRegion west{{0, height - heightLeft, 240, heightLeft}, {0, 0, leftWidth, 360}, left};
    const CanvasRegion east{{240, height - heightRight, 240, heightRight},
                            {leftWidth, 0, static_cast<int>(240 * right), 360},
                            right};
    DrawingCanvasView both({0, 0, 480, height}, drawing, *session, {west, east});
    const QPointF from(60, 60);
    const QPointF to(leftWidth + 200, 300);
    stroke(both, {both.fromNative(from), both.fromNative(to)});
    both.endStroke();

    /// The middle of the line in a native column of the desktop.
    const auto centreAt = [&](int nativeX) {
        const StrokeLayer& layer = both.layer(nativeX < leftWidth ? 0 : 1);
        const int x = nativeX - layer.native().x();
        int first = -1;
        int last = -1;
        for (int y = 0; y < layer.finishedImage().height(); ++y) {
            if (qAlpha(layer.finishedImage().pixel(x, y)) > 127) {
                first = first < 0 ? y : first;
                last = y;
            }
        }
        return first < 0 ? -1000.0 : (first + last + 1) / 2.0;
    };
    for (const int x : {100, leftWidth - 1, leftWidth, leftWidth + 100}) {
        const double expected = from.y() + (x + 0.5 - from.x()) / (to.x() - from.x()) * (to.y() - from.y());
        EXPECT_NEAR(centreAt(x), expected, 1) << "in column " << x;
    }
    // Each screen's picture holds its own part, in points.
    const QImage picture = both.renderToImage(west.area);
    EXPECT_EQ(picture.width(), 240);
    EXPECT_GT(qAlpha(picture.pixel(static_cast<int>(60 / left) + 2, static_cast<int>(60 / left) + 1)), 127);
    const QImage other = both.renderToImage(east.area);
    EXPECT_EQ(other.width(), 240);
    EXPECT_GT(qAlpha(other.pixel(static_cast<int>(200 / right) - 1, static_cast<int>(300 / right) - 1)), 127);
    EXPECT_EQ(qAlpha(other.pixel(static_cast<int>(200 / right) + 5, static_cast<int>(300 / right))), 0);
}

TEST_F(Canvas, NativePixelsAndPointsLeadBack)
{
    const CanvasRegion west{{0, 0, 200, 300}, {0, 0, 400, 600}, 2};
    const CanvasRegion east{{400, 100, 120, 200}, {400, 0, 120, 200}, 1};
    const DrawingCanvasView both({0, 0, 520, 300}, drawing, *session, {west, east});
    EXPECT_EQ(both.fromNative({0, 0}), (CanvasPoint{0, 300}));
    EXPECT_EQ(both.fromNative({398, 599}), (CanvasPoint{199, 0.5}));
    EXPECT_EQ(both.fromNative({400, 0}), (CanvasPoint{400, 300})) << "the border belongs to the right screen";
    EXPECT_EQ(both.fromNative({519, 199}), (CanvasPoint{519, 101}));
    EXPECT_EQ(both.fromNative({419, 400}), (CanvasPoint{209.5, 100}))
        << "off all screens: as the nearest one counts";
}

INSTANTIATE_TEST_SUITE_P(Scales, TwoScaleCanvas,
                         testing::Values(std::pair{1.0, 2.0}, std::pair{2.0, 1.0}, std::pair{1.5, 1.25},
                                         std::pair{1.0, 1.0}),
                         [](const auto& scales) { return "Case" + std::to_string(scales.index); });

TEST_F(Canvas, ARenderedPictureStaysAsItWas)
{
    stroke(canvas, {{50, 150}, {350, 150}});
    canvas.endStroke();
    const QImage before = canvas.renderToImage(CanvasRect{0, 0, 400, 300});
    const QImage copy = before.copy();
    stroke(canvas, {{50, 50}, {350, 50}});
    canvas.endStroke();
    EXPECT_EQ(before, copy);
    EXPECT_NE(canvas.renderToImage(CanvasRect{0, 0, 400, 300}), copy);
}

TEST(TransparentImage, OfNoSizeIsNull)
{
    EXPECT_TRUE(transparentImage({}).isNull());
    EXPECT_TRUE(transparentImage({0, 10}).isNull());
    EXPECT_TRUE(transparentImage({-3, 10}).isNull());
}

} // namespace
} // namespace velmo
