#pragma once

#include "core/Geometry.h"

#include <QPointF>
#include <QRectF>
#include <QString>

namespace velmo {

/// Every conversion between screen coordinates, the toolkit's coordinates, the canvas and native pixels.
/// Plain value, any thread.
///
/// The toolkit's global coordinates have their origin at the top left of the desktop and y growing downwards;
/// the main screen is anywhere in them.
class CoordinateSpace {
public:
    /// The main screen's rectangle in the toolkit's global coordinates; a null rectangle when there is no
    /// screen.
    explicit CoordinateSpace(QRectF mainScreen = {})
        : mainScreen_(mainScreen)
    {}

    [[nodiscard]] ScreenPoint fromQt(QPointF point) const;
    [[nodiscard]] QPointF toQt(ScreenPoint point) const;
    [[nodiscard]] ScreenRect fromQt(const QRectF& rect) const;
    [[nodiscard]] QRectF toQt(const ScreenRect& rect) const;

private:
    QRectF mainScreen_;
};

/// A native pixel on a screen as a screen point; the pixel's own screen gives frame, native frame and scale.
[[nodiscard]] ScreenPoint screenPointFromNative(PixelPoint pixel, PixelRect nativeFrame,
                                                const ScreenRect& frame, double scale);

/// Between the two ways to count from the main screen, whose upper edge is at mainTop in screen coordinates.
[[nodiscard]] ScreenPoint screenPointFromTopDown(TopDownPoint point, double mainTop);
[[nodiscard]] TopDownPoint topDownFromScreen(ScreenPoint point, double mainTop);

/// From global screen coordinates to the canvas that covers unionRect.
[[nodiscard]] CanvasPoint canvasPointFromScreen(ScreenPoint point, const ScreenRect& unionRect);
[[nodiscard]] CanvasRect canvasRectFromScreen(const ScreenRect& rect, const ScreenRect& unionRect);
[[nodiscard]] ScreenPoint screenPointFromCanvas(CanvasPoint point, const ScreenRect& unionRect);

/// From the canvas to the toolkit's top-down coordinates in an image or widget of the canvas's height.
[[nodiscard]] QPointF topDownFromCanvas(CanvasPoint point, double canvasHeight);
[[nodiscard]] QRectF topDownFromCanvas(const CanvasRect& rect, double canvasHeight);
[[nodiscard]] CanvasPoint canvasFromTopDown(QPointF point, double canvasHeight);

/// Coordinates and sizes appear in the log as whole numbers, cut towards zero.
[[nodiscard]] qint64 wholeNumber(double value);
[[nodiscard]] QString describe(ScreenPoint point);      ///< "x,y"
[[nodiscard]] QString describe(const ScreenRect& rect); ///< "(x, y, width, height)"

} // namespace velmo
