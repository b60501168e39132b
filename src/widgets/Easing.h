#pragma once

#include <QEasingCurve>
#include <QPointF>

namespace velmo {

/// The course of an animation as a cubic Bézier curve from (0, 0) to (1, 1) with those two control points.
[[nodiscard]] inline QEasingCurve bezierEasing(QPointF first, QPointF second)
{
    QEasingCurve curve(QEasingCurve::BezierSpline);
    curve.addCubicBezierSegment(first, second, QPointF(1, 1));
    return curve;
}

/// Fast at first, gentle at the end.
[[nodiscard]] inline QEasingCurve easeOut()
{
    return bezierEasing({0, 0}, {0.58, 1});
}

} // namespace velmo
