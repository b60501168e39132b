#pragma once

#include <QByteArray>
#include <QString>
#include <QUuid>
#include <optional>

namespace velmo {

/// The phase of the one interaction that runs at a time.
enum class SessionState {
    Idle,      ///< No overlay and no panel.
    Drawing,   ///< The overlay is up and accepts strokes, for the first or an additional capture.
    Querying,  ///< The panel waits for a question, also between answers.
    Streaming, ///< A question was sent and the answer is arriving.
};

/// The word for a state in the log.
[[nodiscard]] QString describe(SessionState state);

enum class ChatMessageRole { User, Assistant };

/// A captured, annotated picture in the transcript.
struct ChatAttachment {
    QUuid id;
    QByteArray imageData; ///< As encoded by the capture service (PNG).
    QString title;
};

/// One entry of the transcript. Messages are told apart by id alone; there is no comparison of fields.
struct ChatMessage {
    QUuid id;
    ChatMessageRole role = ChatMessageRole::User;
    QString text; ///< Empty for a message that only carries a capture.
    std::optional<ChatAttachment> attachment;
    bool isStreaming = false; ///< The text is still being produced.

    [[nodiscard]] static ChatMessage capture(const QByteArray& imageData);
    [[nodiscard]] static ChatMessage pendingUser(const QString& placeholder);
    [[nodiscard]] static ChatMessage user(const QString& question);
    [[nodiscard]] static ChatMessage streamingAssistant();
    [[nodiscard]] static ChatMessage assistant(const QString& text);
};

} // namespace velmo
