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

StrokeLayer::StrokeLayer(const QRectF& area, QSize pixels)
    : area_(area)
    , pixels_(pixels)
    , horizontalScale_(area.width() > 0 ? pixels.width() / area.width() : 1)
    , verticalScale_(area.height() > 0 ? pixels.height() / area.height() : 1)
{}

QPointF StrokeLayer::toPixels(QPointF point) const
{
    return {(point.x() - area_.x()) * horizontalScale_, (point.y() - area_.y()) * verticalScale_};
}

void StrokeLayer::addSegment(QPointF from, QPointF to, const QColor& color)
{
    // What a long diagonal touches is mostly not its own; in pieces, the cost is the line's length.
    const int pieces = 1 + static_cast<int>(QLineF(from, to).length() / kLongestPiece);
    const QPointF step = (to - from) / pieces;
    for (int piece = 0; piece < pieces; ++piece)
        addPiece(from + step * piece, piece + 1 == pieces ? to : from + step * (piece + 1), color);
}

/// Each piece is drawn by itself and joined by taking the denser of both at every pixel: drawn over one
/// another, the soft edges of overlapping pieces would add up to hard and beaded ones.
void StrokeLayer::addPiece(QPointF from, QPointF to, const QColor& color)
{
    const double horizontalReach = kReach * horizontalScale_;
    const double verticalReach = kReach * verticalScale_;
    const QRect touched = QRectF(toPixels(from), toPixels(to))
                              .normalized()
                              .adjusted(-horizontalReach, -verticalReach, horizontalReach, verticalReach)
                              .toAlignedRect() &
                          QRect(QPoint(), pixels_);
    if (touched.isEmpty())
        return;
    if (live_.image.isNull())
        live_.image = transparentImage(pixels_);
    QImage piece = transparentImage(touched.size());
    if (live_.image.isNull() || piece.isNull())
        return;
    live_.bounds |= touched;
    {
        QPainter painter(&piece);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.translate(-touched.topLeft());
        painter.scale(horizontalScale_, verticalScale_);
        painter.translate(-area_.topLeft());
        painter.setPen(QPen(color, kLineWidth, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        painter.drawLine(from, to);
    }
    for (int row = 0; row < touched.height(); ++row) {
        const auto* fresh = reinterpret_cast<const QRgb*>(piece.constScanLine(row));
        auto* ink = reinterpret_cast<QRgb*>(live_.image.scanLine(touched.y() + row)) + touched.x();
        for (int column = 0; column < touched.width(); ++column)
            ink[column] = qAlpha(fresh[column]) > qAlpha(ink[column]) ? fresh[column] : ink[column];
    }
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

void StrokeLayer::dropStroke()
{
    if (live_.bounds.isEmpty())
        return;
    QPainter painter(&live_.image);
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    painter.fillRect(live_.bounds, Qt::transparent);
    live_.bounds = {};
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
    const QRectF target(ink.x() / horizontalScale_ + area_.x(), ink.y() / verticalScale_ + area_.y(),
                        ink.width() / horizontalScale_, ink.height() / verticalScale_);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.drawImage(target, finished_.image, QRectF(ink));
}

} // namespace velmo
