#include "widgets/SoftShadow.h"

#include <QPainter>

namespace velmo {

void paintSoftShadow(QPainter& painter, const QRectF& rectangle, double radius, const SoftShadow& shadow)
{
    // Rings of little ink, one in the other, add up to a falling darkness.
    constexpr int kRings = 24;
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    double covered = 0;
    for (int ring = kRings; ring > 0; --ring) {
        const double nearness = 1 - (ring - 0.5) / kRings;
        const double wanted = static_cast<double>(shadow.alpha) * nearness * nearness;
        const double ink = (wanted - covered) / (1 - covered);
        covered = wanted;
        const double reach = shadow.blur * ring / kRings - shadow.blur * 0.3;
        painter.setBrush(QColor::fromRgbF(0, 0, 0, static_cast<float>(ink)));
        painter.drawRoundedRect(rectangle.adjusted(-reach, -reach, reach, reach).translated(0, shadow.drop),
                                radius + reach, radius + reach);
    }
    painter.restore();
}

} // namespace velmo
