#include "overlay/OverlaySurface.h"

#include "overlay/PenCursor.h"

#include <QMouseEvent>
#include <QPaintEvent>
#include <QPainter>
#include <utility>

namespace velmo {

OverlaySurface::OverlaySurface(const QRect& geometry, const DrawingCanvasView& canvas, std::size_t region)
    : FloatingWindow(Mouse::Takes)
    , canvas_(canvas)
    , region_(region)
{
    setGeometry(geometry);
}

void OverlaySurface::setBackdrop(const QPixmap& backdrop)
{
    if (backdrop_.isNull() && backdrop.isNull())
        return;
    backdrop_ = backdrop;
    backdrop_.setDevicePixelRatio(1);
    update();
}

void OverlaySurface::refresh(const QRect& pixels)
{
    const double ratio = devicePixelRatioF();
    update(QRectF(QPointF(pixels.topLeft()) / ratio, QSizeF(pixels.size()) / ratio).toAlignedRect());
}

void OverlaySurface::updatePointer()
{
    setCursor(canvas_.showsPenCursor() ? penCursor(devicePixelRatioF()) : QCursor(Qt::ArrowCursor));
}

void OverlaySurface::paintEvent(QPaintEvent* event)
{
    const double ratio = devicePixelRatioF();
    QPainter painter(this);
    // In native pixels, so that the layers are copied and never scaled.
    painter.scale(1 / ratio, 1 / ratio);
    for (const QRect& part : event->region()) {
        const QRect pixels =
            QRectF(QPointF(part.topLeft()) * ratio, QSizeF(part.size()) * ratio).toAlignedRect();
        painter.setCompositionMode(QPainter::CompositionMode_Source);
        if (backdrop_.isNull())
            painter.fillRect(pixels, Qt::transparent);
        else
            painter.drawPixmap(pixels.topLeft(), backdrop_, pixels);
        painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
        canvas_.layer(region_).paint(painter, pixels);
    }
}

void OverlaySurface::mousePressEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton)
        return;
    isPressed_ = true;
    if (onPress)
        onPress(event->position());
}

void OverlaySurface::mouseMoveEvent(QMouseEvent* event)
{
    if (isPressed_ && onDrag)
        onDrag(event->position());
}

void OverlaySurface::mouseReleaseEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton && std::exchange(isPressed_, false) && onRelease)
        onRelease();
}

void OverlaySurface::keyPressEvent(QKeyEvent* event)
{
    if ((event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) && onConfirm)
        onConfirm();
    else
        FloatingWindow::keyPressEvent(event);
}

} // namespace velmo
