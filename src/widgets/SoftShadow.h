#pragma once

#include <QColor>
#include <QRectF>

class QPainter;

namespace velmo {

/// A shadow without a hard edge below a rounded rectangle.
struct SoftShadow {
    double drop = 0; ///< How far it is moved down.
    double blur = 0; ///< How far it reaches beyond the rectangle.
    float alpha = 0; ///< Of black, at its darkest.

    /// Points that it needs on each side at most.
    [[nodiscard]] int margin() const { return static_cast<int>(drop + blur); }
};

/// Paints it around the rectangle; below the rectangle itself it is painted, too.
void paintSoftShadow(QPainter& painter, const QRectF& rectangle, double radius, const SoftShadow& shadow);

} // namespace velmo
