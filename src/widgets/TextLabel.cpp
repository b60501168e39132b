#include "widgets/TextLabel.h"

#include "widgets/SystemFont.h"

#include <QAccessible>
#include <QPainter>
#include <QTextLayout>
#include <algorithm>
#include <cmath>

namespace velmo {

namespace {

QFont fontOf(const TextLabel::Style& style)
{
    QFont font = ExactFont(style.size, style.weight).font;
    if (style.tracking != 0)
        font.setLetterSpacing(QFont::AbsoluteSpacing, style.tracking);
    return font;
}

} // namespace

/// The text as it is broken at a width, in the units of the font.
class TextLabel::Lines {
public:
    Lines(const TextLabel& label, double width)
        : layout_(QString(label.text()).replace(u'\n', QChar::LineSeparator), label.font())
    {
        const double lineHeight = label.style_.lineHeight / label.scale_;
        QTextOption wrapping;
        wrapping.setWrapMode(QTextOption::WordWrap);
        layout_.setTextOption(wrapping);
        layout_.beginLayout();
        double top = 0;
        for (QTextLine line = layout_.createLine(); line.isValid(); line = layout_.createLine()) {
            line.setLineWidth(width / label.scale_);
            const double slack = width / label.scale_ - line.naturalTextWidth();
            const double left = label.alignment().testFlag(Qt::AlignHCenter) ? slack / 2
                                : label.alignment().testFlag(Qt::AlignRight) ? slack
                                                                             : 0;
            line.setPosition({left, top + (lineHeight - line.height()) / 2});
            widest_ = std::max(widest_, line.naturalTextWidth());
            top += lineHeight;
        }
        layout_.endLayout();
    }

    [[nodiscard]] int count() const { return layout_.lineCount(); }
    [[nodiscard]] double widest() const { return widest_; }
    void draw(QPainter& painter) const { layout_.draw(&painter, {}); }

private:
    QTextLayout layout_;
    double widest_ = 0;
};

TextLabel::TextLabel(const Style& style, const QString& text, QWidget* parent)
    : QLabel(parent)
    , style_(style)
    , scale_(ExactFont(style.size).scale)
{
    setTextFormat(Qt::PlainText);
    // Otherwise each new text takes the dependence of the height on the width back.
    setWordWrap(true);
    setFont(fontOf(style));
    setText(text);
    // A layout gives a fixed height no more than that of the unwrapped text.
    QSizePolicy policy(QSizePolicy::Preferred, QSizePolicy::Minimum);
    policy.setHeightForWidth(true);
    setSizePolicy(policy);
}

void TextLabel::announce()
{
    if (text().isEmpty())
        return;
    QAccessibleEvent alert(this, QAccessible::Alert);
    QAccessible::updateAccessibility(&alert);
}

QSize TextLabel::sizeHint() const
{
    constexpr double kUnlimited = 100'000;
    const Lines lines(*this, kUnlimited);
    return {static_cast<int>(std::ceil(lines.widest() * scale_)), lines.count() * style_.lineHeight};
}

int TextLabel::heightForWidth(int width) const
{
    return Lines(*this, width).count() * style_.lineHeight;
}

void TextLabel::paintEvent(QPaintEvent*)
{
    const Lines lines(*this, width());
    QPainter painter(this);
    painter.translate(0, (height() - lines.count() * style_.lineHeight) / 2.0);
    painter.scale(scale_, scale_);
    painter.setPen(tint());
    lines.draw(painter);
}

} // namespace velmo
