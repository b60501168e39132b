#include "overlay/PenCursor.h"

#include <QPainter>
#include <QPainterPath>
#include <QPixmap>
#include <cmath>
#include <map>

namespace velmo {

namespace {

constexpr int kSize = 24;
constexpr QPointF kTip(4, 20);
const QColor kInk(17, 17, 21);

/// The pencil lies along the x axis with its tip at the origin.
QPainterPath pencil()
{
    constexpr double kLength = 20;
    constexpr double kHalfWidth = 2.55;
    constexpr double kPoint = 5.2; ///< Where the point ends and the barrel begins.
    constexpr double kRounding = 1.6;
    QPainterPath path;
    path.moveTo(0, 0);
    path.lineTo(kPoint, -kHalfWidth);
    path.lineTo(kLength - kRounding, -kHalfWidth);
    path.quadTo(kLength, -kHalfWidth, kLength, -kHalfWidth + kRounding);
    path.lineTo(kLength, kHalfWidth - kRounding);
    path.quadTo(kLength, kHalfWidth, kLength - kRounding, kHalfWidth);
    path.lineTo(kPoint, kHalfWidth);
    path.closeSubpath();
    return path;
}

QCursor makePenCursor(double scale)
{
    constexpr double kCasing = 3.9;
    constexpr double kOutline = 1.85;
    constexpr double kFerrule = 15.8; ///< Where the eraser begins.
    constexpr double kHalfWidth = 2.55;
    QPixmap pixmap(QSize(kSize, kSize) * scale);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.scale(scale, scale);
    painter.translate(kTip);
    painter.rotate(-45);
    painter.setPen(QPen(Qt::white, kCasing, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.drawPath(pencil());
    painter.setPen(QPen(kInk, kOutline, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.setBrush(Qt::white);
    painter.drawPath(pencil());
    painter.drawLine(QPointF(kFerrule, -kHalfWidth), QPointF(kFerrule, kHalfWidth));
    painter.end();
    const QPoint tip = (kTip * scale).toPoint();
    return QCursor(pixmap, tip.x(), tip.y());
}

} // namespace

const QCursor& penCursor(double scale)
{
    static std::map<double, QCursor> cursors;
    auto found = cursors.find(scale);
    if (found == cursors.end())
        found = cursors.emplace(scale, makePenCursor(scale)).first;
    return found->second;
}

} // namespace velmo
