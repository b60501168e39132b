#pragma once

#include <QColor>
#include <QImage>
#include <QRectF>

class QPainter;

namespace velmo {

/// The ink on one screen, as pixels of that screen: every segment is drawn once, when it comes, so that
/// showing and rendering cost the same however much has been drawn. Positions are native pixels of the
/// desktop, in which neighbouring screens of different scales meet without a seam. Any one thread.
class StrokeLayer {
public:
    /// Width of the pen, in points.
    static constexpr double kLineWidth = 3;

    /// area: the screen in the canvas's top-down coordinates. native: the screen in native pixels. scale:
    /// native pixels per point.
    StrokeLayer(const QRectF& area, const QRect& native, double scale);

    /// Adds to the stroke in progress and returns which of the layer's pixels that changed; none where the
    /// segment does not meet this screen.
    QRect addSegment(QPointF from, QPointF to, const QColor& color);
    /// The stroke in progress joins the finished ones.
    void finishStroke();
    /// The stroke in progress vanishes from the pixels that are returned.
    QRect dropStroke();

    /// Paints that part of the layer, the stroke in progress on top. The painter's unit is this layer's
    /// pixel, its origin the layer's top left.
    void paint(QPainter& painter, const QRect& pixels) const;
    /// Paints the finished strokes into a painter of the canvas's top-down points.
    void renderFinished(QPainter& painter) const;

    [[nodiscard]] const QRectF& area() const { return area_; }
    [[nodiscard]] const QRect& native() const { return native_; }
    /// The finished strokes; null while there are none. A cheap copy.
    [[nodiscard]] const QImage& finishedImage() const { return finished_.image; }

    [[nodiscard]] QPointF toNative(QPointF topDownPoint) const;
    [[nodiscard]] QPointF fromNative(QPointF pixel) const;

private:
    /// Pixels, and the part of them that is not transparent.
    struct Ink {
        QImage image; ///< Null until there is something to show.
        QRect bounds;
    };

    QRect addPiece(QPointF from, QPointF to, const QColor& color);

    QRectF area_;
    QRect native_;
    double scale_;
    Ink finished_;
    Ink live_;
};

/// A picture without anything on it, in premultiplied ARGB. Its memory is taken page by page as it is drawn
/// on.
[[nodiscard]] QImage transparentImage(QSize size);

} // namespace velmo
