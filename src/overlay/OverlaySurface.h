#pragma once

#include "core/Geometry.h"

#include <QPixmap>
#include <QWidget>
#include <functional>

namespace velmo {

class DrawingCanvasView;

/// The overlay's window on one screen: it shows its part of the canvas and takes the mouse. It never takes
/// the input focus. Main thread.
class OverlaySurface final : public QWidget {
public:
    /// canvasOrigin is where this screen's top left lies in the canvas's top-down coordinates.
    OverlaySurface(const QRect& screenGeometry, QPointF canvasOrigin, const DrawingCanvasView& canvas);

    /// What to show below the strokes where windows cannot be translucent.
    void setBackdrop(const QPixmap& backdrop) { backdrop_ = backdrop; }
    /// Repaints that area of the canvas, if it is on this screen.
    void refresh(const QRectF& topDownArea);

    /// Positions in the canvas's top-down coordinates, of the left button only.
    std::function<void(QPointF)> onPress;
    std::function<void(QPointF)> onDrag;
    std::function<void()> onRelease;

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    QPointF canvasOrigin_;
    const DrawingCanvasView& canvas_;
    QPixmap backdrop_;
};

} // namespace velmo
