#pragma once

#include <QtGlobal>
#include <algorithm>

/// The coordinate spaces of the program. They are different types so that they cannot mix by accident;
/// CoordinateSpace.h holds every conversion between them.
namespace velmo {

/// Global screen coordinates in points: origin at the bottom left of the main screen, y growing upwards.
/// Logs and the session's interface speak in these.
struct ScreenPoint {
    double x = 0;
    double y = 0;
    friend bool operator==(const ScreenPoint&, const ScreenPoint&) = default;
};

struct ScreenSize {
    double width = 0;
    double height = 0;
    friend bool operator==(const ScreenSize&, const ScreenSize&) = default;
};

/// A rectangle in global screen coordinates; (x, y) is its bottom-left corner.
struct ScreenRect {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;

    [[nodiscard]] double minX() const { return x; }
    [[nodiscard]] double minY() const { return y; }
    [[nodiscard]] double midX() const { return x + width / 2; }
    [[nodiscard]] double maxX() const { return x + width; }
    [[nodiscard]] double maxY() const { return y + height; }

    /// Left and top edges belong to the rectangle, right and bottom edges do not: a pixel's point is its
    /// upper left corner, so the upper edge is where the first row of pixels is.
    [[nodiscard]] bool contains(ScreenPoint point) const
    {
        return point.x >= x && point.x < maxX() && point.y > y && point.y <= maxY();
    }

    /// The smallest rectangle around both. Unlike QRect::united, an empty rectangle counts with its origin:
    /// the union of all screens starts from the zero rectangle and so always includes the origin.
    [[nodiscard]] ScreenRect united(const ScreenRect& other) const
    {
        const double left = std::min(x, other.x);
        const double bottom = std::min(y, other.y);
        return {left, bottom, std::max(maxX(), other.maxX()) - left, std::max(maxY(), other.maxY()) - bottom};
    }

    friend bool operator==(const ScreenRect&, const ScreenRect&) = default;
};

/// View coordinates of the drawing canvas in points: origin at the bottom left of the union of all screens,
/// y growing upwards.
struct CanvasPoint {
    double x = 0;
    double y = 0;
    friend bool operator==(const CanvasPoint&, const CanvasPoint&) = default;
};

/// A rectangle of the canvas; (x, y) is its bottom-left corner.
struct CanvasRect {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;
    friend bool operator==(const CanvasRect&, const CanvasRect&) = default;
};

/// Where input events say they happened, in points: origin at the top left of the main screen, y growing
/// downwards.
struct TopDownPoint {
    double x = 0;
    double y = 0;
    friend bool operator==(const TopDownPoint&, const TopDownPoint&) = default;
};

/// Native pixels of the window system: origin at the top left of its root, y growing downwards.
struct PixelPoint {
    int x = 0;
    int y = 0;
    friend bool operator==(const PixelPoint&, const PixelPoint&) = default;
};

struct PixelRect {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;

    [[nodiscard]] bool contains(PixelPoint point) const
    {
        return point.x >= x && point.x < x + width && point.y >= y && point.y < y + height;
    }
    friend bool operator==(const PixelRect&, const PixelRect&) = default;
};

} // namespace velmo
