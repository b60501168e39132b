#include "panel/QueryInputPanel.h"

#include "core/Published.h"
#include "panel/CardShape.h"
#include "widgets/Easing.h"

#include <QGuiApplication>
#include <QKeyEvent>
#include <QLabel>
#include <QMouseEvent>
#include <QScreen>
#include <algorithm>
#include <cmath>
#include <utility>

namespace velmo {

namespace {

/// How far below its place the card comes in.
constexpr int kEntranceOffset = 18;
constexpr int kWindowHeight = CardMetrics::kMaximumHeight + kEntranceOffset;
constexpr int kEntranceMilliseconds = 260;
constexpr int kResizeMilliseconds = 320;
constexpr int kExitMilliseconds = 150;
constexpr double kIgnoredHeightChange = 1;
/// What stays on a screen of a panel that is dragged away, each way.
constexpr int kGraspable = 40;

} // namespace

QueryInputPanel::QueryInputPanel(QPoint cardBottomLeft, WindowSurfaces& windows)
    : QWidget(nullptr, Qt::Window | Qt::FramelessWindowHint | Qt::BypassWindowManagerHint |
                           Qt::WindowStaysOnTopHint | Qt::NoDropShadowWindowHint)
    , windows_(windows)
{
    setAttribute(Qt::WA_TranslucentBackground);
    setAccessibleName(QStringLiteral("Velmo"));
    setGeometry(cardBottomLeft.x(), cardBottomLeft.y() - CardMetrics::kMaximumHeight, CardMetrics::kWidth,
                kWindowHeight);
    windows_.omitShadow(*this);
    buildAnimations();
    watchScreens();
}

void QueryInputPanel::buildAnimations()
{
    entrance_.setObjectName(QStringLiteral("entrance"));
    entrance_.setDuration(kEntranceMilliseconds);
    entrance_.setEasingCurve(easeOut());
    entrance_.setStartValue(0.0);
    entrance_.setEndValue(1.0);
    connect(&entrance_, &QVariantAnimation::valueChanged, this, [this](const QVariant& progress) {
        entranceOffset_ = kEntranceOffset * (1 - progress.toDouble());
        setWindowOpacity(progress.toDouble());
        layOutCard();
    });

    resize_.setObjectName(QStringLiteral("resize"));
    resize_.setDuration(kResizeMilliseconds);
    resize_.setEasingCurve(bezierEasing({0.12, 0.9}, {0.25, 1}));
    connect(&resize_, &QVariantAnimation::valueChanged, this, [this](const QVariant& value) {
        cardHeight_ = value.toDouble();
        layOutCard();
    });

    exit_.setObjectName(QStringLiteral("exit"));
    exit_.setEndValue(0.0);
    connect(&exit_, &QVariantAnimation::valueChanged, this,
            [this](const QVariant& value) { setWindowOpacity(value.toDouble()); });
    connect(&exit_, &QVariantAnimation::finished, this, [this] { orderOut(); });
}

/// The toolkit tells of a change in many small ones, so it is looked at on a later turn.
void QueryInputPanel::watchScreens()
{
    const LaterRefresh refresh(this, [this] {
        if (onScreensChanged)
            onScreensChanged();
    });
    const auto changed = [refresh] { refresh.request(); };
    const auto watch = [this, changed](const QScreen* screen) {
        connect(screen, &QScreen::geometryChanged, this, changed);
        // Bars move after their screen has changed.
        connect(screen, &QScreen::availableGeometryChanged, this, changed);
    };
    connect(qApp, &QGuiApplication::screenAdded, this, watch);
    connect(qApp, &QGuiApplication::screenRemoved, this, changed);
    connect(qApp, &QGuiApplication::primaryScreenChanged, this, changed);
    const auto screens = QGuiApplication::screens();
    for (const QScreen* screen : screens)
        watch(screen);
}

QPoint QueryInputPanel::cardBottomLeft() const
{
    return pos() + QPoint(0, CardMetrics::kMaximumHeight);
}

void QueryInputPanel::moveCard(QPoint bottomLeft)
{
    move(bottomLeft - QPoint(0, CardMetrics::kMaximumHeight));
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
    connect(&entrance_, &QVariantAnimation::finished, this, std::move(onShown));
    order();
    entrance_.start();
}

/// Raised only here: later a panel on top would bury the candidates of an input method.
void QueryInputPanel::order()
{
    isComposited_ = windows_.isComposited();
    layOutCard();
    // The first picture takes longer than a frame, so it is made before anything is seen.
    if (!isVisible())
        static_cast<void>(grab());
    show();
    raise();
}

void QueryInputPanel::takeKeyboard()
{
    if (!isVisible())
        return;
    if (focus_)
        focus_->take();
    else
        focus_ = windows_.keepFocus(*this);
}

void QueryInputPanel::stepAside()
{
    if (const auto focus = std::exchange(focus_, nullptr))
        focus->giveBack();
    hide();
}

void QueryInputPanel::comeBack()
{
    order();
}

void QueryInputPanel::leaveAndDelete()
{
    if (isLeaving_)
        return;
    entrance_.stop();
    resize_.stop();
    dragHold_.reset();
    onEscape = {};
    // Keys that are still under way mean nothing any more to what the card shows.
    if (QWidget* field = focusWidget())
        field->clearFocus();
    if (isVisible() && isComposited_)
        freezeCard();
    isLeaving_ = true;
    exit_.setStartValue(windowOpacity());
    // Without a compositor there is no opacity, and a fade would only be a delay.
    exit_.setDuration(isVisible() && isComposited_ ? kExitMilliseconds : 0);
    exit_.start();
}

void QueryInputPanel::orderOut()
{
    stepAside();
    deleteLater();
}

/// What fades away is a picture: the session that the card shows begins anew, or ends, meanwhile.
void QueryInputPanel::freezeCard()
{
    if (!card_)
        return;
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
    if (isLeaving_)
        return;
    const double target = std::clamp(height, CardMetrics::kMinimumHeight, CardMetrics::kMaximumHeight);
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

QRect QueryInputPanel::cardFrame() const
{
    const int height = static_cast<int>(std::lround(cardHeight_));
    const int bottom = CardMetrics::kMaximumHeight + static_cast<int>(std::lround(entranceOffset_));
    return {0, bottom - height, CardMetrics::kWidth, height};
}

void QueryInputPanel::layOutCard()
{
    if (!card_)
        return;
    card_->setGeometry(cardFrame());
    const double scale = devicePixelRatioF();
    const QRect pixels = coveredPixels(cardFrame(), scale);
    // Transparent corners need a compositor.
    windows_.setShape(*this, isComposited_ ? QRegion(pixels)
                                           : roundedRegion(pixels, CardMetrics::kCornerRadius * scale));
    // What the shape has just uncovered is painted before anybody sees it.
    if (isVisible())
        repaint();
}

bool QueryInputPanel::event(QEvent* event)
{
    const bool result = QWidget::event(event);
    // Another screen may have another scale, which the shape depends on.
    if (event->type() == QEvent::ScreenChangeInternal && !isLeaving_)
        layOutCard();
    return result;
}

void QueryInputPanel::keyPressEvent(QKeyEvent* event)
{
    if ((event->key() == Qt::Key_Escape || event->matches(QKeySequence::Cancel)) && onEscape) {
        if (!event->isAutoRepeat())
            onEscape();
        return;
    }
    QWidget::keyPressEvent(event);
}

void QueryInputPanel::mousePressEvent(QMouseEvent* event)
{
    // Controls and texts keep their presses, but for disabled ones.
    const QWidget* below = childAt(event->position().toPoint());
    if (event->button() == Qt::LeftButton && (!below || below->isEnabled()))
        dragHold_ = event->globalPosition().toPoint() - pos();
}

void QueryInputPanel::mouseMoveEvent(QMouseEvent* event)
{
    if (dragHold_)
        move(reachable(event->globalPosition().toPoint() - *dragHold_));
}

void QueryInputPanel::mouseReleaseEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton)
        dragHold_.reset();
}

/// The nearest position of the window where even the smallest card could be grasped on some screen.
QPoint QueryInputPanel::reachable(QPoint position) const
{
    const QPoint toCard(0, CardMetrics::kMaximumHeight - CardMetrics::kMinimumHeight);
    const QPoint wanted = position + toCard;
    std::optional<QPoint> nearest;
    const auto screens = QGuiApplication::screens();
    for (const QScreen* screen : screens) {
        const QRect area = screen->geometry();
        const QPoint place(std::clamp(wanted.x(), area.left() + kGraspable - CardMetrics::kWidth,
                                      area.right() + 1 - kGraspable),
                           std::clamp(wanted.y(), area.top() + kGraspable - CardMetrics::kMinimumHeight,
                                      area.bottom() + 1 - kGraspable));
        if (!nearest || (place - wanted).manhattanLength() < (*nearest - wanted).manhattanLength())
            nearest = place;
    }
    return nearest.value_or(wanted) - toCard;
}

} // namespace velmo
