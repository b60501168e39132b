#include "panel/QueryInputPanel.h"

#include "widgets/Easing.h"

#include <QBitmap>
#include <QKeyEvent>
#include <QLabel>
#include <QMouseEvent>
#include <algorithm>
#include <cmath>
#include <utility>

namespace velmo {

namespace {

/// How far below its place the card comes in.
constexpr int kEntranceOffset = 18;
constexpr int kEntranceMilliseconds = 260;
constexpr int kResizeMilliseconds = 320;
constexpr int kExitMilliseconds = 150;
constexpr double kIgnoredHeightChange = 1;

} // namespace

QueryInputPanel::QueryInputPanel(QPoint cardBottomLeft, WindowSurfaces& windows)
    : QWidget(nullptr,
              Qt::Window | Qt::FramelessWindowHint | Qt::BypassWindowManagerHint | Qt::WindowStaysOnTopHint)
    , windows_(windows)
{
    setAttribute(Qt::WA_TranslucentBackground);
    const int height = kMaximumHeight + kEntranceOffset;
    setGeometry(cardBottomLeft.x(), cardBottomLeft.y() + kEntranceOffset - height, kWidth, height);

    entrance_.setDuration(kEntranceMilliseconds);
    entrance_.setEasingCurve(easeOut());
    entrance_.setStartValue(0.0);
    entrance_.setEndValue(1.0);
    connect(&entrance_, &QVariantAnimation::valueChanged, this, [this](const QVariant& progress) {
        entranceOffset_ = kEntranceOffset * (1 - progress.toDouble());
        setWindowOpacity(progress.toDouble());
        layOutCard();
    });

    resize_.setDuration(kResizeMilliseconds);
    resize_.setEasingCurve(bezierEasing({0.12, 0.9}, {0.25, 1}));
    connect(&resize_, &QVariantAnimation::valueChanged, this, [this](const QVariant& value) {
        cardHeight_ = value.toDouble();
        layOutCard();
    });

    exit_.setDuration(kExitMilliseconds);
    exit_.setEndValue(0.0);
    connect(&exit_, &QVariantAnimation::valueChanged, this,
            [this](const QVariant& value) { setWindowOpacity(value.toDouble()); });
    connect(&exit_, &QVariantAnimation::finished, this, [this] {
        hide();
        deleteLater();
    });
}

void QueryInputPanel::setCard(QWidget* card)
{
    card_ = card;
    card_->setParent(this);
    layOutCard();
}

void QueryInputPanel::enter(std::function<void()> onShown)
{
    entranceOffset_ = kEntranceOffset;
    setWindowOpacity(0);
    layOutCard();
    connect(&entrance_, &QVariantAnimation::finished, this, std::move(onShown));
    show();
    raise();
    entrance_.start();
}

void QueryInputPanel::leaveAndDelete()
{
    if (exit_.state() == QAbstractAnimation::Running)
        return;
    entrance_.stop();
    onEscape = {};
    if (!isVisible()) {
        deleteLater();
        return;
    }
    freezeCard();
    exit_.setStartValue(windowOpacity());
    exit_.start();
}

/// What fades away is a picture: the session that the card shows begins anew, or ends, meanwhile.
void QueryInputPanel::freezeCard()
{
    if (!card_)
        return;
    resize_.stop();
    auto* picture = new QLabel(this);
    picture->setPixmap(card_->grab());
    picture->show();
    card_->hide();
    card_->deleteLater();
    card_ = picture;
    layOutCard();
}

void QueryInputPanel::animateHeight(int height)
{
    const double target = std::clamp(height, kMinimumHeight, kMaximumHeight);
    const double planned =
        resize_.state() == QAbstractAnimation::Running ? resize_.endValue().toDouble() : cardHeight_;
    if (std::abs(target - planned) <= kIgnoredHeightChange)
        return;
    resize_.stop();
    resize_.setStartValue(cardHeight_);
    resize_.setEndValue(target);
    if (isVisible()) {
        resize_.start();
    } else {
        cardHeight_ = target;
        layOutCard();
    }
}

void QueryInputPanel::layOutCard()
{
    if (!card_)
        return;
    const int cardHeight = static_cast<int>(std::lround(cardHeight_));
    const int bottom = height() - kEntranceOffset + static_cast<int>(std::lround(entranceOffset_));
    const QRect frame(0, bottom - cardHeight, kWidth, cardHeight);
    card_->setGeometry(frame);
    setMask(QRegion(frame));
}

void QueryInputPanel::keyPressEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_Escape && onEscape) {
        if (!event->isAutoRepeat())
            onEscape();
        return;
    }
    QWidget::keyPressEvent(event);
}

void QueryInputPanel::mousePressEvent(QMouseEvent* event)
{
    // No window manager focuses a window like this one on a click.
    windows_.focusWindow(*this);
    if (event->button() == Qt::LeftButton)
        dragStart_ = event->globalPosition().toPoint() - pos();
}

void QueryInputPanel::mouseMoveEvent(QMouseEvent* event)
{
    if ((event->buttons() & Qt::LeftButton) != 0)
        move(event->globalPosition().toPoint() - dragStart_);
}

} // namespace velmo
