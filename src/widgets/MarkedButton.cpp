#include "widgets/MarkedButton.h"

#include "widgets/Colors.h"
#include "widgets/SystemFont.h"
#include "widgets/WindowTheme.h"

#include <QPainter>
#include <cmath>

namespace velmo {

namespace {

constexpr int kMarkSize = 16;
constexpr int kHeight = 20;
constexpr int kTextSize = 13;
constexpr double kRingRadius = 4;

} // namespace

MarkedButton::MarkedButton(QAccessible::Role role, const QString& title, int gap, QWidget* parent)
    : FadingButton(parent)
    , DescribedWidget(role)
    , gap_(gap)
{
    setCheckable(true);
    setFocusPolicy(Qt::StrongFocus);
    setFont(systemFont(kTextSize));
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    setText(title);
    setAccessibleName(title);
    connect(this, &QAbstractButton::clicked, this, [this](bool isOn) {
        if (onChange)
            onChange(isOn);
    });
}

QSize MarkedButton::sizeHint() const
{
    if (text().isEmpty())
        return {kMarkSize, kHeight};
    const double title = QFontMetricsF(font()).horizontalAdvance(text());
    return {kMarkSize + gap_ + static_cast<int>(std::ceil(title)), kHeight};
}

FocusRingShape MarkedButton::focusRingShape() const
{
    return {1, kRingRadius};
}

QColor MarkedButton::offColor(const WindowTheme& theme) const
{
    return blended(blended(theme.field, theme.hoveredButton, hover()), theme.pressedButton, press());
}

QColor MarkedButton::onColor(const WindowTheme& theme) const
{
    return blended(blended(theme.accentFill, theme.hoveredPrimary, hover()), theme.pressedPrimary, press());
}

void MarkedButton::paintEvent(QPaintEvent*)
{
    const WindowTheme theme = WindowTheme::current();
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    paintMark(painter, QRectF(0, (height() - kMarkSize) / 2.0, kMarkSize, kMarkSize), theme);
    painter.setPen(theme.text);
    painter.drawText(rect().adjusted(kMarkSize + gap_, 0, 0, 0),
                     Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine, text());
}

} // namespace velmo
