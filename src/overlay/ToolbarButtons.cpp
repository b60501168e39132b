#include "overlay/ToolbarButtons.h"

#include "overlay/OverlayTheme.h"
#include "widgets/Colors.h"
#include "widgets/SymbolIcon.h"
#include "widgets/SystemFont.h"

#include <QPainter>

namespace velmo {

namespace {

constexpr double kCornerRadius = 6;
constexpr int kSwatchSize = 20;
constexpr QSize kDoneSize(65, 28);
constexpr int kDoneTextSize = 13;

/// The toolbar never takes the keyboard.
void makeToolbarControl(QWidget& control, QSize size)
{
    control.setFixedSize(size);
    control.setFocusPolicy(Qt::NoFocus);
    control.setCursor(Qt::ArrowCursor);
}

void paintGround(QPainter& painter, const QRectF& bounds, const QColor& color)
{
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(color);
    painter.drawRoundedRect(bounds, kCornerRadius, kCornerRadius);
}

} // namespace

SymbolButton::SymbolButton(const QString& symbol, const QString& description, int size, int symbolSize)
    : symbol_(symbol)
    , symbolSize_(symbolSize)
{
    makeToolbarControl(*this, QSize(size, size));
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
    const QColor rest = isSelected_ ? OverlayTheme::selectedTool() : white(0);
    const QColor hovered = isSelected_ ? OverlayTheme::selectedTool() : OverlayTheme::hoveredControl();
    paintGround(painter, rect(),
                blended(blended(rest, hovered, hover()), OverlayTheme::selectedTool(), press()));
    const double inset = (width() - symbolSize_) / 2.0;
    drawSymbol(painter, symbol_, Qt::white, QRectF(inset, inset, symbolSize_, symbolSize_));
}

ColorSwatchButton::ColorSwatchButton(const QColor& swatchColor, const QString& description)
    : swatchColor_(swatchColor)
{
    makeToolbarControl(*this, QSize(kSwatchSize, kSwatchSize));
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
        painter.setPen(QPen(white(alpha), 1));
        painter.setBrush(Qt::NoBrush);
        painter.drawEllipse(circle.adjusted(0.5, 0.5, -0.5, -0.5));
    }
}

DoneButton::DoneButton()
{
    makeToolbarControl(*this, kDoneSize);
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
