#include "panel/QueryInputTextView.h"

#include "panel/QueryPanelTheme.h"
#include "widgets/SystemFont.h"

#include <QAbstractTextDocumentLayout>
#include <algorithm>
#include <cmath>

namespace velmo {

namespace {

constexpr int kVerticalInset = 3;
constexpr int kFontSize = 13;
constexpr double kIgnoredHeightChange = 0.5;
constexpr float kReadOnlyAlpha = 0.72F;

QColor paler(QColor color)
{
    color.setAlphaF(color.alphaF() * kReadOnlyAlpha);
    return color;
}

} // namespace

QueryInputTextView::QueryInputTextView(QWidget* parent)
    : QWidget(parent)
    , textView_(new QueryTextView(this))
    , placeholderField_(new QLabel(this))
{
    setFocusProxy(textView_);
    textView_->setFont(systemFont(kFontSize));
    placeholderField_->setFont(systemFont(kFontSize));
    placeholderField_->setAttribute(Qt::WA_TransparentForMouseEvents);
    placeholderField_->setTextFormat(Qt::PlainText);
    placeholderField_->setAlignment(Qt::AlignLeft | Qt::AlignTop);
    temporaryPlaceholder_.setSingleShot(true);
    temporaryPlaceholder_.setTimerType(Qt::PreciseTimer);
    temporaryPlaceholder_.callOnTimeout([this] {
        temporaryPlaceholderText_.reset();
        updatePlaceholder();
    });
    const auto forward = [](const std::function<void()>& callback) {
        if (callback)
            callback();
    };
    connect(textView_, &QTextEdit::textChanged, this, [this, forward] {
        updatePlaceholder();
        recalculateHeight();
        forward(onChange);
    });
    textView_->onSubmit = [this, forward] { forward(onSubmit); };
    textView_->onCancel = [this, forward] { forward(onCancel); };
    textView_->onCompositionChange = [this] {
        updatePlaceholder();
        recalculateHeight();
    };
    textView_->onEmptyEnterPressBegan = [this, forward] { forward(onEmptyEnterPressBegan); };
    textView_->onEmptyEnterPressEnded = [this, forward] { forward(onEmptyEnterPressEnded); };
    resize(width(), kMinimumHeight);
}

void QueryInputTextView::configure(const QString& placeholder, const QColor& textColor,
                                   const QColor& placeholderColor)
{
    defaultPlaceholder_ = placeholder;
    textColor_ = textColor;
    placeholderColor_ = placeholderColor;
    applyColors();
    updatePlaceholder();
}

void QueryInputTextView::applyColors()
{
    textView_->setPalette(QueryPanelTheme::palette(isEditable_ ? textColor_ : paler(textColor_)));
    placeholderField_->setPalette(
        QueryPanelTheme::palette(isEditable_ ? placeholderColor_ : paler(placeholderColor_)));
}

void QueryInputTextView::setEditable(bool editable)
{
    if (isEditable_ == editable)
        return;
    isEditable_ = editable;
    // Not disabled: it would lose the keyboard, and with it Escape and the end of a press.
    textView_->setReadOnly(!editable);
    textView_->setTextInteractionFlags(editable ? Qt::TextEditorInteraction : Qt::NoTextInteraction);
    applyColors();
}

void QueryInputTextView::showTemporaryPlaceholder(const QString& text, std::chrono::milliseconds duration)
{
    temporaryPlaceholderText_ = text;
    updatePlaceholder();
    temporaryPlaceholder_.start(duration);
}

void QueryInputTextView::updatePlaceholder()
{
    const QString text = temporaryPlaceholderText_.value_or(defaultPlaceholder_);
    placeholderField_->setText(text);
    placeholderField_->setVisible(textView_->document()->isEmpty() && !textView_->isComposing());
    textView_->setAccessibleDescription(text);
}

void QueryInputTextView::recalculateHeight()
{
    const double used = std::ceil(textView_->document()->documentLayout()->documentSize().height());
    const double height = std::clamp<double>(used + 2 * kVerticalInset, kMinimumHeight, kMaximumHeight);
    if (std::abs(height - currentIntrinsicHeight_) <= kIgnoredHeightChange)
        return;
    currentIntrinsicHeight_ = static_cast<int>(height);
    updateGeometry();
    if (onHeightChange)
        onHeightChange();
}

void QueryInputTextView::resizeEvent(QResizeEvent*)
{
    const QRect inside = rect().adjusted(0, kVerticalInset, 0, -kVerticalInset);
    textView_->setGeometry(inside);
    placeholderField_->setGeometry(inside);
    recalculateHeight();
}

} // namespace velmo
