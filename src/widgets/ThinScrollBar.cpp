#include "widgets/ThinScrollBar.h"

#include "widgets/WindowTheme.h"

#include <QContextMenuEvent>
#include <QMouseEvent>
#include <QPainter>
#include <algorithm>
#include <cmath>

namespace velmo {

namespace {

constexpr int kWidth = 12;
constexpr double kHandleWidth = 6;
constexpr double kShortestHandle = 28;
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

QRectF ThinScrollBar::handle() const
{
    const double range = maximum() - minimum();
    if (range <= 0)
        return {};
    const double way = height() - 2.0 * endInset_;
    const double length = std::min(std::max(way * pageStep() / (range + pageStep()), kShortestHandle), way);
    const double top = endInset_ + (way - length) * (sliderPosition() - minimum()) / range;
    return {(width() - kHandleWidth) / 2, top, kHandleWidth, length};
}

void ThinScrollBar::paintEvent(QPaintEvent*)
{
    const QRectF bounds = handle();
    if (bounds.isEmpty())
        return;
    QColor color = WindowTheme::current().scrollBar;
    if (grabbedAt_)
        color.setAlphaF(std::min(1.0F, color.alphaF() * kGrabbedShare));
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(color);
    painter.drawRoundedRect(bounds, kHandleWidth / 2, kHandleWidth / 2);
}

void ThinScrollBar::mousePressEvent(QMouseEvent* event)
{
    const QRectF bounds = handle();
    if (event->button() != Qt::LeftButton || bounds.isEmpty())
        return;
    const double y = event->position().y();
    // Beside the handle a press brings the handle there.
    grabbedAt_ = y >= bounds.top() && y <= bounds.bottom() ? y - bounds.top() : bounds.height() / 2;
    mouseMoveEvent(event);
    update();
}

void ThinScrollBar::mouseMoveEvent(QMouseEvent* event)
{
    const QRectF bounds = handle();
    const double way = height() - 2.0 * endInset_ - bounds.height();
    if (!grabbedAt_ || way <= 0)
        return;
    const double share = (event->position().y() - *grabbedAt_ - endInset_) / way;
    setValue(minimum() + static_cast<int>(std::lround(share * (maximum() - minimum()))));
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
