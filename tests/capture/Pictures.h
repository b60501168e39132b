#pragma once

#include <QImage>
#include <QPainter>
#include <algorithm>
#include <cmath>
#include <random>

/// What capture tests have captured, and how they compare pictures.
namespace velmo {

/// Windows and lines of something like text: mostly flat, with hard edges.
inline QImage flatPicture(QSize size)
{
    QImage image(size, QImage::Format_RGB32);
    image.fill(QColor(0xf4, 0xf4, 0xf6));
    QPainter painter(&image);
    painter.fillRect(size.width() / 8, size.height() / 8, size.width() / 2, size.height() / 2, Qt::white);
    painter.fillRect(size.width() / 8, size.height() / 8, size.width() / 2, 24, QColor(0x30, 0x50, 0x90));
    std::mt19937 random(7);
    for (int y = 0; y + 9 < size.height(); y += 16) {
        for (int x = 0; x + 5 < size.width(); x += 7)
            painter.fillRect(x, y + int(random() % 4), 1 + int(random() % 4), 1 + int(random() % 6),
                             QColor(0x20, 0x20, 0x28));
    }
    return image;
}

/// Soft shapes with noise on them, as a camera sees them: no two neighbours are equal.
inline QImage photograph(QSize size, QImage::Format format = QImage::Format_RGB32)
{
    QImage image(size, QImage::Format_ARGB32);
    std::mt19937 random(11);
    for (int y = 0; y < size.height(); ++y) {
        for (int x = 0; x < size.width(); ++x) {
            const auto channel = [&](double phase) {
                const double light = 128 + 60 * std::sin(x / 37.0 + phase) + 40 * std::cos(y / 23.0 - phase);
                return std::clamp(int(light) + int(random() % 21) - 10, 0, 255);
            };
            image.setPixel(x, y, qRgba(channel(0), channel(1), channel(2), channel(3)));
        }
    }
    return image.convertToFormat(format);
}

/// The largest difference of any channel of any pixel; 256 when the sizes differ.
inline int largestDifference(const QImage& first, const QImage& second)
{
    if (first.size() != second.size())
        return 256;
    int largest = 0;
    for (int y = 0; y < first.height(); ++y) {
        for (int x = 0; x < first.width(); ++x) {
            const QRgb a = first.pixel(x, y);
            const QRgb b = second.pixel(x, y);
            largest = std::max({largest, std::abs(qRed(a) - qRed(b)), std::abs(qGreen(a) - qGreen(b)),
                                std::abs(qBlue(a) - qBlue(b)), std::abs(qAlpha(a) - qAlpha(b))});
        }
    }
    return largest;
}

/// Strokes as a canvas renders them: on a transparent ground, with soft edges.
inline QImage strokes(QSize size)
{
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(Qt::red, 4, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.drawEllipse(
        QRectF(size.width() * 0.3, size.height() * 0.2, size.width() * 0.4, size.height() * 0.5));
    return image;
}

} // namespace velmo
