#include "widgets/RadioButton.h"

#include "widgets/WindowTheme.h"

#include <QPainter>

namespace velmo {

namespace {

constexpr int kGap = 8;
constexpr double kDotRadius = 3;

} // namespace

RadioButton::RadioButton(const QString& title, QWidget* parent)
    : MarkedButton(QAccessible::RadioButton, title, kGap, parent)
{
    setAutoExclusive(true);
}

void RadioButton::paintMark(QPainter& painter, const QRectF& mark, const WindowTheme& theme)
{
    if (!isChecked()) {
        constexpr double kHalf = 0.5;
        painter.setPen(QPen(theme.fieldBorder, 1));
        painter.setBrush(offColor(theme));
        painter.drawEllipse(mark.adjusted(kHalf, kHalf, -kHalf, -kHalf));
        return;
    }
    painter.setPen(Qt::NoPen);
    painter.setBrush(onColor(theme));
    painter.drawEllipse(mark);
    painter.setBrush(Qt::white);
    painter.drawEllipse(mark.center(), kDotRadius, kDotRadius);
}

} // namespace velmo
