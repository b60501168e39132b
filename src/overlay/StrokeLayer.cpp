#include "overlay/StrokeLayer.h"

#include <QLineF>
#include <QPainter>
#include <cstdlib>
#include <utility>

namespace velmo {

namespace {

constexpr double kLongestPiece = 96;

} // namespace

QImage transparentImage(QSize size)
{
    if (size.isEmpty())
        return {};
    constexpr qsizetype kBytesPerPixel = 4;
    const qsizetype bytesPerLine = size.width() * kBytesPerPixel;
    // Large zeroed memory comes as pages that exist only once they are written to. Filling an image instead
    // would touch all of it, at a stroke's first point.
    void* memory =
        std::calloc(static_cast<std::size_t>(size.height()), static_cast<std::size_t>(bytesPerLine));
    if (memory == nullptr)
        return {};
    return {static_cast<uchar*>(memory),         size.width(), size.height(), bytesPerLine,
            QImage::Format_ARGB32_Premultiplied, std::free,    memory};
}

StrokeLayer::StrokeLayer(const QRectF& area, const QRect& native, double scale)
    : area_(area)
    , native_(native)
    , scale_(scale)
{}

QPointF StrokeLayer::toNative(QPointF topDownPoint) const
{
    return QPointF(native_.topLeft()) + (topDownPoint - area_.topLeft()) * scale_;
}

QPointF StrokeLayer::fromNative(QPointF pixel) const
{
    return area_.topLeft() + (pixel - QPointF(native_.topLeft())) / scale_;
}

QRect StrokeLayer::addSegment(QPointF from, QPointF to, const QColor& color)
{
    // What a long diagonal touches is mostly not its own; in pieces, the cost is the line's length.
    const int pieces = 1 + static_cast<int>(QLineF(from, to).length() / kLongestPiece);
    const QPointF step = (to - from) / pieces;
    QRect touched;
    for (int piece = 0; piece < pieces; ++piece)
        touched |= addPiece(from + step * piece, piece + 1 == pieces ? to : from + step * (piece + 1), color);
    return touched;
}

/// Each piece is drawn by itself and joined by taking the denser of both at every pixel: drawn over one
/// another, the soft edges of overlapping pieces would add up to hard and beaded ones.
QRect StrokeLayer::addPiece(QPointF from, QPointF to, const QColor& color)
{
    // Half the pen, and what antialiasing adds.
    const double reach = kLineWidth / 2 * scale_ + 1;
    const QRect touched = QRectF(from, to)
                              .normalized()
                              .translated(-native_.topLeft())
                              .adjusted(-reach, -reach, reach, reach)
                              .toAlignedRect() &
                          QRect(QPoint(), native_.size());
    if (touched.isEmpty())
        return {};
    if (live_.image.isNull())
        live_.image = transparentImage(native_.size());
    QImage piece = transparentImage(touched.size());
    if (live_.image.isNull() || piece.isNull())
        return {};
    live_.bounds |= touched;
    {
        QPainter painter(&piece);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.translate(-(native_.topLeft() + touched.topLeft()));
        painter.setPen(QPen(color, kLineWidth * scale_, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        painter.drawLine(from, to);
    }
    for (int row = 0; row < touched.height(); ++row) {
        const auto* fresh = reinterpret_cast<const QRgb*>(piece.constScanLine(row));
        auto* ink = reinterpret_cast<QRgb*>(live_.image.scanLine(touched.y() + row)) + touched.x();
        for (int column = 0; column < touched.width(); ++column)
            ink[column] = qAlpha(fresh[column]) > qAlpha(ink[column]) ? fresh[column] : ink[column];
    }
    return touched;
}

void StrokeLayer::finishStroke()
{
    if (live_.bounds.isEmpty())
        return;
    if (finished_.image.isNull()) {
        finished_ = std::exchange(live_, {});
        return;
    }
    {
        QPainter painter(&finished_.image);
        painter.drawImage(live_.bounds.topLeft(), live_.image, live_.bounds);
    }
    finished_.bounds |= live_.bounds;
    dropStroke();
}

QRect StrokeLayer::dropStroke()
{
    const QRect dropped = std::exchange(live_.bounds, {});
    if (dropped.isEmpty())
        return {};
    QPainter painter(&live_.image);
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    painter.fillRect(dropped, Qt::transparent);
    return dropped;
}

void StrokeLayer::paint(QPainter& painter, const QRect& pixels) const
{
    for (const Ink* ink : {&finished_, &live_}) {
        const QRect part = pixels & ink->bounds;
        if (!part.isEmpty())
            painter.drawImage(part.topLeft(), ink->image, part);
    }
}

void StrokeLayer::renderFinished(QPainter& painter) const
{
    const QRect& ink = finished_.bounds;
    if (ink.isEmpty())
        return;
    const QRectF target(area_.topLeft() + QPointF(ink.topLeft()) / scale_, QSizeF(ink.size()) / scale_);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.drawImage(target, finished_.image, QRectF(ink));
}

} // namespace velmo
