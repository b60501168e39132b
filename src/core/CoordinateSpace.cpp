#include "core/CoordinateSpace.h"

#include <cmath>
#include <limits>

namespace velmo {

ScreenPoint CoordinateSpace::fromQt(QPointF point) const
{
    return {point.x() - mainScreen_.left(), mainScreen_.top() + mainScreen_.height() - point.y()};
}

QPointF CoordinateSpace::toQt(ScreenPoint point) const
{
    return {point.x + mainScreen_.left(), mainScreen_.top() + mainScreen_.height() - point.y};
}

ScreenRect CoordinateSpace::fromQt(const QRectF& rect) const
{
    const ScreenPoint corner = fromQt(QPointF(rect.left(), rect.top() + rect.height()));
    return {corner.x, corner.y, rect.width(), rect.height()};
}

QRectF CoordinateSpace::toQt(const ScreenRect& rect) const
{
    return {toQt(ScreenPoint{rect.x, rect.maxY()}), QSizeF(rect.width, rect.height)};
}

ScreenPoint screenPointFromNative(PixelPoint pixel, PixelRect nativeFrame, const ScreenRect& frame,
                                  double scale)
{
    return {frame.x + (pixel.x - nativeFrame.x) / scale, frame.maxY() - (pixel.y - nativeFrame.y) / scale};
}

ScreenPoint screenPointFromTopDown(TopDownPoint point, double mainTop)
{
    return {point.x, mainTop - point.y};
}

TopDownPoint topDownFromScreen(ScreenPoint point, double mainTop)
{
    return {point.x, mainTop - point.y};
}

CanvasPoint canvasPointFromScreen(ScreenPoint point, const ScreenRect& unionRect)
{
    return {point.x - unionRect.x, point.y - unionRect.y};
}

CanvasRect canvasRectFromScreen(const ScreenRect& rect, const ScreenRect& unionRect)
{
    return {rect.x - unionRect.x, rect.y - unionRect.y, rect.width, rect.height};
}

ScreenPoint screenPointFromCanvas(CanvasPoint point, const ScreenRect& unionRect)
{
    return {point.x + unionRect.x, point.y + unionRect.y};
}

QPointF topDownFromCanvas(CanvasPoint point, double canvasHeight)
{
    return {point.x, canvasHeight - point.y};
}

QRectF topDownFromCanvas(const CanvasRect& rect, double canvasHeight)
{
    return {rect.x, canvasHeight - (rect.y + rect.height), rect.width, rect.height};
}

CanvasPoint canvasFromTopDown(QPointF point, double canvasHeight)
{
    return {point.x(), canvasHeight - point.y()};
}

qint64 wholeNumber(double value)
{
    if (std::isnan(value))
        return 0;
    // Converting a value that the integer cannot hold is undefined, and coordinates come from outside.
    constexpr double kLimit = 9.0e18;
    if (value >= kLimit)
        return std::numeric_limits<qint64>::max();
    if (value <= -kLimit)
        return std::numeric_limits<qint64>::min();
    return static_cast<qint64>(value);
}

QString describe(ScreenPoint point)
{
    return QString::number(wholeNumber(point.x)) + u',' + QString::number(wholeNumber(point.y));
}

QString describe(const ScreenRect& rect)
{
    return u'(' + QString::number(wholeNumber(rect.x)) + QStringLiteral(", ") +
           QString::number(wholeNumber(rect.y)) + QStringLiteral(", ") +
           QString::number(wholeNumber(rect.width)) + QStringLiteral(", ") +
           QString::number(wholeNumber(rect.height)) + u')';
}

} // namespace velmo
