#include "panel/GradientFadeView.h"

#include "panel/QueryPanelTheme.h"

#include <QPainter>

namespace velmo {

GradientFadeView::GradientFadeView(QWidget* parent)
    : QWidget(parent)
{
    setAttribute(Qt::WA_TransparentForMouseEvents);
}

void GradientFadeView::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    QColor clear = QueryPanelTheme::background();
    clear.setAlpha(0);
    QLinearGradient fade(0, 0, 0, height());
    fade.setColorAt(0, clear);
    fade.setColorAt(1, QueryPanelTheme::background());
    painter.fillRect(rect(), fade);
}

} // namespace velmo
