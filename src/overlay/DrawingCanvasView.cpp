#include "overlay/DrawingCanvasView.h"

#include "core/CoordinateSpace.h"

#include <QPainter>
#include <cmath>

namespace velmo {

DrawingCanvasView::DrawingCanvasView(const ScreenRect& frame, std::shared_ptr<DrawingState> drawingState,
                                     AnnotationSession& session, const std::vector<CanvasRegion>& regions)
    : frame_(frame)
    , drawingState_(std::move(drawingState))
    , session_(session)
{
    for (const CanvasRegion& region : regions)
        layers_.emplace_back(topDownFromCanvas(region.area, frame_.height), region.pixels);
    if (regions.empty()) {
        const QRectF whole(0, 0, frame_.width, frame_.height);
        layers_.emplace_back(whole, whole.toAlignedRect().size());
    }
}

CanvasPoint DrawingCanvasView::fromTopDown(QPointF point) const
{
    return canvasFromTopDown(point, frame_.height);
}

void DrawingCanvasView::beginStroke(CanvasPoint point)
{
    if (!std::exchange(drawingCursorActive_, true) && onCursorChange)
        onCursorChange();
    dropCurrentStroke();
    currentStroke_ =
        Stroke{QPolygonF{topDownFromCanvas(point, frame_.height)}, drawingState_->selectedColor.value()};
}

void DrawingCanvasView::dropCurrentStroke()
{
    if (!currentStroke_)
        return;
    for (StrokeLayer& layer : layers_)
        layer.dropStroke();
    changed(currentStroke_->path.boundingRect());
    currentStroke_.reset();
}

void DrawingCanvasView::extendStroke(CanvasPoint point)
{
    if (!currentStroke_)
        return;
    const QPointF from = currentStroke_->path.last();
    const QPointF to = topDownFromCanvas(point, frame_.height);
    currentStroke_->path.append(to);
    for (StrokeLayer& layer : layers_)
        layer.addSegment(from, to, currentStroke_->color);
    changed(QRectF(from, to).normalized());
}

bool DrawingCanvasView::endStroke()
{
    if (!currentStroke_)
        return false;
    // It looks the same as a finished one, so there is nothing to show anew.
    for (StrokeLayer& layer : layers_)
        layer.finishStroke();
    strokes_.push_back(*std::exchange(currentStroke_, std::nullopt));
    return !std::exchange(hasCompletedFirstStroke_, true);
}

QImage DrawingCanvasView::renderToImage(std::optional<CanvasRect> area) const
{
    const CanvasRect whole{0, 0, frame_.width, frame_.height};
    const QRectF topDown = topDownFromCanvas(area.value_or(whole), frame_.height);
    const QSize size(static_cast<int>(std::ceil(topDown.width())),
                     static_cast<int>(std::ceil(topDown.height())));
    for (const StrokeLayer& layer : layers_) {
        // The usual case: a whole screen of a pixel per point. The layer is the picture.
        if (layer.area() == topDown && layer.pixels() == size && !layer.finishedImage().isNull())
            return layer.finishedImage();
    }
    QImage image = transparentImage(size);
    if (image.isNull())
        return image;
    QPainter painter(&image);
    painter.translate(-topDown.topLeft());
    for (const StrokeLayer& layer : layers_)
        layer.renderFinished(painter);
    return image;
}

void DrawingCanvasView::mouseDown(CanvasPoint point)
{
    if (session_.state().value() != SessionState::Drawing)
        return;
    session_.noteDrawingBegan(screenPointFromCanvas(point, frame_));
    beginStroke(point);
}

void DrawingCanvasView::mouseDragged(CanvasPoint point)
{
    if (session_.state().value() == SessionState::Drawing)
        extendStroke(point);
}

void DrawingCanvasView::mouseUp()
{
    if (session_.state().value() == SessionState::Drawing && endStroke())
        tasks_.start(advanceAfterStroke());
}

async::Task<> DrawingCanvasView::advanceAfterStroke()
{
    const auto settings = session_.settings();
    if (!settings || settings->submitMode.value() != SubmitMode::ManualSubmit)
        session_.advanceToQuery();
    co_return;
}

bool DrawingCanvasView::showsPenCursor() const
{
    return drawingCursorActive_ || session_.state().value() == SessionState::Drawing;
}

void DrawingCanvasView::clearDrawingCursor()
{
    drawingCursorActive_ = false;
    if (onCursorChange)
        onCursorChange();
}

void DrawingCanvasView::changed(const QRectF& line) const
{
    constexpr double kReach = StrokeLayer::kReach;
    if (onChange)
        onChange(line.adjusted(-kReach, -kReach, kReach, kReach));
}

} // namespace velmo
