#include "panel/RoundedBackgroundView.h"

#include <QPainter>

namespace velmo {

RoundedBackgroundView::RoundedBackgroundView(double cornerRadius, const QColor& background,
                                             const QColor& border, QWidget* parent)
    : QWidget(parent)
    , cornerRadius_(cornerRadius)
    , background_(background)
    , border_(border)
{}

void RoundedBackgroundView::setBorderColor(const QColor& color)
{
    border_ = color;
    update();
}

void RoundedBackgroundView::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setBrush(background_);
    painter.setPen(QPen(border_, 1));
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), cornerRadius_, cornerRadius_);
}

} // namespace velmo
