#pragma once

#include "core/SessionTypes.h"

#include <QWidget>
#include <functional>

class QLabel;

namespace velmo {

/// One row of the transcript. It keeps its widgets and is updated as its message changes. Main thread.
class QueryChatMessageView final : public QWidget {
public:
    /// onRemove is called for a message that only carries an attachment.
    QueryChatMessageView(const ChatMessage& message, std::function<void(const QUuid&)> onRemove,
                         QWidget* parent = nullptr);

    /// Shows the message as it is now.
    void update(const ChatMessage& message);

private:
    void buildUserRow(const ChatMessage& message, std::function<void(const QUuid&)> onRemove);
    void buildAssistantRow();
    void showText(const QString& text, bool dimmed);

    QLabel* textLabel_ = nullptr;
    QWidget* bubble_ = nullptr; ///< Only for users' messages.
};

} // namespace velmo
