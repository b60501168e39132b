#include "panel/OverlayScroller.h"

#include "widgets/Colors.h"

#include <QMouseEvent>
#include <QPainter>
#include <algorithm>
#include <cmath>

namespace velmo {

namespace {

constexpr double kHandleWidth = 6;
constexpr double kEdgeInset = 3;
constexpr double kShortestHandle = 28;
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

QRectF OverlayScroller::handle() const
{
    const double range = bar_.maximum() - bar_.minimum();
    if (range <= 0)
        return {};
    const double track = height();
    const double length =
        std::min(std::max(track * bar_.pageStep() / (range + bar_.pageStep()), kShortestHandle), track);
    const double top = (track - length) * (bar_.value() - bar_.minimum()) / range;
    return {width() - kEdgeInset - kHandleWidth, top, kHandleWidth, length};
}

void OverlayScroller::paintEvent(QPaintEvent*)
{
    const auto shown = static_cast<float>(fade_.currentValue().toDouble());
    const QRectF bounds = handle();
    if (shown <= 0 || bounds.isEmpty())
        return;
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(white((grabbedAt_ ? kGrabbedAlpha : kAlpha) * shown));
    painter.drawRoundedRect(bounds, kHandleWidth / 2, kHandleWidth / 2);
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
    const QRectF bounds = handle();
    if (event->button() != Qt::LeftButton || bounds.isEmpty())
        return;
    const double y = event->position().y();
    // Beside the handle a press brings the handle there.
    grabbedAt_ = y >= bounds.top() && y <= bounds.bottom() ? y - bounds.top() : bounds.height() / 2;
    mouseMoveEvent(event);
    update();
}

void OverlayScroller::mouseMoveEvent(QMouseEvent* event)
{
    const QRectF bounds = handle();
    const double way = height() - bounds.height();
    if (!grabbedAt_ || way <= 0)
        return;
    const double share = (event->position().y() - *grabbedAt_) / way;
    bar_.setValue(bar_.minimum() + static_cast<int>(std::lround(share * (bar_.maximum() - bar_.minimum()))));
}

void OverlayScroller::mouseReleaseEvent(QMouseEvent*)
{
    grabbedAt_.reset();
    rest_.start(kRest);
    update();
}

} // namespace velmo
