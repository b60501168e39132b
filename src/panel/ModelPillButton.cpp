#include "panel/ModelPillButton.h"

#include "panel/PanelMenu.h"
#include "panel/QueryPanelContentView.h"
#include "panel/QueryPanelTheme.h"
#include "widgets/RoundedBorder.h"
#include "widgets/SystemFont.h"

#include <QPainter>
#include <algorithm>

namespace velmo {

namespace {

constexpr int kHeight = 22;
constexpr double kRadius = 11;
constexpr int kFontSize = 10;
/// What a button leaves beside its title, and what the pill adds for its round ends.
constexpr int kButtonInset = 8;
constexpr int kPillWidening = 14;
constexpr int kWidest = 400; ///< Beside the other controls.
constexpr double kBorderWidth = 0.5;

} // namespace

ModelPillButton::ModelPillButton(QueryPanelContentView& content)
    : PanelButton({0, kRadius}, &content)
    , contentViewBridge_(&content)
{
    setFont(systemFont(kFontSize));
    setAccessibleDescription(QStringLiteral("Model"));
    connect(this, &QAbstractButton::clicked, this, [this] {
        if (contentViewBridge_)
            contentViewBridge_->showModelMenu();
    });
}

void ModelPillButton::setTitle(const QString& title)
{
    setText(title);
    setAccessibleName(title);
    updateGeometry();
    update();
}

void ModelPillButton::followMenu(PanelMenu& menu)
{
    fadePress(true);
    connect(&menu, &QMenu::aboutToHide, this, [this] { fadePress(false); });
}

QSize ModelPillButton::sizeHint() const
{
    return {std::min(fontMetrics().horizontalAdvance(text()) + kButtonInset + kPillWidening, kWidest),
            kHeight};
}

void ModelPillButton::paintEvent(QPaintEvent*)
{
    constexpr float kFill = 0.07F;
    constexpr float kHoveredFill = 0.11F;
    constexpr float kPressedFill = 0.14F;
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(
        blended(blended(white(kFill), white(kHoveredFill), hover()), white(kPressedFill), press()));
    painter.drawRoundedRect(QRectF(rect()), kRadius, kRadius);
    drawRoundedBorder(painter, rect(), kRadius, QPen(white(0.16F), kBorderWidth));
    painter.setPen(blended(QueryPanelTheme::label(), white(0.9F), std::max(hover(), press())));
    const QString title = fontMetrics().elidedText(text(), Qt::ElideMiddle, width() - kPillWidening);
    painter.drawText(rect(), Qt::AlignCenter | Qt::TextSingleLine, title);
}

} // namespace velmo
