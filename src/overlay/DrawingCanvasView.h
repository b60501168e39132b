#pragma once

#include "core/AnnotationSession.h"
#include "overlay/DrawingState.h"
#include "overlay/StrokeLayer.h"

#include <QPolygonF>

namespace velmo {

/// A screen's part of the canvas.
struct CanvasRegion {
    CanvasRect area;  ///< In points.
    PixelRect native; ///< The screen in native pixels of the desktop.
    double scale = 1; ///< Native pixels per point.
};

/// The strokes of one annotation, over the union of all screens, which surfaces show a screen each. Points
/// are canvas coordinates, except where a name says top-down: those have their origin at the canvas's top
/// left. Main thread.
class DrawingCanvasView final : public DrawingCanvas {
public:
    struct Stroke {
        QPolygonF path; ///< Every point of the pointer's way, top-down.
        QColor color;   ///< As it was when the stroke began.
    };

    /// frame is what the canvas covers of the screens. Without regions it is one of a pixel per point.
    /// Strokes show in the regions only. The session outlives the canvas.
    DrawingCanvasView(const ScreenRect& frame, std::shared_ptr<DrawingState> drawingState,
                      AnnotationSession& session, const std::vector<CanvasRegion>& regions = {});

    void beginStroke(CanvasPoint point) override;
    void extendStroke(CanvasPoint point) override;
    bool endStroke() override;
    [[nodiscard]] QImage renderToImage(std::optional<CanvasRect> area) const override;

    /// The mouse's left button. Heeded only while the session is drawing.
    void mouseDown(CanvasPoint point);
    void mouseDragged(CanvasPoint point);
    /// The end of the first stroke moves the session on, on a later turn, unless the user says when.
    void mouseUp();

    [[nodiscard]] const std::vector<Stroke>& strokes() const { return strokes_; }
    [[nodiscard]] const std::optional<Stroke>& currentStroke() const { return currentStroke_; }
    [[nodiscard]] bool hasCompletedFirstStroke() const { return hasCompletedFirstStroke_; }

    /// Whether the pointer is the pen here.
    [[nodiscard]] bool showsPenCursor() const;
    /// From now on the pointer is the pen only while the session draws.
    void clearDrawingCursor();

    /// In the order of the regions.
    [[nodiscard]] const StrokeLayer& layer(std::size_t region) const { return layers_.at(region); }
    /// Where a native pixel of the desktop is in the canvas.
    [[nodiscard]] CanvasPoint fromNative(QPointF pixel) const;

    /// Told which of a region's pixels look different now.
    std::function<void(std::size_t region, const QRect& pixels)> onChange;
    /// Told when showsPenCursor() may have changed.
    std::function<void()> onCursorChange;

private:
    void changed(std::size_t region, const QRect& pixels) const;
    void dropCurrentStroke();
    [[nodiscard]] QPointF toNative(QPointF topDown) const;
    async::Task<> advanceAfterStroke();

    ScreenRect frame_;
    std::shared_ptr<DrawingState> drawingState_;
    AnnotationSession& session_;
    std::vector<StrokeLayer> layers_;
    std::vector<Stroke> strokes_;
    std::optional<Stroke> currentStroke_;
    bool hasCompletedFirstStroke_ = false;
    bool drawingCursorActive_ = false;
    async::TaskScope tasks_;
};

} // namespace velmo
