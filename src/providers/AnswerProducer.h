#pragma once

#include "core/async/Task.h"
#include "providers/LLMProvider.h"

#include <QJsonObject>
#include <functional>
#include <optional>

namespace velmo {

/// What differs between the vendors, and everything that one answer needs: its producer outlives provider,
/// session and window.
struct AnswerJob {
    QString category; ///< Of its log lines.
    QString apiKey;
    QString model;
    QList<LLMMessage> messages;
    QString systemPrompt;

    /// The request's JSON. On a worker, since pictures are encoded in it.
    std::function<Result<QByteArray, LLMError>(const QList<LLMMessage>&, const QString& systemPrompt)>
        buildBody;
    /// Address and headers.
    std::function<HttpRequest()> buildRequest;
    /// One line of the stream: the text piece in it, if any. On the network thread. See
    /// EventShape::ProcessLine.
    std::function<std::optional<QString>(QByteArrayView line)> processLine;
};

/// Starts the answer and gives its pieces. The work is detached: nothing but the process's end stops it.
[[nodiscard]] AnswerChannel::Reader produceAnswer(AnswerJob job);

/// The JSON object of an event line ("data: {...}"), for processLine; nothing if it holds none.
[[nodiscard]] std::optional<QJsonObject> eventObject(QByteArrayView line);

} // namespace velmo
