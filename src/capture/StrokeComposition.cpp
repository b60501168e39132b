#include "capture/StrokeComposition.h"

#include <QPainter>
#include <algorithm>

namespace velmo {

namespace {

const QRgb* rowOf(const QImage& layer, int row)
{
    return reinterpret_cast<const QRgb*>(layer.constScanLine(row));
}

/// Without a way out in between, so that many pixels are looked at in one instruction.
bool isBlank(const QRgb* pixels, int count)
{
    QRgb all = 0;
    for (int x = 0; x < count; ++x)
        all |= pixels[x];
    return all == 0;
}

} // namespace

QRect paintedArea(const QImage& layer)
{
    const int width = layer.width();
    int top = 0;
    int bottom = layer.height() - 1;
    while (top <= bottom && isBlank(rowOf(layer, top), width))
        ++top;
    while (bottom > top && isBlank(rowOf(layer, bottom), width))
        --bottom;
    if (top > bottom)
        return {};
    // Only what lies outside of the columns found so far can still widen them.
    int left = width;
    int right = -1;
    const auto isPainted = [](QRgb pixel) { return pixel != 0; };
    for (int row = top; row <= bottom; ++row) {
        const QRgb* begin = rowOf(layer, row);
        left = static_cast<int>(std::find_if(begin, begin + left, isPainted) - begin);
        const auto beyond = std::make_reverse_iterator(begin + right + 1);
        const auto last = std::find_if(std::make_reverse_iterator(begin + width), beyond, isPainted);
        right = static_cast<int>(last.base() - begin) - 1;
    }
    return QRect(QPoint(left, top), QPoint(right, bottom));
}

void layOver(QImage& picture, const QImage& layer)
{
    const QImage strokes = layer.convertToFormat(QImage::Format_ARGB32_Premultiplied);
    // Unstretched, the painter passes over what is transparent as fast as it could be looked for.
    const bool stretched = strokes.size() != picture.size();
    const QRect painted = stretched ? paintedArea(strokes) : strokes.rect();
    if (painted.isEmpty() || picture.isNull())
        return;
    // One more on each side, since what is stretched fades out into its transparent neighbours.
    const QRect area = painted.adjusted(-1, -1, 1, 1) & strokes.rect();
    const QImage part(strokes.constScanLine(area.top()) + area.left() * qsizetype(sizeof(QRgb)), area.width(),
                      area.height(), strokes.bytesPerLine(), strokes.format());
    QPainter painter(&picture);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    if (stretched)
        painter.scale(static_cast<double>(picture.width()) / strokes.width(),
                      static_cast<double>(picture.height()) / strokes.height());
    painter.drawImage(area.topLeft(), part);
}

} // namespace velmo
