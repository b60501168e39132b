#pragma once

#include <QPainter>

namespace velmo {

/// Draws a line along the inside of a rounded box, and fills what is in it. The painter keeps that pen and
/// brush.
inline void drawRoundedBorder(QPainter& painter, const QRectF& box, double radius, const QPen& line,
                              const QBrush& ground = Qt::NoBrush)
{
    const double half = line.widthF() / 2;
    painter.setPen(line);
    painter.setBrush(ground);
    painter.drawRoundedRect(box.adjusted(half, half, -half, -half), radius - half, radius - half);
}

} // namespace velmo
