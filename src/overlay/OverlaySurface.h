#pragma once

#include "overlay/DrawingCanvasView.h"
#include "widgets/FloatingWindow.h"

#include <functional>

namespace velmo {

/// The overlay's window on one screen: it shows that screen's part of the canvas and takes the mouse. Main
/// thread.
class OverlaySurface final : public FloatingWindow {
public:
    /// geometry is the screen's, in the toolkit's global coordinates; region is its place among the canvas's.
    /// The canvas outlives the surface.
    OverlaySurface(const QRect& geometry, const DrawingCanvasView& canvas, std::size_t region);

    /// What to show below the strokes where windows cannot be translucent, in native pixels of the screen;
    /// null where they can.
    void setBackdrop(const QPixmap& backdrop);
    /// Repaints those native pixels of the screen.
    void refresh(const QRect& pixels);
    /// Gives the pointer the shape that the canvas wants.
    void updatePointer();

    /// Positions are this window's own, of the left button only, and go on outside of it until the release.
    std::function<void(QPointF)> onPress;
    std::function<void(QPointF)> onDrag;
    std::function<void()> onRelease;
    /// Return or keypad Enter was pressed.
    std::function<void()> onConfirm;

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    const DrawingCanvasView& canvas_;
    std::size_t region_;
    QPixmap backdrop_;
    bool isPressed_ = false; ///< Here: a gesture's press that began elsewhere is fed in by the session.
};

} // namespace velmo
