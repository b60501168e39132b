#include "support/practice/ImageMeasure.h"

#include <webp/decode.h>

#include <algorithm>

namespace velmo::practice {

namespace {

QImage decodeWebp(const QByteArray& bytes)
{
    // The image format plugins of Qt need not be installed for WebP, and this format matters here.
    const auto* data = reinterpret_cast<const std::uint8_t*>(bytes.constData());
    const auto length = static_cast<std::size_t>(bytes.size());
    int width = 0;
    int height = 0;
    if (WebPGetInfo(data, length, &width, &height) == 0) {
        return {};
    }
    QImage image(width, height, QImage::Format_RGBA8888);
    if (image.isNull() ||
        WebPDecodeRGBAInto(data, length, image.bits(), static_cast<std::size_t>(image.sizeInBytes()),
                           static_cast<int>(image.bytesPerLine())) == nullptr) {
        return {};
    }
    return image;
}

QRect redBounds(const QImage& image, int redAbove, int othersBelow)
{
    int left = image.width();
    int right = -1;
    int top = -1;
    int bottom = -1;
    for (int y = 0; y < image.height(); ++y) {
        const auto* line = reinterpret_cast<const QRgb*>(image.constScanLine(y));
        for (int x = 0; x < image.width(); ++x) {
            const QRgb pixel = line[x];
            if (qRed(pixel) > redAbove && qGreen(pixel) < othersBelow && qBlue(pixel) < othersBelow &&
                qAlpha(pixel) > 127) {
                left = std::min(left, x);
                right = std::max(right, x);
                top = top < 0 ? y : top;
                bottom = y;
            }
        }
    }
    return right < 0 ? QRect() : QRect(QPoint(left, top), QPoint(right, bottom));
}

} // namespace

QString imageFormat(const QByteArray& bytes)
{
    if (bytes.startsWith("\x89PNG\r\n\x1a\n")) {
        return QStringLiteral("png");
    }
    if (bytes.startsWith("\xff\xd8\xff")) {
        return QStringLiteral("jpeg");
    }
    if (bytes.startsWith("RIFF") && bytes.mid(8, 4) == "WEBP") {
        return QStringLiteral("webp");
    }
    return bytes.startsWith("GIF8") ? QStringLiteral("gif") : QString();
}

QImage decodeImage(const QByteArray& bytes)
{
    const QString format = imageFormat(bytes);
    if (format.isEmpty()) {
        return {};
    }
    return format == QLatin1String("webp") ? decodeWebp(bytes)
                                           : QImage::fromData(bytes, format.toLatin1().constData());
}

ImageMeasure measureImage(const QByteArray& bytes, const RedRule& rule)
{
    ImageMeasure measure;
    measure.format = imageFormat(bytes);
    const QImage image = decodeImage(bytes).convertToFormat(QImage::Format_ARGB32);
    if (image.isNull()) {
        return measure;
    }
    const bool lossy = measure.format == QLatin1String("jpeg") || measure.format == QLatin1String("webp");
    const int tolerance = lossy ? rule.lossyTolerance : 0;
    measure.size = image.size();
    measure.red = redBounds(image, rule.redAbove - tolerance, rule.othersBelow + tolerance);
    return measure;
}

QString redFragment(const ImageMeasure& measure)
{
    if (!measure.red.isValid()) {
        return QStringLiteral("no red strokes");
    }
    const QRect& red = measure.red;
    const double centreX = (red.left() + red.right()) / 2.0;
    const double centreY = (red.top() + red.bottom()) / 2.0;
    return QStringLiteral("red strokes: x=%1..%2 y=%3..%4 centre=%5%,%6% (%7,%8)")
        .arg(red.left())
        .arg(red.right())
        .arg(red.top())
        .arg(red.bottom())
        .arg(qRound(100.0 * centreX / measure.size.width()))
        .arg(qRound(100.0 * centreY / measure.size.height()))
        .arg(qRound(centreX))
        .arg(qRound(centreY));
}

} // namespace velmo::practice
