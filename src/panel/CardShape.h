#pragma once

#include <QRect>
#include <QRegion>
#include <algorithm>
#include <cmath>
#include <vector>

namespace velmo {

/// The whole pixels that a rectangle in points covers at that scale, its bounds in the same window.
[[nodiscard]] inline QRect coveredPixels(const QRect& points, double scale)
{
    const auto first = [scale](int edge) { return static_cast<int>(std::ceil(edge * scale)); };
    const auto last = [scale](int edge) { return static_cast<int>(std::floor(edge * scale)); };
    return {QPoint(first(points.left()), first(points.top())),
            QPoint(last(points.right() + 1) - 1, last(points.bottom() + 1) - 1)};
}

/// The pixels of the rectangle whose middle is inside its rounded corners.
[[nodiscard]] inline QRegion roundedRegion(const QRect& pixels, double radius)
{
    const int rows = std::min(static_cast<int>(std::ceil(radius)), pixels.height() / 2);
    std::vector<QRect> bands;
    const auto addRow = [&](int row, int fromEdge) {
        const double rise = radius - fromEdge - 0.5;
        const double run = std::sqrt(std::max(radius * radius - rise * rise, 0.0));
        const int inset = std::max(static_cast<int>(std::ceil(radius - run - 0.5)), 0);
        bands.emplace_back(pixels.left() + inset, row, pixels.width() - 2 * inset, 1);
    };
    for (int row = 0; row < rows; ++row)
        addRow(pixels.top() + row, row);
    bands.push_back(pixels.adjusted(0, rows, 0, -rows));
    for (int row = rows - 1; row >= 0; --row)
        addRow(pixels.bottom() - row, row);
    QRegion region;
    region.setRects(bands.data(), static_cast<int>(bands.size()));
    return region;
}

} // namespace velmo
