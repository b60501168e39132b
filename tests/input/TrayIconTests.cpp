#include "input/TrayIcon.h"
#include "support/widgets/Palettes.h"
#include "widgets/SymbolIcon.h"

#include <QImage>
#include <QPainter>
#include <gmock/gmock.h>

namespace velmo {
namespace {

int inkedPixels(const QImage& image)
{
    int count = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x)
            count += image.pixelColor(x, y).alpha() > 128 ? 1 : 0;
    }
    return count;
}

TEST(TrayIcon, IsSharpAtEveryScale)
{
    const QIcon icon = trayIcon(Qt::white);
    for (const int side : {16, 22, 24, 32, 48}) {
        for (const double scale : {1.0, 1.5, 2.0}) {
            const QPixmap pixmap = icon.pixmap(QSize(side, side), scale);
            const int pixels = qRound(side * scale);
            EXPECT_EQ(pixmap.size(), QSize(pixels, pixels)) << side << " at " << scale;
            // Drawn for these very pixels; resampled from another size, it would differ.
            const QString drawing = pixels <= 18 ? QStringLiteral("pencil.and.scribble.small")
                                                 : QStringLiteral("pencil.and.scribble");
            EXPECT_EQ(pixmap.toImage(), symbolPixmap(drawing, Qt::white, pixels).toImage())
                << side << " at " << scale;
            EXPECT_GT(inkedPixels(pixmap.toImage()), pixels * pixels / 20) << side << " at " << scale;
        }
    }
}

TEST(TrayIcon, OffersTheSizesOfBarsThatCannotAsk)
{
    EXPECT_THAT(trayIcon(Qt::white).availableSizes(),
                testing::ElementsAre(QSize(16, 16), QSize(22, 22), QSize(24, 24), QSize(32, 32)));
}

TEST(TrayIcon, HasOneColorAlone)
{
    const QColor color(0x12, 0x34, 0x56);
    const QImage image = trayIcon(color).pixmap(QSize(24, 24), 2).toImage();
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            if (image.pixelColor(x, y).alpha() == 255) {
                EXPECT_EQ(image.pixelColor(x, y), color);
            }
        }
    }
}

TEST(TrayIcon, HasAPlainerDrawingWhereThereIsNoRoom)
{
    // The eraser's end is drawn in the larger sizes alone; scaled down, the drawings would be the same.
    const QIcon icon = trayIcon(Qt::black);
    const QImage small = icon.pixmap(QSize(16, 16), 1).toImage();
    const QImage scaled = icon.pixmap(QSize(32, 32), 1)
                              .toImage()
                              .scaled(16, 16, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    int different = 0;
    for (int y = 0; y < 16; ++y) {
        for (int x = 0; x < 16; ++x)
            different +=
                std::abs(small.pixelColor(x, y).alpha() - scaled.pixelColor(x, y).alpha()) > 64 ? 1 : 0;
    }
    EXPECT_GT(different, 10);
}

TEST(TrayIcon, StaysSquareInTheMiddleOfAnyArea)
{
    QImage image(QSize(60, 24), QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    trayIcon(Qt::black).paint(&painter, QRect(0, 0, 60, 24));
    painter.end();
    EXPECT_GT(inkedPixels(image), 20);
    EXPECT_EQ(inkedPixels(image.copy(0, 0, 18, 24)), 0);
    EXPECT_EQ(inkedPixels(image.copy(42, 0, 18, 24)), 0);
    EXPECT_EQ(trayIcon(Qt::black).pixmap(QSize(60, 24), 1).width(), 60);
}

TEST(TrayColor, IsWhatStandsOutOnTheBar)
{
    const QColor light(0xf2f2f5);
    const QColor dark(0x1c1c22);
    const QStringList gnome{QStringLiteral("ubuntu"), QStringLiteral("GNOME")};
    EXPECT_EQ(trayColor(std::nullopt, {}, lightPalette()), dark);
    EXPECT_EQ(trayColor(std::nullopt, {}, darkPalette()), light);
    EXPECT_EQ(trayColor(std::nullopt, {QStringLiteral("KDE")}, lightPalette()), dark);
    EXPECT_EQ(trayColor(std::nullopt, gnome, lightPalette()), light);
    EXPECT_EQ(trayColor(std::nullopt, {QStringLiteral("GNOME")}, lightPalette()), light);
    EXPECT_EQ(trayColor(std::nullopt, {QStringLiteral("Budgie"), QStringLiteral("GNOME")}, lightPalette()),
              dark);
    EXPECT_EQ(
        trayColor(std::nullopt, {QStringLiteral("GNOME-Flashback"), QStringLiteral("GNOME")}, lightPalette()),
        dark);
    EXPECT_EQ(trayColor(QColor(Qt::red), gnome, darkPalette()), QColor(Qt::red));
}

} // namespace
} // namespace velmo
