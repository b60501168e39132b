#include "widgets/CheckBox.h"

#include "widgets/RoundedBorder.h"
#include "widgets/WindowTheme.h"

#include <QPainter>

namespace velmo {

namespace {

constexpr int kGap = 6;
constexpr double kRadius = 4;
constexpr double kTickWidth = 1.75;

} // namespace

CheckBox::CheckBox(const QString& title, QWidget* parent)
    : MarkedButton(QAccessible::CheckBox, title, kGap, parent)
{}

void CheckBox::paintMark(QPainter& painter, const QRectF& mark, const WindowTheme& theme)
{
    if (!isChecked()) {
        drawRoundedBorder(painter, mark, kRadius, QPen(theme.fieldBorder, 1), offColor(theme));
        return;
    }
    painter.setPen(Qt::NoPen);
    painter.setBrush(onColor(theme));
    painter.drawRoundedRect(mark, kRadius, kRadius);
    painter.setPen(QPen(Qt::white, kTickWidth, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    const QPolygonF tick{QPointF(4.25, 8.5), QPointF(6.75, 11), QPointF(11.75, 5.5)};
    painter.drawPolyline(tick.translated(mark.topLeft()));
}

} // namespace velmo
