#include "input/MenuPlace.h"

#include <algorithm>
#include <array>
#include <optional>

namespace velmo {

namespace {

enum class Side { Top, Bottom, Left, Right };

/// Bars open drawers for items that have no room on them, and an item may be pressed in one.
constexpr int kDrawerReach = 400;

struct Margin {
    Side side;
    int width;
};

/// From the sides of the outer rectangle to the inner one.
std::array<Margin, 4> marginsAround(const QRect& inner, const QRect& outer)
{
    return {{{Side::Top, inner.top() - outer.top()},
             {Side::Bottom, outer.bottom() - inner.bottom()},
             {Side::Left, inner.left() - outer.left()},
             {Side::Right, outer.right() - inner.right()}}};
}

/// Where the item's bar is: the one that the item is on, else at the nearest edge of the screen, since a bar
/// that hides leaves no room free.
Side sideOf(const QRect& item, const MenuRoom& room)
{
    const QPoint centre = item.center();
    if (!room.available.contains(centre)) {
        const auto outside = marginsAround(QRect(centre, QSize(1, 1)), room.available);
        return std::ranges::min_element(outside, {}, &Margin::width)->side;
    }
    const auto distances = marginsAround(item, room.screen);
    return std::ranges::min_element(distances, {}, &Margin::width)->side;
}

QPoint within(QPoint corner, QSize menu, const QRect& area)
{
    // Too large a menu begins where the area does.
    const int left = std::max(std::min(corner.x(), area.right() + 1 - menu.width()), area.left());
    const int top = std::max(std::min(corner.y(), area.bottom() + 1 - menu.height()), area.top());
    return {left, top};
}

/// The widest one; nothing where no room is kept free for any.
std::optional<Side> sideWithBar(const MenuRoom& room)
{
    const auto margins = marginsAround(room.available, room.screen);
    const auto* widest = std::ranges::max_element(margins, {}, &Margin::width);
    return widest->width > 0 ? std::optional(widest->side) : std::nullopt;
}

} // namespace

QPoint menuPlaceBeside(const QRect& item, QSize menu, const MenuRoom& room)
{
    QPoint corner = item.topLeft();
    switch (sideOf(item, room)) {
    case Side::Top:
        corner.setY(item.bottom() + 1);
        break;
    case Side::Bottom:
        corner.setY(item.top() - menu.height());
        break;
    case Side::Left:
        corner.setX(item.right() + 1);
        break;
    case Side::Right:
        corner.setX(item.left() - menu.width());
        break;
    }
    // Not the whole screen: over the bar, the menu would have its last items where the item is pressed.
    return within(corner, menu, room.available);
}

QPoint menuPlaceWithoutItem(QPoint pointer, QSize menu, const MenuRoom& room)
{
    const auto bar = sideWithBar(room);
    const QRect far = room.available.adjusted(
        bar == Side::Left ? kDrawerReach : 0, bar == Side::Top ? kDrawerReach : 0,
        bar == Side::Right ? -kDrawerReach : 0, bar == Side::Bottom ? -kDrawerReach : 0);
    if (!bar || !far.contains(pointer))
        return menuPlaceBeside(QRect(pointer, QSize(1, 1)), menu, room);
    // Status items are at the right end of a bar, or at its lower one.
    QPoint corner(room.available.right() + 1 - menu.width(), room.available.bottom() + 1 - menu.height());
    if (bar == Side::Top)
        corner.setY(room.available.top());
    else if (bar == Side::Left)
        corner.setX(room.available.left());
    return within(corner, menu, room.available);
}

} // namespace velmo
