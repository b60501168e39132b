#include "panel/MessageTextView.h"

#include "markdown/MarkdownRules.h"
#include "panel/MarkdownMessageView.h"
#include "panel/QueryPanelTheme.h"

#include <algorithm>

namespace velmo {

namespace {

/// The containers have room above and below answers; a question has that of its bubble.
constexpr int kAnswerInset = 2;

std::u16string_view view(QStringView text)
{
    return {text.utf16(), static_cast<std::size_t>(text.size())};
}

} // namespace

MarkdownMessageView::MarkdownMessageView(const markdown::StyledText& attributedText, QWidget* parent)
    : QWidget(parent)
    , textView_(new AutoSizingTextView(kAnswerInset, this))
{
    textView_->setText(attributedText);
}

void MarkdownMessageView::resizeEvent(QResizeEvent*)
{
    textView_->setContainerWidth(std::max(width(), 1));
    textView_->setGeometry(rect());
}

MessageTextView::MessageTextView(const QString& text, ChatMessageRole role, bool dimmed, QWidget* parent)
    : QWidget(parent)
    , role_(role)
{
    if (role == ChatMessageRole::Assistant) {
        auto* markdown = new MarkdownMessageView({}, this);
        shown_ = markdown;
        textView_ = &markdown->textView();
        textView_->setAccessibleName(QStringLiteral("Answer"));
    } else {
        textView_ = new AutoSizingTextView(0, this);
        shown_ = textView_;
        textView_->setAccessibleName(QStringLiteral("Your question"));
    }
    setText(text, dimmed);
}

markdown::StyledText MessageTextView::attributedPlainText(QStringView text)
{
    return markdown::plain(view(text));
}

markdown::StyledText MessageTextView::attributedAssistantText(QStringView text)
{
    return markdown::render(view(text));
}

void MessageTextView::setText(const QString& text, bool dimmed)
{
    renderer_.reset();
    textView_->setTextColor(dimmed ? QueryPanelTheme::dimText() : QueryPanelTheme::text());
    textView_->setText(role_ == ChatMessageRole::Assistant ? attributedAssistantText(text)
                                                           : attributedPlainText(text));
}

void MessageTextView::extendTo(const QString& text)
{
    if (role_ != ChatMessageRole::Assistant) {
        setText(text, false);
        return;
    }
    textView_->setTextColor(QueryPanelTheme::text());
    if (!renderer_) {
        renderer_ = std::make_unique<markdown::IncrementalRenderer>();
        renderer_->append(view(text));
        textView_->setText(renderer_->rendering());
    } else {
        const std::size_t changed = renderer_->append(view(QStringView(text).mid(renderedLength_)));
        textView_->replaceFrom(static_cast<qsizetype>(changed), renderer_->rendering());
    }
    renderedLength_ = text.size();
}

int MessageTextView::fittingHeight() const
{
    return std::max(textView_->intrinsicHeight(), kMinimumHeight);
}

void MessageTextView::resizeEvent(QResizeEvent*)
{
    shown_->setGeometry(rect());
}

} // namespace velmo
