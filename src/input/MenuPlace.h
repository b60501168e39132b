#pragma once

#include <QPoint>
#include <QRect>
#include <QSize>

namespace velmo {

/// A screen that a menu opens on, in the toolkit's global coordinates. What is not available has bars.
struct MenuRoom {
    QRect screen;
    QRect available;
};

/// The upper left corner of a menu beside a bar's item, away from the edge of the screen that the bar is at,
/// and over no bar.
[[nodiscard]] QPoint menuPlaceBeside(const QRect& item, QSize menu, const MenuRoom& room);

/// The same where nobody tells where the item is: beside the pointer, if that may just have pressed it, else
/// at the end of the bar where such items are.
[[nodiscard]] QPoint menuPlaceWithoutItem(QPoint pointer, QSize menu, const MenuRoom& room);

} // namespace velmo
