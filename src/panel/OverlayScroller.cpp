#include "panel/OverlayScroller.h"

#include "widgets/Colors.h"
#include "widgets/ScrollHandle.h"

#include <QMouseEvent>
#include <QPainter>

namespace velmo {

namespace {

constexpr double kEdgeInset = 3;
constexpr float kAlpha = 0.28F;
constexpr float kGrabbedAlpha = 0.45F;
constexpr std::chrono::milliseconds kRest{1200};
constexpr int kFadeMilliseconds = 200;

} // namespace

OverlayScroller::OverlayScroller(QScrollBar& bar, QWidget& parent)
    : QWidget(&parent)
    , bar_(bar)
{
    setCursor(Qt::ArrowCursor);
    fade_.setStartValue(0.0);
    fade_.setEndValue(0.0);
    fade_.setDuration(kFadeMilliseconds);
    connect(&fade_, &QVariantAnimation::valueChanged, this, [this] { update(); });
    rest_.setSingleShot(true);
    rest_.callOnTimeout([this] { hideSoon(); });
    connect(&bar_, &QScrollBar::valueChanged, this, [this] { update(); });
    connect(&bar_, &QScrollBar::rangeChanged, this, [this] { update(); });
}

void OverlayScroller::flash()
{
    if (bar_.maximum() <= bar_.minimum())
        return;
    fade_.stop();
    fade_.setStartValue(1.0);
    fade_.setEndValue(1.0);
    fade_.setCurrentTime(kFadeMilliseconds);
    rest_.start(kRest);
    update();
}

void OverlayScroller::hideSoon()
{
    if (isHovered_ || grabbedAt_)
        return;
    fade_.stop();
    fade_.setStartValue(fade_.currentValue());
    fade_.setEndValue(0.0);
    fade_.start();
}

void OverlayScroller::paintEvent(QPaintEvent*)
{
    const auto shown = static_cast<float>(fade_.currentValue().toDouble());
    const auto handle = ScrollHandle::of(bar_, height());
    if (shown <= 0 || !handle)
        return;
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(white((grabbedAt_ ? kGrabbedAlpha : kAlpha) * shown));
    painter.drawRoundedRect(handle->bounds(width() - kEdgeInset - ScrollHandle::kWidth),
                            ScrollHandle::kWidth / 2, ScrollHandle::kWidth / 2);
}

void OverlayScroller::enterEvent(QEnterEvent*)
{
    isHovered_ = true;
    flash();
}

void OverlayScroller::leaveEvent(QEvent*)
{
    isHovered_ = false;
    rest_.start(kRest);
}

void OverlayScroller::mousePressEvent(QMouseEvent* event)
{
    const auto handle = ScrollHandle::of(bar_, height());
    if (event->button() != Qt::LeftButton || !handle)
        return;
    grabbedAt_ = handle->grabbedAt(event->position().y());
    mouseMoveEvent(event);
    update();
}

void OverlayScroller::mouseMoveEvent(QMouseEvent* event)
{
    const auto handle = ScrollHandle::of(bar_, height());
    if (grabbedAt_ && handle)
        handle->drag(event->position().y(), *grabbedAt_);
}

void OverlayScroller::mouseReleaseEvent(QMouseEvent*)
{
    grabbedAt_.reset();
    rest_.start(kRest);
    update();
}

} // namespace velmo
