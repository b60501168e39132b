#include "widgets/FloatingWindow.h"

#include <QPainterPath>
#include <QRegion>

namespace velmo {

namespace {

Qt::WindowFlags flagsFor(FloatingWindow::Mouse mouse)
{
    const Qt::WindowFlags flags = Qt::Window | Qt::FramelessWindowHint | Qt::BypassWindowManagerHint |
                                  Qt::WindowDoesNotAcceptFocus | Qt::WindowStaysOnTopHint |
                                  Qt::NoDropShadowWindowHint;
    return mouse == FloatingWindow::Mouse::Takes ? flags : flags | Qt::WindowTransparentForInput;
}

} // namespace

FloatingWindow::FloatingWindow(Mouse mouse)
    : QWidget(nullptr, flagsFor(mouse))
{
    setAttribute(Qt::WA_TranslucentBackground);
    setAttribute(Qt::WA_ShowWithoutActivating);
}

void FloatingWindow::cutCorners(double radius)
{
    QPainterPath shape;
    shape.addRoundedRect(QRectF(rect()), radius, radius);
    setMask(QRegion(shape.toFillPolygon().toPolygon()));
}

} // namespace velmo
