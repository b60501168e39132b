#include "widgets/FocusRing.h"

#include <QApplication>
#include <QFocusEvent>
#include <QPainter>
#include <cmath>
#include <utility>

namespace velmo {

namespace {

constexpr double kWidth = 2;

/// Whoever clicks knows where. The keyboard and assistive technology move the focus from afar.
bool isToBeShown(Qt::FocusReason reason)
{
    return reason != Qt::MouseFocusReason;
}

/// The focus went with its window, or to a menu, and comes back.
bool isOfWindows(Qt::FocusReason reason)
{
    return reason == Qt::ActiveWindowFocusReason || reason == Qt::PopupFocusReason;
}

} // namespace

FocusRing::FocusRing(QWidget& area, std::function<QColor()> color)
    : QWidget(&area)
    , area_(area)
    , color_(std::move(color))
{
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setAttribute(Qt::WA_NoSystemBackground);
    setFocusPolicy(Qt::NoFocus);
    hide();
    qApp->installEventFilter(this);
}

bool FocusRing::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::FocusIn && watched->isWidgetType()) {
        auto* widget = static_cast<QWidget*>(watched);
        const auto reason = static_cast<QFocusEvent*>(event)->reason();
        // A window that becomes active again gives the focus back to who had it, ring and all.
        if (isOfWindows(reason))
            setVisible(watched == target_);
        else
            follow(isToBeShown(reason) && area_.isAncestorOf(widget) ? widget : nullptr);
    } else if (target_ && watched->isWidgetType()) {
        followTarget(*static_cast<QWidget*>(watched), *event);
    }
    return false;
}

void FocusRing::followTarget(const QWidget& changed, const QEvent& event)
{
    const bool isTarget = &changed == target_;
    switch (event.type()) {
    case QEvent::Move:
    case QEvent::Resize:
        if (isTarget || changed.isAncestorOf(target_))
            place();
        break;
    case QEvent::FocusOut:
        if (isTarget && static_cast<const QFocusEvent&>(event).reason() != Qt::PopupFocusReason)
            hide();
        break;
    case QEvent::Hide:
        if (isTarget)
            follow(nullptr);
        break;
    default:
        break;
    }
}

void FocusRing::follow(QWidget* focused)
{
    target_ = nullptr;
    hide();
    const auto* ringed = dynamic_cast<const FocusRingTarget*>(focused);
    if (focused == nullptr || ringed == nullptr)
        return;
    target_ = focused;
    shape_ = ringed->focusRingShape();
    QWidget* document = document_.data();
    const bool isScrolled = document != nullptr && document->isAncestorOf(focused);
    setParent(isScrolled ? document : &area_);
    place();
    show();
    raise();
}

void FocusRing::place()
{
    const QWidget* target = target_.data();
    const QWidget* parent = parentWidget();
    if (target == nullptr || parent == nullptr)
        return;
    const int reach = static_cast<int>(std::ceil(shape_.gap + kWidth));
    const QRect bounds(target->mapTo(parent, QPoint()), target->size());
    setGeometry(bounds.adjusted(-reach, -reach, reach, reach));
}

void FocusRing::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(color_(), kWidth));
    constexpr double kHalf = kWidth / 2;
    painter.drawRoundedRect(QRectF(rect()).adjusted(kHalf, kHalf, -kHalf, -kHalf), shape_.radius + shape_.gap,
                            shape_.radius + shape_.gap);
}

} // namespace velmo
