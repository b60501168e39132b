#include "input/TrayIcon.h"
#include "support/widgets/Palettes.h"
#include "widgets/SymbolIcon.h"

#include <QImage>
#include <QPainter>
#include <algorithm>
#include <cmath>
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
    const QIcon icon = trayIcon({Qt::white});
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
    EXPECT_THAT(trayIcon({Qt::white}).availableSizes(),
                testing::ElementsAre(QSize(16, 16), QSize(22, 22), QSize(24, 24), QSize(32, 32)));
}

TEST(TrayIcon, HasOneColorAlone)
{
    const QColor color(0x12, 0x34, 0x56);
    const QImage image = trayIcon({color}).pixmap(QSize(24, 24), 2).toImage();
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
    const QIcon icon = trayIcon({Qt::black});
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
    trayIcon({Qt::black}).paint(&painter, QRect(0, 0, 60, 24));
    painter.end();
    EXPECT_GT(inkedPixels(image), 20);
    EXPECT_EQ(inkedPixels(image.copy(0, 0, 18, 24)), 0);
    EXPECT_EQ(inkedPixels(image.copy(42, 0, 18, 24)), 0);
    EXPECT_EQ(trayIcon({Qt::black}).pixmap(QSize(60, 24), 1).width(), 60);
}

/// As people perceive it, from 0 to 1.
double luminance(const QColor& color)
{
    const auto linear = [](double channel) {
        return channel <= 0.04045 ? channel / 12.92 : std::pow((channel + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(color.redF()) + 0.7152 * linear(color.greenF()) + 0.0722 * linear(color.blueF());
}

/// How many pixels stand out on that ground as much as symbols have to.
int legiblePixels(QPixmap symbol, const QColor& ground)
{
    constexpr double kContrast = 3;
    QImage image(symbol.size(), QImage::Format_RGB32);
    image.fill(ground);
    symbol.setDevicePixelRatio(1);
    QPainter(&image).drawPixmap(0, 0, symbol);
    int count = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const auto [darker, lighter] =
                std::minmax({luminance(image.pixelColor(x, y)), luminance(ground)});
            count += (lighter + 0.05) / (darker + 0.05) >= kContrast ? 1 : 0;
        }
    }
    return count;
}

TEST(TrayIcon, CanBeMadeOutOnEveryGroundWithItsOutline)
{
    for (const QPalette& palette : {lightPalette(), darkPalette()}) {
        const TrayColors colors = trayColors(std::nullopt, {}, palette);
        ASSERT_TRUE(colors.outline.isValid());
        for (const QColor& ground :
             {QColor(Qt::white), QColor(0xe0e0e0), QColor(0x808080), QColor(0x404040), QColor(Qt::black)}) {
            const QColor best = luminance(ground) > 0.18 ? Qt::black : Qt::white;
            for (const int side : {16, 22, 24, 32}) {
                for (const double scale : {1.0, 2.0}) {
                    const auto legible = [&](const TrayColors& tried) {
                        return legiblePixels(trayIcon(tried).pixmap(QSize(side, side), scale), ground);
                    };
                    EXPECT_GE(legible(colors), legible({best}) * 3 / 4)
                        << colors.symbol.name().toStdString() << " on " << ground.name().toStdString() << ", "
                        << side << " at " << scale;
                }
            }
        }
    }
}

TEST(TrayIcon, LooksTheSamePaintedAndAsked)
{
    const TrayColors colors{Qt::black, Qt::white};
    for (const int side : {16, 22, 32}) {
        QImage painted(QSize(side, side) * 2, QImage::Format_ARGB32_Premultiplied);
        painted.setDevicePixelRatio(2);
        painted.fill(Qt::transparent);
        QPainter painter(&painted);
        trayIcon(colors).paint(&painter, QRect(0, 0, side, side));
        painter.end();
        painted.setDevicePixelRatio(1);
        EXPECT_EQ(painted,
                  outlinedSymbolPixmap(QStringLiteral("pencil.and.scribble"), Qt::black, Qt::white, 2 * side)
                      .toImage()
                      .convertToFormat(painted.format()))
            << side;
    }
}

TEST(TrayColors, AreOneColorWhereTheBarsBrightnessIsKnown)
{
    const QColor light(0xf2f2f5);
    const QColor dark(0x1c1c22);
    const QStringList gnome{QStringLiteral("ubuntu"), QStringLiteral("GNOME")};
    const QStringList plasma{QStringLiteral("KDE")};
    EXPECT_EQ(trayColors(QColor(Qt::red), gnome, darkPalette()), TrayColors{Qt::red});
    EXPECT_EQ(trayColors(QColor(Qt::red), {}, lightPalette()), TrayColors{Qt::red});
    EXPECT_EQ(trayColors(std::nullopt, plasma, lightPalette()), TrayColors{dark});
    EXPECT_EQ(trayColors(std::nullopt, plasma, darkPalette()), TrayColors{light});
    EXPECT_EQ(trayColors(std::nullopt, gnome, lightPalette()), TrayColors{light});
    EXPECT_EQ(trayColors(std::nullopt, {QStringLiteral("GNOME")}, lightPalette()), TrayColors{light});
}

TEST(TrayColors, HaveAnOutlineWhereNobodyKnowsIt)
{
    const QColor light(0xf2f2f5);
    const QColor dark(0x1c1c22);
    for (const QStringList& desktops : {QStringList(),
                                        {QStringLiteral("XFCE")},
                                        {QStringLiteral("LXQt")},
                                        {QStringLiteral("Budgie"), QStringLiteral("GNOME")},
                                        {QStringLiteral("GNOME-Flashback"), QStringLiteral("GNOME")}}) {
        EXPECT_EQ(trayColors(std::nullopt, desktops, lightPalette()), (TrayColors{dark, light}));
        EXPECT_EQ(trayColors(std::nullopt, desktops, darkPalette()), (TrayColors{light, dark}));
    }
}

} // namespace
} // namespace velmo
