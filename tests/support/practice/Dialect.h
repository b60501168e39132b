#pragma once

#include "support/practice/HttpTypes.h"

#include <QByteArray>
#include <QByteArrayList>
#include <QJsonObject>
#include <QList>
#include <QString>

#include <memory>
#include <optional>

namespace velmo::practice {

/// An image as it was received: the original bytes, and the media type that the client declared.
struct ReceivedImage {
    QByteArray bytes;
    QByteArray declaredType;
};

/// What a request says, whatever its format.
struct Conversation {
    QString model;
    int userTurns = 0;
    qsizetype systemCharacters = 0; ///< Code points of the system prompt.
    QString lastQuestion;           ///< The text of the last user message, white space simplified.
    QList<ReceivedImage> images;    ///< In the order of the conversation.
};

/// Why a request is not accepted.
struct Rejection {
    int status = 400;
    QString message;
};

/// The wire format of one kind of language model service. Stateless; any thread.
///
/// Every event is returned complete, with the blank line that ends it.
class Dialect {
public:
    Dialect() = default;
    Dialect(const Dialect&) = delete;
    Dialect& operator=(const Dialect&) = delete;
    virtual ~Dialect() = default;

    /// The API key of a request, empty when there is none.
    [[nodiscard]] virtual QByteArray receivedKey(const RecordedRequest& request) const = 0;

    /// Checks everything but the key and the parts common to all formats.
    [[nodiscard]] virtual std::optional<Rejection> checkFormat(const RecordedRequest& request,
                                                               const QJsonObject& body) const = 0;

    /// Only for a body that was accepted.
    [[nodiscard]] virtual Conversation read(const QJsonObject& body) const = 0;

    [[nodiscard]] virtual QByteArray errorBody(int status, const QString& message) const = 0;

    /// The events before the first text.
    [[nodiscard]] virtual QByteArrayList opening(const QString& model) const = 0;
    /// One event that carries text.
    [[nodiscard]] virtual QByteArray piece(const QString& model, const QString& text) const = 0;
    /// Deltas that carry no text.
    [[nodiscard]] virtual QByteArrayList textlessDeltas(const QString& model) const = 0;
    /// The events after the last text, the last of which is endMarker().
    [[nodiscard]] virtual QByteArrayList closing(const QString& model) const = 0;
    [[nodiscard]] virtual QByteArray endMarker() const = 0;
    [[nodiscard]] virtual QByteArray errorEvent(const QString& message) const = 0;
};

/// POST .../v1/messages
[[nodiscard]] std::unique_ptr<Dialect> makeMessagesDialect();
/// POST .../v1/chat/completions
[[nodiscard]] std::unique_ptr<Dialect> makeChatDialect();

/// The checks that all formats share: content type, key, JSON object, model, stream, messages.
[[nodiscard]] std::optional<Rejection> checkRequest(const Dialect& dialect, const RecordedRequest& request,
                                                    const QJsonObject& body);

/// One line JSON.
[[nodiscard]] QByteArray compactJson(const QJsonObject& object);
[[nodiscard]] qsizetype codePoints(const QString& text);

} // namespace velmo::practice
