#include "capture/StrokeComposition.h"

#include "support/capture/Pictures.h"

#include <gtest/gtest.h>

namespace velmo {

void PrintTo(const QRect& rect, std::ostream* out)
{
    *out << rect.width() << 'x' << rect.height() << " at " << rect.x() << ',' << rect.y();
}

namespace {

QImage transparent(QSize size)
{
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    return image;
}

/// The straightforward way: all of the layer over all of the picture.
QImage laidOverPlainly(QImage picture, const QImage& layer)
{
    QPainter painter(&picture);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.drawImage(QRectF(QPointF(), picture.size()), layer, QRectF(layer.rect()));
    return picture;
}

QImage laidOver(QImage picture, const QImage& layer)
{
    layOver(picture, layer);
    return picture;
}

TEST(StrokeComposition, NothingPaintedIsAnEmptyArea)
{
    EXPECT_TRUE(paintedArea(transparent({40, 30})).isEmpty());
    EXPECT_TRUE(paintedArea(QImage()).isEmpty());
}

TEST(StrokeComposition, OnePaintedPixelIsTheWholeAreaWhereverItIs)
{
    for (const QPoint at : {QPoint(0, 0), QPoint(39, 0), QPoint(0, 29), QPoint(39, 29), QPoint(17, 11)}) {
        QImage layer = transparent({40, 30});
        layer.setPixel(at, 0x01000000);
        EXPECT_EQ(paintedArea(layer), QRect(at, QSize(1, 1)));
    }
}

TEST(StrokeComposition, ThePaintedAreaReachesFromTheFirstToTheLastInBothDirections)
{
    QImage layer = transparent({40, 30});
    for (const QPoint at : {QPoint(20, 5), QPoint(8, 12), QPoint(31, 13), QPoint(19, 27)})
        layer.setPixelColor(at, Qt::blue);
    EXPECT_EQ(paintedArea(layer), QRect(QPoint(8, 5), QPoint(31, 27)));
    layer.fill(Qt::red);
    EXPECT_EQ(paintedArea(layer), QRect(0, 0, 40, 30));
}

TEST(StrokeComposition, StrokesOfTheSameSizeLieExactlyWhereTheyWereDrawn)
{
    const QImage picture = photograph({400, 300});
    const QImage layer = strokes({400, 300});
    const QImage result = laidOver(picture, layer);
    EXPECT_EQ(result, laidOverPlainly(picture, layer));
    EXPECT_NE(result, picture);
}

TEST(StrokeComposition, AnotherSizeIsStretchedOverTheWholePicture)
{
    const QImage picture = photograph({400, 300});
    for (const QSize size :
         {QSize(200, 150), QSize(800, 600), QSize(133, 300), QSize(1, 1), QSize(399, 301)}) {
        SCOPED_TRACE(testing::Message() << size.width() << 'x' << size.height());
        const QImage layer = strokes(size);
        EXPECT_LE(largestDifference(laidOver(picture, layer), laidOverPlainly(picture, layer)), 2);
    }
}

TEST(StrokeComposition, AStretchedPixelKeepsItsPlace)
{
    QImage picture(400, 300, QImage::Format_RGB32);
    picture.fill(Qt::white);
    for (const QPoint at : {QPoint(0, 0), QPoint(39, 29), QPoint(20, 10)}) {
        QImage layer = transparent({40, 30});
        layer.setPixelColor(at, Qt::black);
        const QImage result = laidOver(picture, layer);
        EXPECT_LE(largestDifference(result, laidOverPlainly(picture, layer)), 2);
        EXPECT_LT(qRed(result.pixel(at.x() * 10 + 5, at.y() * 10 + 5)), 30);
        EXPECT_EQ(result.pixel((at.x() * 10 + 200) % 400, at.y() * 10 + 5), 0xffffffff);
    }
}

TEST(StrokeComposition, AnOpaqueLayerIsAllThatIsSeen)
{
    QImage layer(100, 80, QImage::Format_ARGB32_Premultiplied);
    layer.fill(QColor(1, 2, 3));
    QImage expected(100, 80, QImage::Format_RGB32);
    expected.fill(QColor(1, 2, 3));
    EXPECT_EQ(laidOver(photograph({100, 80}), layer), expected);
    EXPECT_EQ(laidOver(photograph({100, 80}), layer.scaled(50, 40)), expected);
    EXPECT_EQ(laidOver(photograph({100, 80}), layer.convertToFormat(QImage::Format_RGB888)), expected);
}

TEST(StrokeComposition, ATransparentOrEmptyLayerChangesNothing)
{
    const QImage picture = photograph({100, 80});
    EXPECT_EQ(laidOver(picture, transparent({100, 80})), picture);
    EXPECT_EQ(laidOver(picture, transparent({7, 5})), picture);
    EXPECT_EQ(laidOver(picture, QImage()), picture);
    EXPECT_TRUE(laidOver(QImage(), strokes({100, 80})).isNull());
}

TEST(StrokeComposition, HalfTransparentColorsAreMixed)
{
    QImage picture(10, 10, QImage::Format_RGB32);
    picture.fill(Qt::white);
    QImage layer(10, 10, QImage::Format_ARGB32);
    layer.fill(QColor(255, 0, 0, 128));
    QImage expected(10, 10, QImage::Format_RGB32);
    expected.fill(QColor(255, 127, 127));
    EXPECT_LE(largestDifference(laidOver(picture, layer), expected), 1);
}

TEST(StrokeComposition, ALayerForAFinerScreenCoversTheSameArea)
{
    const QImage picture = photograph({400, 300});
    QImage layer = strokes({800, 600});
    const QImage expected = laidOver(picture, layer);
    layer.setDevicePixelRatio(2);
    EXPECT_EQ(laidOver(picture, layer), expected);
}

} // namespace
} // namespace velmo
