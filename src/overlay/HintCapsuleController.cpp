#include "overlay/HintCapsuleController.h"

#include "overlay/OverlayTheme.h"
#include "widgets/Easing.h"
#include "widgets/SystemFont.h"
#include "widgets/ToolkitSpace.h"

#include <QCursor>
#include <QLabel>
#include <QPainter>
#include <algorithm>

namespace velmo {

namespace {

constexpr double kElevation = 16;
constexpr int kFadeInMilliseconds = 180;
constexpr int kFadeOutMilliseconds = 120;
constexpr int kTextSize = 13;

/// Where the pointer is, else the main screen, else the first.
std::optional<Screen> screenUnderPointer(const Screens& screens)
{
    const auto all = screens.all();
    const ScreenPoint pointer = toolkitSpace().fromQt(QPointF(QCursor::pos()));
    const auto found = std::find_if(
        all.begin(), all.end(), [pointer](const Screen& screen) { return screen.frame.contains(pointer); });
    if (found != all.end())
        return *found;
    if (auto main = screens.main())
        return main;
    return all.empty() ? std::nullopt : std::optional(all.front());
}

} // namespace

HintCapsuleView::HintCapsuleView(QWidget* parent)
    : QWidget(parent)
    , label_(new QLabel(QStringLiteral("Circle area you'd like to ask a question on"), this))
{
    setFixedSize(kSize);
    label_->setFont(systemFont(kTextSize, QFont::Medium));
    QPalette white;
    white.setColor(QPalette::WindowText, Qt::white);
    label_->setPalette(white);
    label_->setAlignment(Qt::AlignCenter);
    label_->setGeometry(rect());
}

void HintCapsuleView::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(OverlayTheme::hintCapsule());
    painter.drawRoundedRect(QRectF(rect()), height() / 2.0, height() / 2.0);
}

HintCapsuleController::HintCapsuleController(const Screens& screens, WindowSurfaces& windows)
    : screens_(screens)
    , windows_(windows)
{
    window_.resize(HintCapsuleView::kSize);
    windows_.omitShadow(window_);
    new HintCapsuleView(&window_);
    fade_.setEasingCurve(easeOut());
    QObject::connect(&fade_, &QVariantAnimation::valueChanged, &window_,
                     [this](const QVariant& alpha) { window_.setWindowOpacity(alpha.toDouble()); });
    QObject::connect(&fade_, &QVariantAnimation::finished, &window_, [this] {
        if (isLeaving_)
            window_.hide();
    });
}

void HintCapsuleController::show()
{
    const auto screen = screenUnderPointer(screens_);
    if (!screen)
        return;
    const QSize size = HintCapsuleView::kSize;
    const ScreenRect place{screen->visibleFrame.midX() - size.width() / 2.0,
                           screen->visibleFrame.minY() + kElevation, static_cast<double>(size.width()),
                           static_cast<double>(size.height())};
    window_.move(toolkitSpace().toQt(place).toRect().topLeft());
    if (!window_.isVisible()) {
        window_.clearMask();
        if (!windows_.isComposited())
            window_.cutCorners(size.height() / 2.0);
        window_.setWindowOpacity(0);
        isLeaving_ = false;
        window_.show();
        window_.raise();
        windows_.keepManagedOnTop();
        fadeTo(1, kFadeInMilliseconds);
    } else if (isLeaving_) {
        // On its way out it would take the hint with it while the modifiers are still held.
        isLeaving_ = false;
        fade_.stop();
        window_.setWindowOpacity(1);
    }
}

void HintCapsuleController::hide()
{
    if (!window_.isVisible() || isLeaving_)
        return;
    isLeaving_ = true;
    fadeTo(0, kFadeOutMilliseconds);
}

void HintCapsuleController::fadeTo(double alpha, int milliseconds)
{
    fade_.stop();
    fade_.setStartValue(window_.windowOpacity());
    fade_.setEndValue(alpha);
    // Without a compositor there is no opacity, and a fade would only be a delay.
    fade_.setDuration(windows_.isComposited() ? milliseconds : 0);
    fade_.start();
}

} // namespace velmo
