#include "overlay/OverlaySurface.h"

#include "overlay/DrawingCanvasView.h"

#include <QMouseEvent>
#include <QPaintEvent>
#include <QPainter>

namespace velmo {

OverlaySurface::OverlaySurface(const QRect& screenGeometry, QPointF canvasOrigin,
                               const DrawingCanvasView& canvas)
    : QWidget(nullptr, Qt::Window | Qt::FramelessWindowHint | Qt::BypassWindowManagerHint |
                           Qt::WindowDoesNotAcceptFocus | Qt::WindowStaysOnTopHint)
    , canvasOrigin_(canvasOrigin)
    , canvas_(canvas)
{
    setAttribute(Qt::WA_TranslucentBackground);
    setAttribute(Qt::WA_ShowWithoutActivating);
    setCursor(Qt::CrossCursor);
    setGeometry(screenGeometry);
}

void OverlaySurface::refresh(const QRectF& topDownArea)
{
    update(topDownArea.translated(-canvasOrigin_).toAlignedRect());
}

void OverlaySurface::paintEvent(QPaintEvent* event)
{
    QPainter painter(this);
    painter.setClipRegion(event->region());
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    if (backdrop_.isNull())
        painter.fillRect(rect(), Qt::transparent);
    else
        painter.drawPixmap(0, 0, backdrop_);
    painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
    painter.translate(-canvasOrigin_);
    canvas_.paint(painter);
}

void OverlaySurface::mousePressEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton && onPress)
        onPress(event->position() + canvasOrigin_);
}

void OverlaySurface::mouseMoveEvent(QMouseEvent* event)
{
    if ((event->buttons() & Qt::LeftButton) != 0 && onDrag)
        onDrag(event->position() + canvasOrigin_);
}

void OverlaySurface::mouseReleaseEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton && onRelease)
        onRelease();
}

} // namespace velmo
