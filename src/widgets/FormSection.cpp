#include "widgets/FormSection.h"

#include "widgets/FormTexts.h"
#include "widgets/RoundedBorder.h"
#include "widgets/WindowTheme.h"

#include <QEvent>
#include <QPainter>
#include <QVBoxLayout>

namespace velmo {

namespace {

constexpr int kTitleInset = 4;
constexpr int kTitleGap = 6;
constexpr double kRadius = 10;

} // namespace

FormSection::FormSection(const QString& title, QWidget* parent)
    : QWidget(parent)
    , DescribedWidget(QAccessible::Grouping)
    , layout_(new QVBoxLayout(this))
{
    setAccessibleName(title);
    layout_->setContentsMargins(0, 0, 0, 0);
    layout_->setSpacing(0);
    auto* header = new TextLabel(FormTexts::kHeader, title);
    auto* headerLine = new QVBoxLayout;
    headerLine->setContentsMargins(kTitleInset, 0, kTitleInset, 0);
    headerLine->addWidget(header);
    layout_->addLayout(headerLine);
    layout_->addSpacing(kTitleGap);
}

void FormSection::addRow(QWidget* row)
{
    layout_->addWidget(row);
    rows_.append(row);
}

bool FormSection::event(QEvent* event)
{
    // A row came, went or grew.
    if (event->type() == QEvent::LayoutRequest)
        update();
    return QWidget::event(event);
}

void FormSection::paintEvent(QPaintEvent*)
{
    QRect card;
    for (const QWidget* row : rows_) {
        if (!row->isHidden())
            card |= row->geometry();
    }
    if (card.isEmpty())
        return;
    const WindowTheme theme = WindowTheme::current();
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(theme.card);
    painter.drawRoundedRect(card, kRadius, kRadius);
    drawRoundedBorder(painter, card, kRadius, QPen(theme.cardBorder, 1));
    for (const QWidget* row : rows_) {
        if (!row->isHidden() && row->y() > card.top())
            painter.fillRect(QRect(card.left(), row->y(), card.width(), 1), theme.separator);
    }
}

} // namespace velmo
