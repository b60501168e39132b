#pragma once

#include "core/SessionTypes.h"

#include <QWidget>
#include <functional>

namespace velmo {

class AttachmentThumbnailButton;
class AutoSizingTextView;
class MessageTextView;
class RoundedBackgroundView;

/// One row of the transcript. It is kept, and follows its message as that changes. Main thread.
class QueryChatMessageView final : public QWidget {
public:
    /// An empty onRemoveAttachment means that the attachment cannot be removed.
    QueryChatMessageView(const ChatMessage& message, int width, std::function<void()> onOpenAttachment,
                         std::function<void()> onRemoveAttachment, QWidget* parent = nullptr);

    /// Shows the message as it is now; isExtension, if its text only goes on from the one shown.
    void refresh(const ChatMessage& message, bool isExtension);

    /// Whether the user may take it back: it only carries an attachment.
    [[nodiscard]] static bool isRemovable(const ChatMessage& message);

    std::function<void()> onHeightChange; ///< On a later turn than the call that caused it.
    [[nodiscard]] int fittingHeight() const { return fittingHeight_; }
    [[nodiscard]] AutoSizingTextView& textView() const;

private:
    void addThumbnail(const QByteArray& imageData, std::function<void()> onOpen,
                      std::function<void()> onRemove);
    void showText(const ChatMessage& message, bool isExtension);
    void layOut();
    void layOutUserRow();

    ChatMessageRole role_;
    int width_;
    int fittingHeight_ = 0;
    bool isPlaceholder_ = false;
    AttachmentThumbnailButton* thumbnail_ = nullptr;
    RoundedBackgroundView* bubble_ = nullptr; ///< Of a question.
    MessageTextView* text_ = nullptr;
};

} // namespace velmo
