#include "panel/SpinnerView.h"

#include "widgets/Colors.h"

#include <QPainter>

namespace velmo {

namespace {

constexpr int kSize = 14;
constexpr int kRays = 8;
constexpr std::chrono::milliseconds kTurn{800};
constexpr double kInnerRadius = 3.2;
constexpr double kOuterRadius = 6.1;
constexpr double kRayWidth = 1.4;
constexpr float kBrightest = 0.85F;
constexpr float kDarkest = 0.16F;

} // namespace

SpinnerView::SpinnerView(QWidget* parent)
    : QWidget(parent)
{
    setFixedSize(kSize, kSize);
    setVisible(false);
    turn_.setInterval(kTurn / kRays);
    turn_.callOnTimeout([this] {
        brightestRay_ = (brightestRay_ + 1) % kRays;
        update();
    });
}

void SpinnerView::startAnimating()
{
    show();
    if (!turn_.isActive())
        turn_.start();
}

void SpinnerView::stopAnimating()
{
    hide();
    turn_.stop();
}

void SpinnerView::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.translate(kSize / 2.0, kSize / 2.0);
    for (int ray = 0; ray < kRays; ++ray) {
        // Each ray was the brightest one some steps ago.
        const int age = (brightestRay_ - ray + kRays) % kRays;
        const float alpha = kBrightest + (kDarkest - kBrightest) * static_cast<float>(age) / (kRays - 1);
        painter.save();
        painter.rotate(360.0 * ray / kRays);
        painter.setPen(QPen(white(alpha), kRayWidth, Qt::SolidLine, Qt::RoundCap));
        painter.drawLine(QPointF(0, -kInnerRadius), QPointF(0, -kOuterRadius));
        painter.restore();
    }
}

} // namespace velmo
