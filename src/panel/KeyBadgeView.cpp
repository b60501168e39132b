#include "panel/KeyBadgeView.h"

#include "panel/QueryPanelTheme.h"
#include "widgets/RoundedBorder.h"
#include "widgets/SystemFont.h"

#include <QPainter>

namespace velmo {

namespace {

constexpr int kFontSize = 10;
constexpr int kInsetX = 5;
constexpr int kInsetY = 2;
constexpr double kRadius = 4;

} // namespace

KeyBadgeView::KeyBadgeView(const QString& label, QWidget* parent)
    : QWidget(parent)
    , label_(label)
{
    setFont(systemFont(kFontSize, QFont::Medium));
    setAccessibleName(label);
}

QSize KeyBadgeView::sizeHint() const
{
    return {fontMetrics().horizontalAdvance(label_) + 2 * kInsetX, fontMetrics().height() + 2 * kInsetY};
}

void KeyBadgeView::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    drawRoundedBorder(painter, rect(), kRadius, QPen(QueryPanelTheme::subtleBorder(), 1));
    painter.setPen(QueryPanelTheme::label());
    painter.drawText(rect(), Qt::AlignCenter, label_);
}

} // namespace velmo
