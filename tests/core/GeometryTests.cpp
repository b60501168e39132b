#include "core/CoordinateSpace.h"
#include "core/Loopback.h"
#include "support/core/Printing.h"

#include <gtest/gtest.h>
#include <limits>

namespace velmo {
namespace {

TEST(WholeNumberTest, CutsTowardsZero)
{
    EXPECT_EQ(wholeNumber(1500.7), 1500);
    EXPECT_EQ(wholeNumber(1500.999), 1500);
    EXPECT_EQ(wholeNumber(-0.9), 0);
    EXPECT_EQ(wholeNumber(-1.9), -1);
    EXPECT_EQ(wholeNumber(0.5), 0);
}

TEST(WholeNumberTest, ToleratesWhatNoIntegerHolds)
{
    EXPECT_EQ(wholeNumber(std::numeric_limits<double>::quiet_NaN()), 0);
    EXPECT_EQ(wholeNumber(std::numeric_limits<double>::infinity()), std::numeric_limits<qint64>::max());
    EXPECT_EQ(wholeNumber(-1e300), std::numeric_limits<qint64>::min());
}

TEST(WholeNumberTest, CoordinatesAreWrittenAsWholeNumbers)
{
    EXPECT_EQ(describe(ScreenPoint{1500.7, -0.9}), u"1500,0");
    EXPECT_EQ(describe(ScreenPoint{-12.5, 3}), u"-12,3");
    EXPECT_EQ(describe(ScreenRect{-1280.5, 0, 1280.9, 1024}), u"(-1280, 0, 1280, 1024)");
}

TEST(ScreenRectTest, ContainsItsLeftAndTopEdgesOnly)
{
    const ScreenRect rect{-10, -20, 30, 40};
    EXPECT_TRUE(rect.contains({-10, 20}));
    EXPECT_TRUE(rect.contains({19.9, -19.9}));
    EXPECT_FALSE(rect.contains({20, 0}));
    EXPECT_FALSE(rect.contains({0, 20.1}));
    EXPECT_FALSE(rect.contains({-10.1, 0}));
    EXPECT_FALSE(rect.contains({0, -20}));
}

TEST(ScreenRectTest, AUnionStartsFromTheOrigin)
{
    EXPECT_EQ(ScreenRect().united({100, 50, 10, 10}), (ScreenRect{0, 0, 110, 60}));
    EXPECT_EQ(ScreenRect().united({-30, -20, 10, 10}), (ScreenRect{-30, -20, 30, 20}));
    EXPECT_EQ((ScreenRect{0, 0, 1920, 1080}).united({-1280, -200, 1280, 1024}),
              (ScreenRect{-1280, -200, 3200, 1280}));
}

TEST(ScreenRectTest, KnowsItsEdges)
{
    const ScreenRect rect{-10, -20, 30, 40};
    EXPECT_EQ(rect.minX(), -10);
    EXPECT_EQ(rect.minY(), -20);
    EXPECT_EQ(rect.maxX(), 20);
    EXPECT_EQ(rect.maxY(), 20);
    EXPECT_EQ(rect.midX(), 5);
}

/// A main screen that is not at the toolkit's origin.
const CoordinateSpace kSpace(QRectF(1280, 100, 1920, 1080));

TEST(CoordinateSpaceTest, TheOriginIsTheMainScreensBottomLeft)
{
    EXPECT_EQ(kSpace.fromQt(QPointF(1280, 1180)), (ScreenPoint{0, 0}));
    EXPECT_EQ(kSpace.fromQt(QPointF(1280, 100)), (ScreenPoint{0, 1080}));
    EXPECT_EQ(kSpace.fromQt(QPointF(0, 0)), (ScreenPoint{-1280, 1180}));
    EXPECT_EQ(kSpace.toQt(ScreenPoint{10, 20}), QPointF(1290, 1160));
}

TEST(CoordinateSpaceTest, RectanglesKeepTheirSize)
{
    EXPECT_EQ(kSpace.fromQt(QRectF(1280, 100, 1920, 1080)), (ScreenRect{0, 0, 1920, 1080}));
    EXPECT_EQ(kSpace.fromQt(QRectF(0, 356, 1280, 1024)), (ScreenRect{-1280, -200, 1280, 1024}));
    EXPECT_EQ(kSpace.toQt(ScreenRect{-1280, -200, 1280, 1024}), QRectF(0, 356, 1280, 1024));
}

TEST(CoordinateSpaceTest, ThereAndBackIsTheSame)
{
    const ScreenPoint point{12.25, -700.5};
    EXPECT_EQ(kSpace.fromQt(kSpace.toQt(point)), point);
    const ScreenRect rect{12.25, -700.5, 33, 44};
    EXPECT_EQ(kSpace.fromQt(kSpace.toQt(rect)), rect);
}

TEST(CoordinateSpaceTest, NativePixelsAreScaledWithinTheirScreen)
{
    const PixelRect native{2560, 0, 3840, 2160};
    const ScreenRect frame{1280, 0, 1920, 1080};
    EXPECT_EQ(screenPointFromNative({2560, 2160}, native, frame, 2), (ScreenPoint{1280, 0}));
    EXPECT_EQ(screenPointFromNative({2560, 0}, native, frame, 2), (ScreenPoint{1280, 1080}));
    EXPECT_EQ(screenPointFromNative({2563, 1}, native, frame, 2), (ScreenPoint{1281.5, 1079.5}));
}

TEST(CoordinateSpaceTest, TheCanvasCoversTheUnion)
{
    const ScreenRect unionRect{-1280, -200, 3200, 1280};
    EXPECT_EQ(canvasPointFromScreen({-1280, -200}, unionRect), (CanvasPoint{0, 0}));
    EXPECT_EQ(canvasPointFromScreen({0, 0}, unionRect), (CanvasPoint{1280, 200}));
    EXPECT_EQ(canvasRectFromScreen({0, 0, 1920, 1080}, unionRect), (CanvasRect{1280, 200, 1920, 1080}));
    EXPECT_EQ(screenPointFromCanvas({1280, 200}, unionRect), (ScreenPoint{0, 0}));
}

TEST(CoordinateSpaceTest, ImagesOfTheCanvasAreTopDown)
{
    EXPECT_EQ(topDownFromCanvas(CanvasPoint{10, 20}, 1280), QPointF(10, 1260));
    EXPECT_EQ(topDownFromCanvas(CanvasRect{1280, 200, 1920, 1080}, 1280), QRectF(1280, 0, 1920, 1080));
    EXPECT_EQ(topDownFromCanvas(CanvasRect{0, 0, 1280, 1024}, 1280), QRectF(0, 256, 1280, 1024));
    EXPECT_EQ(canvasFromTopDown(QPointF(10, 1260), 1280), (CanvasPoint{10, 20}));
}

TEST(LoopbackTest, KnowsThisComputersNames)
{
    for (const char* host :
         {"localhost", "LOCALHOST", "localhost.", "api.localhost", "127.0.0.1", "127.8.8.8", "::1"})
        EXPECT_TRUE(isLoopbackHost(QString::fromLatin1(host))) << host;
}

TEST(LoopbackTest, DoesNotTakeOthersForThisComputer)
{
    for (const char* host : {"", "example.com", "localhost.example.com", "notlocalhost",
                             "127.0.0.1.example.com", "128.0.0.1", "0.0.0.0", "::", "fe80::1", "1.0.0.127"})
        EXPECT_FALSE(isLoopbackHost(QString::fromLatin1(host))) << host;
    EXPECT_FALSE(isLoopbackHost(QStringLiteral("lоcalhost"))) << "with a Cyrillic letter";
}

} // namespace
} // namespace velmo
