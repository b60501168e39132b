#pragma once

#include <QImage>
#include <QPainter>
#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

/// What tests and benchmarks of pictures work on, and how they compare them.
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

/// What a camera sees: shapes of every size, the smaller the fainter, and the sensor's noise. Hardly two
/// neighbours are equal.
inline QImage photograph(QSize size, QImage::Format format = QImage::Format_RGB32)
{
    constexpr int kLayers = 6;
    constexpr int kChannels = 4;
    constexpr int kCells = 2 << kLayers;
    constexpr size_t kCorners = kCells + 2;
    std::mt19937 random(11);
    std::vector<float> heights(kChannels * kCorners * kCorners);
    for (float& height : heights)
        height = float(random() % 1024) / 1024 - 0.5F;
    const auto heightAt = [&](int channel, float x, float y) {
        const int column = int(x);
        const int row = int(y);
        const auto smooth = [](float part) { return part * part * (3 - 2 * part); };
        const float right = smooth(x - float(column));
        const float below = smooth(y - float(row));
        const float* corner =
            &heights[(size_t(channel) * kCorners + size_t(row)) * kCorners + size_t(column)];
        const float* next = corner + kCorners;
        return (corner[0] * (1 - right) + corner[1] * right) * (1 - below) +
               (next[0] * (1 - right) + next[1] * right) * below;
    };
    QImage image(size, QImage::Format_ARGB32);
    for (int y = 0; y < size.height(); ++y) {
        auto* pixels = reinterpret_cast<QRgb*>(image.scanLine(y));
        for (int x = 0; x < size.width(); ++x) {
            float light[kChannels] = {128, 128, 128, 128};
            float strength = 110;
            for (int layer = 0; layer < kLayers; ++layer, strength *= 0.62F) {
                const float scale = float(4 << layer) / float(std::max(size.width(), size.height()));
                for (int channel = 0; channel < kChannels; ++channel)
                    light[channel] += strength * heightAt(channel, float(x) * scale, float(y) * scale);
            }
            const auto noise = quint32(random());
            const auto level = [&](int channel) {
                return std::clamp(int(light[channel]) + int(noise >> (8 * channel)) % 8 - 4, 0, 255);
            };
            pixels[x] = qRgba(level(0), level(1), level(2), level(3));
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

/// The part of the pixels that look different, 1 when the sizes differ. What resampling rounds does not
/// count.
inline double differingPart(const QImage& first, const QImage& second)
{
    constexpr int kVisible = 8;
    if (first.size() != second.size())
        return 1;
    qsizetype count = 0;
    for (int y = 0; y < first.height(); ++y) {
        for (int x = 0; x < first.width(); ++x) {
            const QRgb a = first.pixel(x, y);
            const QRgb b = second.pixel(x, y);
            const bool differ = std::abs(qRed(a) - qRed(b)) > kVisible ||
                                std::abs(qGreen(a) - qGreen(b)) > kVisible ||
                                std::abs(qBlue(a) - qBlue(b)) > kVisible;
            count += differ ? 1 : 0;
        }
    }
    return double(count) / double(first.width()) / first.height();
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
