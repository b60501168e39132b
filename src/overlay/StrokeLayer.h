#pragma once

#include <QColor>
#include <QImage>
#include <QRectF>

class QPainter;

namespace velmo {

/// The ink on one screen, as pixels of that screen: every segment is drawn once, when it comes, so that
/// showing and rendering cost the same however much has been drawn. Points are the canvas's in top-down
/// coordinates. Any one thread.
class StrokeLayer {
public:
    /// Width of the pen, in points.
    static constexpr double kLineWidth = 3;
    /// How far a stroke reaches beyond its own line, in points: half the pen, and what antialiasing adds.
    static constexpr double kReach = kLineWidth / 2 + 1;

    /// area: the screen in the canvas. pixels: the screen's size in native pixels.
    StrokeLayer(const QRectF& area, QSize pixels);

    /// Adds to the stroke in progress; nothing where the segment does not meet this screen.
    void addSegment(QPointF from, QPointF to, const QColor& color);
    /// The stroke in progress joins the finished ones.
    void finishStroke();
    /// The stroke in progress vanishes.
    void dropStroke();

    /// Paints that part of the layer, the stroke in progress on top. The painter's unit is this layer's
    /// pixel, its origin the layer's top left.
    void paint(QPainter& painter, const QRect& pixels) const;
    /// Paints the finished strokes into a painter of canvas points.
    void renderFinished(QPainter& painter) const;

    [[nodiscard]] const QRectF& area() const { return area_; }
    [[nodiscard]] QSize pixels() const { return pixels_; }
    /// The finished strokes; null while there are none. A cheap copy.
    [[nodiscard]] const QImage& finishedImage() const { return finished_.image; }

private:
    /// Pixels, and the part of them that is not transparent.
    struct Ink {
        QImage image; ///< Null until there is something to show.
        QRect bounds;
    };

    [[nodiscard]] QPointF toPixels(QPointF point) const;
    void addPiece(QPointF from, QPointF to, const QColor& color);

    QRectF area_;
    QSize pixels_;
    double horizontalScale_; ///< Pixels per point.
    double verticalScale_;
    Ink finished_;
    Ink live_;
};

/// A picture without anything on it, in premultiplied ARGB. Its memory is taken page by page as it is drawn
/// on.
[[nodiscard]] QImage transparentImage(QSize size);

} // namespace velmo
