#include "widgets/FieldFrame.h"

#include "widgets/RoundedBorder.h"
#include "widgets/WindowTheme.h"

#include <QMouseEvent>
#include <QPainter>

namespace velmo {

namespace {

constexpr double kRadius = 6;
constexpr float kHaloAlpha = 0.32F;

} // namespace

FieldFrame::FieldFrame(QWidget* field, QMargins padding, QWidget* parent)
    : QWidget(parent)
    , field_(field)
    , padding_(padding)
{
    field_->setParent(this);
    field_->installEventFilter(this);
    setCursor(Qt::IBeamCursor);
}

bool FieldFrame::eventFilter(QObject*, QEvent* event)
{
    if (event->type() == QEvent::FocusIn || event->type() == QEvent::FocusOut)
        update();
    return false;
}

/// A click beside the text is one into the field.
void FieldFrame::mousePressEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton && box().contains(event->position().toPoint()))
        field_->setFocus(Qt::MouseFocusReason);
}

void FieldFrame::resizeEvent(QResizeEvent*)
{
    field_->setGeometry(box().marginsRemoved(padding_));
}

void FieldFrame::paintEvent(QPaintEvent*)
{
    const WindowTheme theme = WindowTheme::current();
    const bool isFocused = field_->hasFocus();
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    if (isFocused) {
        QColor halo = theme.accent;
        halo.setAlphaF(kHaloAlpha);
        painter.setPen(Qt::NoPen);
        painter.setBrush(halo);
        painter.drawRoundedRect(rect(), kRadius + kHalo, kRadius + kHalo);
    }
    const QPen border(isFocused ? theme.accent : theme.fieldBorder, 1);
    drawRoundedBorder(painter, box(), kRadius, border, theme.field);
}

} // namespace velmo
