#include "widgets/ThinScrollBar.h"

#include "widgets/ScrollHandle.h"
#include "widgets/WindowTheme.h"

#include <QContextMenuEvent>
#include <QMouseEvent>
#include <QPainter>
#include <algorithm>

namespace velmo {

namespace {

constexpr int kWidth = 12;
constexpr float kGrabbedShare = 1.6F;

} // namespace

ThinScrollBar::ThinScrollBar(int endInset, QWidget* parent)
    : QScrollBar(Qt::Vertical, parent)
    , endInset_(endInset)
{
    setCursor(Qt::ArrowCursor);
}

QSize ThinScrollBar::sizeHint() const
{
    return {kWidth, kWidth};
}

void ThinScrollBar::paintEvent(QPaintEvent*)
{
    const auto handle = ScrollHandle::of(*this, height(), endInset_);
    if (!handle)
        return;
    QColor color = WindowTheme::current().scrollBar;
    if (grabbedAt_)
        color.setAlphaF(std::min(1.0F, color.alphaF() * kGrabbedShare));
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(color);
    painter.drawRoundedRect(handle->bounds((width() - ScrollHandle::kWidth) / 2), ScrollHandle::kWidth / 2,
                            ScrollHandle::kWidth / 2);
}

void ThinScrollBar::mousePressEvent(QMouseEvent* event)
{
    const auto handle = ScrollHandle::of(*this, height(), endInset_);
    if (event->button() != Qt::LeftButton || !handle)
        return;
    grabbedAt_ = handle->grabbedAt(event->position().y());
    mouseMoveEvent(event);
    update();
}

void ThinScrollBar::mouseMoveEvent(QMouseEvent* event)
{
    const auto handle = ScrollHandle::of(*this, height(), endInset_);
    if (grabbedAt_ && handle)
        handle->drag(event->position().y(), *grabbedAt_);
}

void ThinScrollBar::mouseReleaseEvent(QMouseEvent*)
{
    grabbedAt_.reset();
    update();
}

/// The usual menu of scroll bars has nothing that the wheel and the keys do not do.
void ThinScrollBar::contextMenuEvent(QContextMenuEvent* event)
{
    event->accept();
}

} // namespace velmo
