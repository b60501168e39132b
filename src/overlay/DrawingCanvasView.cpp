#include "overlay/DrawingCanvasView.h"

#include "core/CoordinateSpace.h"

#include <QPainter>
#include <cmath>

namespace velmo {

namespace {

constexpr double kLineWidth = 3;

void paintStroke(QPainter& painter, const DrawingCanvasView::Stroke& stroke)
{
    painter.setPen(QPen(stroke.color, kLineWidth, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.drawPath(stroke.path);
}

} // namespace

DrawingCanvasView::DrawingCanvasView(ScreenSize size, std::shared_ptr<DrawingState> drawingState)
    : size_(size)
    , drawingState_(std::move(drawingState))
{}

void DrawingCanvasView::beginStroke(CanvasPoint point)
{
    const QPointF start = topDownFromCanvas(point, size_.height);
    currentStroke_ = Stroke{QPainterPath(start), drawingState_->selectedColor.value()};
    changed(QRectF(start, start));
}

void DrawingCanvasView::extendStroke(CanvasPoint point)
{
    if (!currentStroke_)
        return;
    const QPointF from = currentStroke_->path.currentPosition();
    const QPointF to = topDownFromCanvas(point, size_.height);
    currentStroke_->path.lineTo(to);
    changed(QRectF(from, to).normalized());
}

bool DrawingCanvasView::endStroke()
{
    if (!currentStroke_)
        return false;
    const QRectF area = currentStroke_->path.boundingRect();
    strokes_.push_back(*std::exchange(currentStroke_, std::nullopt));
    changed(area);
    return !std::exchange(hasCompletedFirstStroke_, true);
}

QImage DrawingCanvasView::renderToImage(std::optional<CanvasRect> area) const
{
    const CanvasRect whole{0, 0, size_.width, size_.height};
    const QRectF topDown = topDownFromCanvas(area.value_or(whole), size_.height);
    const QSize pixels(static_cast<int>(std::ceil(topDown.width())),
                       static_cast<int>(std::ceil(topDown.height())));
    if (pixels.isEmpty())
        return {};
    QImage image(pixels, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.translate(-topDown.topLeft());
    for (const Stroke& stroke : strokes_)
        paintStroke(painter, stroke);
    return image;
}

void DrawingCanvasView::paint(QPainter& painter) const
{
    painter.setRenderHint(QPainter::Antialiasing);
    for (const Stroke& stroke : strokes_)
        paintStroke(painter, stroke);
    if (currentStroke_)
        paintStroke(painter, *currentStroke_);
}

void DrawingCanvasView::changed(const QRectF& area) const
{
    // Round caps and antialiasing reach beyond the path itself.
    constexpr double kReach = kLineWidth;
    if (onChange)
        onChange(area.adjusted(-kReach, -kReach, kReach, kReach));
}

} // namespace velmo
