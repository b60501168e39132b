#pragma once

#include "core/SessionCollaborators.h"
#include "overlay/DrawingState.h"

#include <QPainterPath>
#include <functional>
#include <vector>

class QPainter;

namespace velmo {

/// The strokes of one annotation, over the union of all screens. Points are canvas coordinates, except where
/// a name says top-down: those are the toolkit's, with the origin at the top left of the canvas. Main thread.
class DrawingCanvasView final : public DrawingCanvas {
public:
    struct Stroke {
        QPainterPath path; ///< Top-down, so that painting needs no conversion.
        QColor color;      ///< As it was when the stroke began.
    };

    /// Size in points.
    DrawingCanvasView(ScreenSize size, std::shared_ptr<DrawingState> drawingState);

    void beginStroke(CanvasPoint point) override;
    void extendStroke(CanvasPoint point) override;
    bool endStroke() override;
    [[nodiscard]] QImage renderToImage(std::optional<CanvasRect> area) const override;

    /// Paints every stroke; the painter's origin is the canvas's top left.
    void paint(QPainter& painter) const;

    /// Told which top-down area looks different now.
    std::function<void(const QRectF& topDownArea)> onChange;

private:
    void changed(const QRectF& area) const;

    ScreenSize size_;
    std::shared_ptr<DrawingState> drawingState_;
    std::vector<Stroke> strokes_;
    std::optional<Stroke> currentStroke_;
    bool hasCompletedFirstStroke_ = false;
};

} // namespace velmo
