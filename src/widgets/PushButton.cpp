#include "widgets/PushButton.h"

#include "widgets/Colors.h"
#include "widgets/RoundedBorder.h"
#include "widgets/SystemFont.h"
#include "widgets/WindowAccessible.h"
#include "widgets/WindowTheme.h"

#include <QPainter>
#include <QShortcut>
#include <algorithm>
#include <cmath>

namespace velmo {

namespace {

constexpr int kPadding = 12;
constexpr int kPrimaryPadding = 14;
constexpr int kHeight = 26;
constexpr int kPrimaryHeight = 30;
constexpr int kWordHeight = 18;
constexpr double kRadius = 6;
constexpr double kPrimaryRadius = 7;
constexpr double kWordRadius = 4;
constexpr double kTextSize = 12.5;
constexpr double kPrimaryTextSize = 13;
constexpr float kDisabledText = 0.38F;

struct ButtonColors {
    QColor ground;
    QColor border;
    QColor text;
};

QColor faint(QColor color)
{
    color.setAlphaF(kDisabledText);
    return color;
}

ExactFont fontOf(PushButton::Kind kind)
{
    return kind == PushButton::Kind::Primary ? ExactFont(kPrimaryTextSize, QFont::DemiBold)
                                             : ExactFont(kTextSize);
}

ButtonColors restColors(const WindowTheme& theme, PushButton::Kind kind)
{
    switch (kind) {
    case PushButton::Kind::Normal:
        return {theme.button, theme.buttonBorder, theme.text};
    case PushButton::Kind::Primary:
        return {theme.accentFill, Qt::transparent, Qt::white};
    case PushButton::Kind::Borderless:
        return {Qt::transparent, Qt::transparent, theme.secondaryText};
    case PushButton::Kind::Link:
        return {Qt::transparent, Qt::transparent, theme.accent};
    }
    return {};
}

ButtonColors colorsOf(const WindowTheme& theme, PushButton::Kind kind, double hover, double press)
{
    ButtonColors colors = restColors(theme, kind);
    if (kind == PushButton::Kind::Normal)
        colors.ground =
            blended(blended(colors.ground, theme.hoveredButton, hover), theme.pressedButton, press);
    if (kind == PushButton::Kind::Primary)
        colors.ground =
            blended(blended(colors.ground, theme.hoveredPrimary, hover), theme.pressedPrimary, press);
    return colors;
}

ButtonColors disabledColors(const WindowTheme& theme, PushButton::Kind kind)
{
    if (kind == PushButton::Kind::Normal || kind == PushButton::Kind::Primary)
        return {theme.disabledButton, theme.disabledButtonBorder, faint(theme.text)};
    return {Qt::transparent, Qt::transparent, faint(restColors(theme, kind).text)};
}

} // namespace

PushButton::PushButton(Kind kind, const QString& title, QWidget* parent)
    : FadingButton(parent)
    , kind_(kind)
    , textScale_(fontOf(kind).scale)
{
    installWindowAccessibility();
    setFocusPolicy(Qt::StrongFocus);
    setFont(fontOf(kind).font);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    setTitle(title);
}

void PushButton::setTitle(const QString& title)
{
    setText(title);
    setAccessibleName(title);
    updateGeometry();
}

void PushButton::setDefault(bool isDefault)
{
    if (isDefault == this->isDefault())
        return;
    qDeleteAll(returnKeys_);
    returnKeys_.clear();
    if (!isDefault)
        return;
    for (const int key : {Qt::Key_Return, Qt::Key_Enter}) {
        auto* shortcut = new QShortcut(QKeySequence(key), this);
        // Whoever holds the key down means one press.
        shortcut->setAutoRepeat(false);
        connect(shortcut, &QShortcut::activated, this, [this] { click(); });
        returnKeys_.append(shortcut);
    }
}

QSize PushButton::sizeHint() const
{
    const int text =
        static_cast<int>(std::ceil(QFontMetricsF(font()).horizontalAdvance(this->text()) * textScale_));
    if (!hasGround())
        return {text, kWordHeight};
    if (kind_ == Kind::Primary)
        return {text + 2 * kPrimaryPadding, kPrimaryHeight};
    return {text + 2 * kPadding, kHeight};
}

FocusRingShape PushButton::focusRingShape() const
{
    if (!hasGround())
        return {2, kWordRadius};
    return {2, kind_ == Kind::Primary ? kPrimaryRadius : kRadius};
}

void PushButton::paintEvent(QPaintEvent*)
{
    const WindowTheme theme = WindowTheme::current();
    const ButtonColors colors =
        isEnabled() ? colorsOf(theme, kind_, hover(), press()) : disabledColors(theme, kind_);
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    if (hasGround()) {
        const double radius = kind_ == Kind::Primary ? kPrimaryRadius : kRadius;
        painter.setPen(Qt::NoPen);
        painter.setBrush(colors.ground);
        painter.drawRoundedRect(rect(), radius, radius);
        if (colors.border.alpha() > 0)
            drawRoundedBorder(painter, rect(), radius, QPen(colors.border, 1));
    } else if (isEnabled() && std::max(hover(), press()) > 0) {
        QFont underlined = font();
        underlined.setUnderline(true);
        painter.setFont(underlined);
    }
    painter.setPen(colors.text);
    painter.scale(textScale_, textScale_);
    const QRectF place(0, 0, width() / textScale_, height() / textScale_);
    painter.drawText(place, Qt::AlignCenter | Qt::TextSingleLine, text());
}

} // namespace velmo
