#include "overlay/ToolbarButtons.h"

#include "overlay/OverlayTheme.h"
#include "widgets/SymbolIcon.h"
#include "widgets/SystemFont.h"

#include <QPainter>

namespace velmo {

namespace {

constexpr int kFadeMilliseconds = 80;
constexpr double kCornerRadius = 6;
constexpr int kSwatchSize = 20;
constexpr QSize kDoneSize(65, 28);
constexpr int kDoneTextSize = 13;

QColor blended(const QColor& from, const QColor& to, double progress)
{
    const auto mix = [progress](float a, float b) { return a + (b - a) * static_cast<float>(progress); };
    return QColor::fromRgbF(mix(from.redF(), to.redF()), mix(from.greenF(), to.greenF()),
                            mix(from.blueF(), to.blueF()), mix(from.alphaF(), to.alphaF()));
}

void paintGround(QPainter& painter, const QRectF& bounds, const QColor& color)
{
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(color);
    painter.drawRoundedRect(bounds, kCornerRadius, kCornerRadius);
}

} // namespace

ToolbarButton::ToolbarButton(QSize size)
{
    setFixedSize(size);
    setFocusPolicy(Qt::NoFocus);
    setCursor(Qt::ArrowCursor);
    for (QVariantAnimation* progress : {&hover_, &press_}) {
        progress->setDuration(kFadeMilliseconds);
        progress->setStartValue(0.0);
        progress->setEndValue(0.0);
        connect(progress, &QVariantAnimation::valueChanged, this, [this] { update(); });
    }
    connect(this, &QAbstractButton::pressed, this, [this] { fadeTo(press_, 1); });
    connect(this, &QAbstractButton::released, this, [this] { fadeTo(press_, 0); });
}

void ToolbarButton::fadeTo(QVariantAnimation& progress, double end)
{
    const double now = progress.currentValue().toDouble();
    progress.stop();
    progress.setStartValue(now);
    progress.setEndValue(end);
    progress.start();
}

void ToolbarButton::enterEvent(QEnterEvent*)
{
    fadeTo(hover_, 1);
}

void ToolbarButton::leaveEvent(QEvent*)
{
    fadeTo(hover_, 0);
}

SymbolButton::SymbolButton(const QString& symbol, const QString& description, int size, int symbolSize)
    : ToolbarButton(QSize(size, size))
    , symbol_(symbol)
    , symbolSize_(symbolSize)
{
    setAccessibleName(description);
}

void SymbolButton::setSelected(bool selected)
{
    isSelected_ = selected;
    update();
}

void SymbolButton::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    const QColor rest = isSelected_ ? OverlayTheme::selectedTool() : OverlayTheme::white(0);
    const QColor hovered = isSelected_ ? OverlayTheme::selectedTool() : OverlayTheme::hoveredControl();
    paintGround(painter, rect(),
                blended(blended(rest, hovered, hover()), OverlayTheme::selectedTool(), press()));
    const double inset = (width() - symbolSize_) / 2.0;
    drawSymbol(painter, symbol_, Qt::white, QRectF(inset, inset, symbolSize_, symbolSize_));
}

ColorSwatchButton::ColorSwatchButton(const QColor& swatchColor, const QString& description)
    : ToolbarButton(QSize(kSwatchSize, kSwatchSize))
    , swatchColor_(swatchColor)
{
    setAccessibleName(description);
}

void ColorSwatchButton::setSelected(bool selected)
{
    isSelected_ = selected;
    update();
}

void ColorSwatchButton::paintEvent(QPaintEvent*)
{
    constexpr double kInset = 1;
    constexpr double kRingWidth = 2;
    constexpr double kGap = 1; ///< Of the toolbar's own colour, or a selected white would have no ring.
    constexpr float kHairline = 0.26F;
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF circle = QRectF(rect()).adjusted(kInset, kInset, -kInset, -kInset);
    if (isSelected_) {
        constexpr double kDiscInset = kRingWidth / 2 + kGap;
        painter.setPen(QPen(Qt::white, kRingWidth));
        painter.setBrush(QColor(OverlayTheme::toolbar().rgb()));
        painter.drawEllipse(circle);
        painter.setPen(Qt::NoPen);
        painter.setBrush(swatchColor_);
        painter.drawEllipse(circle.adjusted(kDiscInset, kDiscInset, -kDiscInset, -kDiscInset));
        return;
    }
    painter.setPen(Qt::NoPen);
    painter.setBrush(swatchColor_);
    painter.drawEllipse(circle);
    // Black would vanish on the toolbar.
    const float outline = swatchColor_ == QColor(Qt::black) ? kHairline : 0;
    const auto alpha = static_cast<float>(outline + (0.5F - outline) * static_cast<float>(hover()));
    if (alpha > 0) {
        painter.setPen(QPen(OverlayTheme::white(alpha), 1));
        painter.setBrush(Qt::NoBrush);
        painter.drawEllipse(circle.adjusted(0.5, 0.5, -0.5, -0.5));
    }
}

DoneButton::DoneButton()
    : ToolbarButton(kDoneSize)
{
    setText(QStringLiteral("Done →"));
    setFont(systemFont(kDoneTextSize, QFont::DemiBold));
}

void DoneButton::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    const QColor hovered = blended(OverlayTheme::done(), OverlayTheme::donePressed(), hover() / 2);
    paintGround(painter, rect(), blended(hovered, OverlayTheme::donePressed(), press()));
    painter.setPen(Qt::white);
    painter.drawText(rect(), Qt::AlignCenter, text());
}

} // namespace velmo
