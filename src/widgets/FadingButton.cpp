#include "widgets/FadingButton.h"

namespace velmo {

namespace {

constexpr int kFadeMilliseconds = 80;

} // namespace

FadingButton::FadingButton(QWidget* parent)
    : QAbstractButton(parent)
{
    for (QVariantAnimation* progress : {&hover_, &press_}) {
        progress->setDuration(kFadeMilliseconds);
        progress->setStartValue(0.0);
        progress->setEndValue(0.0);
        connect(progress, &QVariantAnimation::valueChanged, this, [this] { update(); });
    }
    connect(this, &QAbstractButton::pressed, this, [this] { fadePress(true); });
    connect(this, &QAbstractButton::released, this, [this] { fadePress(false); });
}

void FadingButton::fadeTo(QVariantAnimation& progress, double end)
{
    const double now = progress.currentValue().toDouble();
    progress.stop();
    progress.setStartValue(now);
    progress.setEndValue(end);
    progress.start();
}

void FadingButton::enterEvent(QEnterEvent*)
{
    fadeTo(hover_, 1);
}

void FadingButton::leaveEvent(QEvent*)
{
    fadeTo(hover_, 0);
}

} // namespace velmo
