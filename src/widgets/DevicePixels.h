#pragma once

#include <QPainter>
#include <algorithm>
#include <cmath>

namespace velmo {

/// The rectangle nearest to that one that covers whole pixels of the painter's device, at least one each way:
/// what is drawn there has sharp edges at every scale. In the painter's coordinates; it must not be rotated.
[[nodiscard]] inline QRectF snappedToPixels(const QPainter& painter, const QRectF& rectangle)
{
    const QTransform toDevice = painter.deviceTransform();
    const QRectF device = toDevice.mapRect(rectangle);
    const QRectF snapped(std::round(device.x()), std::round(device.y()),
                         std::max(1.0, std::round(device.width())),
                         std::max(1.0, std::round(device.height())));
    return toDevice.inverted().mapRect(snapped);
}

} // namespace velmo
