#include "panel/PanelButtons.h"

#include "panel/QueryPanelTheme.h"
#include "widgets/SymbolIcon.h"
#include "widgets/SystemFont.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <algorithm>

namespace velmo {

namespace {

constexpr int kSendSize = 22;
constexpr int kTextButtonSize = 11;
constexpr double kRoundSymbolSize = 12; ///< Of the square; its strokes span ten.

QColor lightAccent()
{
    return {0x7a, 0x87, 0xff};
}
QColor darkAccent()
{
    return {0x54, 0x61, 0xf0};
}

} // namespace

PanelButton::PanelButton(const FocusRingShape& ring, QWidget* parent)
    : FadingButton(parent)
    , ring_(ring)
{
    setFocusPolicy(Qt::TabFocus);
    setCursor(Qt::ArrowCursor);
}

bool PanelButton::event(QEvent* event)
{
    // The panel shows them in its own look.
    return event->type() != QEvent::ToolTip && FadingButton::event(event);
}

void PanelButton::keyPressEvent(QKeyEvent* event)
{
    const bool isReturn = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
    if (isReturn && !event->isAutoRepeat())
        click();
    else
        FadingButton::keyPressEvent(event);
}

SymbolPanelButton::SymbolPanelButton(const QString& symbol, const QString& description, int size,
                                     QWidget* parent)
    : PanelButton({2, size / 2.0}, parent)
    , symbol_(symbol)
{
    setFixedSize(size, size);
    setAccessibleName(description);
    setTint(QueryPanelTheme::dimText(), QueryPanelTheme::hoveredText(), QueryPanelTheme::hoveredText());
}

void SymbolPanelButton::setTint(const QColor& rest, const QColor& hovered, const QColor& pressed)
{
    tint_ = rest;
    hoveredTint_ = hovered;
    pressedTint_ = pressed;
    update();
}

void SymbolPanelButton::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    const QColor tint = blended(blended(tint_, hoveredTint_, hover()), pressedTint_, press());
    drawSymbol(painter, symbol_, tint, rect());
}

SendButton::SendButton(QWidget* parent)
    : SymbolPanelButton(QStringLiteral("arrow.up.circle.fill"), QStringLiteral("Send"), kSendSize, parent)
{
    setCanSend(false);
}

void SendButton::setCanSend(bool canSend)
{
    setEnabled(canSend);
    if (canSend)
        setTint(QueryPanelTheme::accent(), lightAccent(), darkAccent());
    else
        setTint(QueryPanelTheme::dimText(), QueryPanelTheme::dimText(), QueryPanelTheme::dimText());
}

TextButton::TextButton(const QString& title, QWidget* parent)
    : PanelButton({2, 4}, parent)
{
    setText(title);
    setFont(systemFont(kTextButtonSize, QFont::Medium));
    setAccessibleName(title);
}

QSize TextButton::sizeHint() const
{
    return {fontMetrics().horizontalAdvance(text()), fontMetrics().height()};
}

void TextButton::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setPen(
        blended(QueryPanelTheme::dimText(), QueryPanelTheme::hoveredText(), std::max(hover(), press())));
    painter.drawText(rect(), Qt::AlignCenter | Qt::TextSingleLine, text());
}

RoundIconButton::RoundIconButton(const QString& symbol, const QString& description, int diameter,
                                 QWidget* parent)
    : PanelButton({2, diameter / 2.0}, parent)
    , symbol_(symbol)
{
    setFixedSize(diameter, diameter);
    setCursor(Qt::PointingHandCursor);
    setAccessibleName(description);
}

void RoundIconButton::mousePressEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton)
        click();
}

void RoundIconButton::paintEvent(QPaintEvent*)
{
    constexpr float kGround = 0.7F;
    constexpr float kHoveredGround = 0.88F;
    constexpr float kRing = 0.22F;
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(
        blended(QColor::fromRgbF(0, 0, 0, kGround), QColor::fromRgbF(0, 0, 0, kHoveredGround), hover()));
    painter.drawEllipse(rect());
    if (hover() > 0) {
        painter.setPen(QPen(white(kRing * static_cast<float>(hover())), 1));
        painter.setBrush(Qt::NoBrush);
        painter.drawEllipse(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5));
    }
    const double inset = (width() - kRoundSymbolSize) / 2;
    drawSymbol(painter, symbol_, Qt::white, QRectF(inset, inset, kRoundSymbolSize, kRoundSymbolSize));
}

} // namespace velmo
