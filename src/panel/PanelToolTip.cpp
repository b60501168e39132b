#include "panel/PanelToolTip.h"

#include "widgets/Colors.h"
#include "widgets/SoftShadow.h"
#include "widgets/SystemFont.h"

#include <QApplication>
#include <QPainter>
#include <QScreen>
#include <algorithm>

namespace velmo {

namespace {

constexpr double kRadius = 6;
constexpr int kTextInsetX = 8;
constexpr int kTextInsetY = 5;
constexpr int kLongestText = 460;
constexpr SoftShadow kShadow{4, 14, 0.4F};
constexpr std::chrono::seconds kLife{8};
/// So that the pointer does not cover it.
constexpr QPoint kBesidePointer(2, 20);

QColor ground()
{
    return {46, 46, 54};
}

} // namespace

PanelToolTip::PanelToolTip(bool isComposited)
    : FloatingWindow(Mouse::PassesThrough)
    , shadowMargin_(isComposited ? kShadow.margin() : 0)
{
    setFont(systemFont(11));
    life_.setSingleShot(true);
    life_.callOnTimeout([this] { hide(); });
}

void PanelToolTip::showText(QPoint at, const QString& text)
{
    text_ = fontMetrics().elidedText(text, Qt::ElideMiddle, kLongestText);
    const QSize frame(fontMetrics().horizontalAdvance(text_) + 2 * kTextInsetX,
                      fontMetrics().height() + 2 * kTextInsetY);
    QRect place(at + kBesidePointer, frame);
    if (const QScreen* screen = QGuiApplication::screenAt(at)) {
        const QRect room = screen->geometry();
        place.moveLeft(
            std::clamp(place.left(), room.left(), std::max(room.right() + 1 - place.width(), room.left())));
        if (place.bottom() > room.bottom())
            place.moveBottom(at.y() - kTextInsetY);
    }
    setGeometry(place.adjusted(-shadowMargin_, -shadowMargin_, shadowMargin_, shadowMargin_));
    if (shadowMargin_ == 0)
        cutCorners(kRadius);
    show();
    raise();
    update();
    life_.start(kLife);
    qApp->installEventFilter(this);
}

bool PanelToolTip::eventFilter(QObject*, QEvent* event)
{
    switch (event->type()) {
    case QEvent::Leave:
    case QEvent::MouseButtonPress:
    case QEvent::Wheel:
    case QEvent::KeyPress:
    case QEvent::WindowDeactivate:
    case QEvent::ToolTipChange: // What the pointer is on has changed inside the widget.
        hide();
        break;
    default:
        break;
    }
    return false;
}

void PanelToolTip::hideEvent(QHideEvent* event)
{
    FloatingWindow::hideEvent(event);
    life_.stop();
    qApp->removeEventFilter(this);
}

void PanelToolTip::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    const QRectF frame =
        QRectF(rect()).adjusted(shadowMargin_, shadowMargin_, -shadowMargin_, -shadowMargin_);
    if (shadowMargin_ > 0)
        paintSoftShadow(painter, frame, kRadius, kShadow);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setBrush(ground());
    painter.setPen(QPen(blended(ground(), Qt::white, 0.12), 1));
    painter.drawRoundedRect(frame.adjusted(0.5, 0.5, -0.5, -0.5), kRadius, kRadius);
    painter.setPen(white(0.92F));
    painter.drawText(frame, Qt::AlignCenter, text_);
}

} // namespace velmo
