#include "overlay/DrawingCanvasView.h"

#include "core/CoordinateSpace.h"

#include <QLineF>
#include <QPainter>
#include <algorithm>
#include <cmath>

namespace velmo {

namespace {

/// Left and upper edges belong to a screen, right and lower edges do not.
bool containsPixel(const QRectF& rectangle, QPointF point)
{
    return point.x() >= rectangle.left() && point.x() < rectangle.right() && point.y() >= rectangle.top() &&
           point.y() < rectangle.bottom();
}

double distance(const QRectF& rectangle, QPointF point)
{
    const QPointF nearest(std::clamp(point.x(), rectangle.left(), rectangle.right()),
                          std::clamp(point.y(), rectangle.top(), rectangle.bottom()));
    return QLineF(nearest, point).length();
}

/// The layer whose rectangle has the point, else the nearest one.
template <typename RectangleOf>
const StrokeLayer& layerAt(const std::vector<StrokeLayer>& layers, QPointF point, RectangleOf rectangleOf)
{
    const auto holder = std::ranges::find_if(
        layers, [&](const StrokeLayer& layer) { return containsPixel(rectangleOf(layer), point); });
    if (holder != layers.end())
        return *holder;
    return *std::ranges::min_element(
        layers, {}, [&](const StrokeLayer& layer) { return distance(rectangleOf(layer), point); });
}

QRect toQt(const PixelRect& rect)
{
    return {rect.x, rect.y, rect.width, rect.height};
}

} // namespace

DrawingCanvasView::DrawingCanvasView(const ScreenRect& frame, std::shared_ptr<DrawingState> drawingState,
                                     AnnotationSession& session, const std::vector<CanvasRegion>& regions)
    : frame_(frame)
    , drawingState_(std::move(drawingState))
    , session_(session)
{
    for (const CanvasRegion& region : regions)
        layers_.emplace_back(topDownFromCanvas(region.area, frame_.height), toQt(region.native),
                             region.scale);
    if (regions.empty()) {
        const QRectF whole(0, 0, frame_.width, frame_.height);
        layers_.emplace_back(whole, whole.toAlignedRect(), 1);
    }
}

CanvasPoint DrawingCanvasView::fromNative(QPointF pixel) const
{
    const StrokeLayer& layer =
        layerAt(layers_, pixel, [](const StrokeLayer& candidate) { return QRectF(candidate.native()); });
    return canvasFromTopDown(layer.fromNative(pixel), frame_.height);
}

QPointF DrawingCanvasView::toNative(QPointF topDown) const
{
    return layerAt(layers_, topDown, [](const StrokeLayer& candidate) { return candidate.area(); })
        .toNative(topDown);
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
    for (std::size_t region = 0; region < layers_.size(); ++region)
        changed(region, layers_[region].dropStroke());
    currentStroke_.reset();
}

void DrawingCanvasView::extendStroke(CanvasPoint point)
{
    if (!currentStroke_)
        return;
    const QPointF to = topDownFromCanvas(point, frame_.height);
    // Screens of different scales leave gaps in the canvas, which a straight line across a border would
    // follow. In native pixels the way of the pointer has none.
    const QPointF nativeFrom = toNative(currentStroke_->path.last());
    const QPointF nativeTo = toNative(to);
    currentStroke_->path.append(to);
    for (std::size_t region = 0; region < layers_.size(); ++region)
        changed(region, layers_[region].addSegment(nativeFrom, nativeTo, currentStroke_->color));
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
        if (layer.area() == topDown && layer.native().size() == size && !layer.finishedImage().isNull())
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

void DrawingCanvasView::changed(std::size_t region, const QRect& pixels) const
{
    if (onChange && !pixels.isEmpty())
        onChange(region, pixels);
}

} // namespace velmo
