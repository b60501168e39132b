#pragma once

#include "core/Published.h"
#include "core/SessionTypes.h"

#include <QHash>
#include <QList>

namespace velmo {

/// What is about to change in a transcript. Each mutation is told, also one that changes nothing visible.
struct TranscriptChange {
    enum class Kind {
        Appended, ///< message comes at the end.
        Removed,  ///< The message with this id goes.
        Extended, ///< text is added to the message's text.
        Replaced, ///< text and isStreaming replace the message's.
        Cleared,
    };
    Kind kind;
    QUuid id;
    QString text;
    bool isStreaming = false;
    const ChatMessage* message = nullptr; ///< For Appended; valid during the notification.
};

/// The chat, oldest message first. Observers hear of a change before it happens. The cost of a change does
/// not depend on the number of messages, removal excepted. Main thread.
class Transcript {
public:
    [[nodiscard]] const QList<ChatMessage>& messages() const { return messages_; }
    [[nodiscard]] const ChatMessage* find(const QUuid& id) const;
    Subscription subscribe(std::function<void(const TranscriptChange&)> handler) const
    {
        return observers_.add(std::move(handler));
    }

    /// Gives back the message's id.
    QUuid append(ChatMessage message);
    /// These do nothing for a message that is not there (any more).
    bool remove(const QUuid& id);
    void extend(const QUuid& id, const QString& piece);
    void replace(const QUuid& id, const QString& text, bool isStreaming);
    void clear();

private:
    QList<ChatMessage> messages_;
    QHash<QUuid, qsizetype> positions_;
    Observers<TranscriptChange> observers_;
};

/// What is about to change in a growing text: it is replaced by text, or text is added to it.
struct TextChange {
    enum class Kind { Replaced, Extended };
    Kind kind;
    QString text;
};

/// A text that mostly grows at its end, told like a Transcript, so that a piece costs what the piece is long.
class PublishedText {
public:
    [[nodiscard]] const QString& value() const { return value_; }
    Subscription subscribe(std::function<void(const TextChange&)> handler) const
    {
        return observers_.add(std::move(handler));
    }
    void set(const QString& text);
    void extend(const QString& piece);

private:
    QString value_;
    Observers<TextChange> observers_;
};

} // namespace velmo
