#include "panel/RoundedBackgroundView.h"

#include "widgets/RoundedBorder.h"

#include <QPaintEvent>
#include <QPainter>
#include <cmath>

namespace velmo {

RoundedBackgroundView::RoundedBackgroundView(double cornerRadius, const QColor& backgroundColor,
                                             const QColor& borderColor, QWidget* parent)
    : QWidget(parent)
    , cornerRadius_(cornerRadius)
    , backgroundColor_(backgroundColor)
    , borderColor_(borderColor)
{}

void RoundedBackgroundView::setBackgroundColor(const QColor& color)
{
    backgroundColor_ = color;
    update();
}

void RoundedBackgroundView::setBorderColor(const QColor& color)
{
    borderColor_ = color;
    update();
}

void RoundedBackgroundView::setBorderWidth(double width)
{
    borderWidth_ = width;
    update();
}

void RoundedBackgroundView::paintEvent(QPaintEvent* event)
{
    QPainter painter(this);
    // Most of what is painted again is text somewhere in the middle.
    const int corner = static_cast<int>(std::ceil(cornerRadius_));
    const int edge = static_cast<int>(std::ceil(borderWidth_));
    const bool isInside = rect().adjusted(edge, corner, -edge, -corner).contains(event->rect()) ||
                          rect().adjusted(corner, edge, -corner, -edge).contains(event->rect());
    if (isInside) {
        painter.fillRect(event->rect(), backgroundColor_);
        return;
    }
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(backgroundColor_);
    painter.drawRoundedRect(QRectF(rect()), cornerRadius_, cornerRadius_);
    drawRoundedBorder(painter, rect(), cornerRadius_, QPen(borderColor_, borderWidth_));
}

} // namespace velmo
