#include "panel/QueryChatMessageView.h"

#include "panel/AttachmentThumbnailButton.h"
#include "panel/MessageTextView.h"
#include "panel/QueryPanelTheme.h"
#include "panel/RoundedBackgroundView.h"

#include <QBuffer>
#include <QImageReader>
#include <algorithm>
#include <cmath>

namespace velmo {

namespace {

constexpr int kAssistantTrailingSpace = 48;
constexpr double kUserShare = 0.72; ///< Of the row's width, at most.
constexpr int kBubbleInsetX = 16;
constexpr int kBubbleInsetY = 12;
constexpr double kBubbleRadius = 16;
constexpr int kSpacing = 6;

int widestBubble(int rowWidth)
{
    return static_cast<int>(std::lround(rowWidth * kUserShare));
}

/// From the data's head alone; empty if it is no picture.
QSize imageSize(QByteArray data)
{
    QBuffer buffer(&data);
    return QImageReader(&buffer).size();
}

} // namespace

QueryChatMessageView::QueryChatMessageView(const ChatMessage& message, int width,
                                           std::function<void()> onOpenAttachment,
                                           std::function<void()> onRemoveAttachment, QWidget* parent)
    : QWidget(parent)
    , role_(message.role)
    , width_(width)
{
    setAccessibleName(role_ == ChatMessageRole::User ? QStringLiteral("You") : QStringLiteral("Answer"));
    if (role_ == ChatMessageRole::User) {
        if (message.attachment)
            addThumbnail(message.attachment->imageData, std::move(onOpenAttachment),
                         std::move(onRemoveAttachment));
        if (thumbnail_ != nullptr)
            thumbnail_->setTitle(message.attachment->title);
        bubble_ = new RoundedBackgroundView(kBubbleRadius, QueryPanelTheme::userBubbleBackground(),
                                            QueryPanelTheme::userBubbleBorder(), this);
        text_ = new MessageTextView(QString(), role_, false, bubble_);
    } else {
        text_ = new MessageTextView(QString(), role_, false, this);
        text_->setContainerWidth(width - kAssistantTrailingSpace);
    }
    text_->textView().onHeightChange = [this] {
        layOut();
        if (onHeightChange)
            onHeightChange();
    };
    refresh(message, false);
}

void QueryChatMessageView::addThumbnail(const QByteArray& imageData, std::function<void()> onOpen,
                                        std::function<void()> onRemove)
{
    const QSize size = imageSize(imageData);
    if (size.isEmpty())
        return;
    thumbnail_ = new AttachmentThumbnailButton(imageData, size, std::move(onOpen), std::move(onRemove), this);
    thumbnail_->onUndecodable = [this] {
        thumbnail_->hide();
        thumbnail_->deleteLater();
        thumbnail_ = nullptr;
        layOut();
        if (onHeightChange)
            onHeightChange();
    };
}

bool QueryChatMessageView::isRemovable(const ChatMessage& message)
{
    return message.text.isEmpty() && message.attachment && !message.isStreaming;
}

AutoSizingTextView& QueryChatMessageView::textView() const
{
    return text_->textView();
}

void QueryChatMessageView::refresh(const ChatMessage& message, bool isExtension)
{
    showText(message, isExtension);
    layOut();
}

void QueryChatMessageView::showText(const ChatMessage& message, bool isExtension)
{
    if (role_ == ChatMessageRole::User)
        text_->setContainerWidth(widestBubble(width_) - 2 * kBubbleInsetX);
    text_->setGrowing(message.isStreaming);
    const bool isWaiting = message.text.isEmpty() && message.isStreaming;
    if (isWaiting) {
        text_->setText(role_ == ChatMessageRole::Assistant ? QStringLiteral("Thinking…")
                                                           : QStringLiteral("Transcribing…"),
                       true);
    } else if (isExtension) {
        // The placeholder is no beginning of the answer.
        if (isPlaceholder_)
            text_->setText(QString(), false);
        text_->extendTo(message.text);
    } else {
        text_->setText(message.text, false);
    }
    isPlaceholder_ = isWaiting;
}

void QueryChatMessageView::layOut()
{
    if (role_ == ChatMessageRole::User) {
        layOutUserRow();
    } else {
        fittingHeight_ = text_->fittingHeight();
        text_->setGeometry(0, 0, width_ - kAssistantTrailingSpace, fittingHeight_);
    }
}

void QueryChatMessageView::layOutUserRow()
{
    int y = 0;
    if (thumbnail_) {
        thumbnail_->move(width_ - thumbnail_->width(), 0);
        y += thumbnail_->height();
    }
    const bool hasText = text_->textView().layoutOfText().size() > 0;
    bubble_->setVisible(hasText);
    if (hasText) {
        if (thumbnail_)
            y += kSpacing;
        const int textWidth =
            std::clamp(text_->textView().usedWidth(), 1, widestBubble(width_) - 2 * kBubbleInsetX);
        // Lines that run from right to left stand at the right edge of what they were broken at.
        const StyledTextLayout& layout = text_->textView().layoutOfText();
        if (layout.isLaidOut() && layout.hasRightToLeft())
            text_->setContainerWidth(textWidth);
        const int textHeight = text_->fittingHeight();
        const QSize size(textWidth + 2 * kBubbleInsetX, textHeight + 2 * kBubbleInsetY);
        bubble_->setGeometry(QRect(QPoint(width_ - size.width(), y), size));
        text_->setGeometry(kBubbleInsetX, kBubbleInsetY, textWidth, textHeight);
        y += size.height();
    }
    fittingHeight_ = y;
}

} // namespace velmo
