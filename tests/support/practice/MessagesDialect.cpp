#include "support/practice/Dialect.h"

#include <QJsonArray>
#include <QStringList>

#include <array>

namespace velmo::practice {

namespace {

QByteArray event(const char* name, const QJsonObject& data)
{
    return QByteArray("event: ") + name + "\ndata: " + compactJson(data) + "\n\n";
}

QString errorType(int status)
{
    switch (status) {
    case 400:
    case 405:
        return QStringLiteral("invalid_request_error");
    case 401:
        return QStringLiteral("authentication_error");
    case 403:
        return QStringLiteral("permission_error");
    case 404:
        return QStringLiteral("not_found_error");
    case 413:
        return QStringLiteral("request_too_large");
    case 429:
        return QStringLiteral("rate_limit_error");
    case 529:
        return QStringLiteral("overloaded_error");
    default:
        return QStringLiteral("api_error");
    }
}

QJsonObject errorObject(int status, const QString& message)
{
    return {{QStringLiteral("type"), QStringLiteral("error")},
            {QStringLiteral("error"),
             QJsonObject{{QStringLiteral("type"), errorType(status)}, {QStringLiteral("message"), message}}}};
}

/// What is wrong with a content block, or an empty string.
QString blockFault(const QJsonObject& block)
{
    const QString type = block.value(QStringLiteral("type")).toString();
    if (type == QLatin1String("text")) {
        return block.value(QStringLiteral("text")).toString().isEmpty()
                   ? QStringLiteral("text content blocks must be non-empty")
                   : QString();
    }
    if (type != QLatin1String("image")) {
        return QStringLiteral("unknown content block type '%1'").arg(type);
    }
    const QJsonObject source = block.value(QStringLiteral("source")).toObject();
    if (source.value(QStringLiteral("type")).toString() != QLatin1String("base64")) {
        return QStringLiteral("image.source.type: must be base64");
    }
    static const std::array<QLatin1String, 4> types{QLatin1String("image/jpeg"), QLatin1String("image/png"),
                                                    QLatin1String("image/gif"), QLatin1String("image/webp")};
    const QString mediaType = source.value(QStringLiteral("media_type")).toString();
    bool known = false;
    for (const QLatin1String candidate : types) {
        known = known || mediaType == candidate;
    }
    if (!known) {
        return QStringLiteral("image.source.media_type: not an image type that is accepted");
    }
    const auto decoded = QByteArray::fromBase64Encoding(
        source.value(QStringLiteral("data")).toString().toLatin1(), QByteArray::AbortOnBase64DecodingErrors);
    return !decoded || decoded.decoded.isEmpty() ? QStringLiteral("image.source.data: invalid base64")
                                                 : QString();
}

QString joinedText(const QJsonValue& content)
{
    if (content.isString()) {
        return content.toString();
    }
    QStringList texts;
    for (const QJsonValue block : content.toArray()) {
        if (block[QStringLiteral("type")].toString() == QLatin1String("text")) {
            texts.append(block[QStringLiteral("text")].toString());
        }
    }
    return texts.join(QLatin1Char('\n'));
}

class MessagesDialect final : public Dialect {
public:
    QByteArray receivedKey(const RecordedRequest& request) const override
    {
        return request.header("x-api-key");
    }

    std::optional<Rejection> checkFormat(const RecordedRequest& request,
                                         const QJsonObject& body) const override
    {
        if (request.header("anthropic-version") != "2023-06-01") {
            return Rejection{400, QStringLiteral("anthropic-version: header is required, as 2023-06-01")};
        }
        if (body.value(QStringLiteral("max_tokens")).toInt() <= 0) {
            return Rejection{400, QStringLiteral("max_tokens: a positive number is required")};
        }
        int index = 0;
        for (const QJsonValue message : body.value(QStringLiteral("messages")).toArray()) {
            const QString fault = messageFault(message.toObject(), index == 0);
            if (!fault.isEmpty()) {
                return Rejection{400, QStringLiteral("messages.%1: %2").arg(index).arg(fault)};
            }
            ++index;
        }
        return std::nullopt;
    }

    Conversation read(const QJsonObject& body) const override
    {
        Conversation conversation;
        conversation.model = body.value(QStringLiteral("model")).toString();
        conversation.systemCharacters = codePoints(joinedText(body.value(QStringLiteral("system"))));
        for (const QJsonValue message : body.value(QStringLiteral("messages")).toArray()) {
            const QJsonValue content = message[QStringLiteral("content")];
            for (const QJsonValue block : content.toArray()) {
                if (block[QStringLiteral("type")].toString() == QLatin1String("image")) {
                    const QJsonValue source = block[QStringLiteral("source")];
                    conversation.images.append(
                        {QByteArray::fromBase64(source[QStringLiteral("data")].toString().toLatin1()),
                         source[QStringLiteral("media_type")].toString().toLatin1()});
                }
            }
            if (message[QStringLiteral("role")].toString() == QLatin1String("user")) {
                ++conversation.userTurns;
                conversation.lastQuestion = joinedText(content).simplified();
            }
        }
        return conversation;
    }

    QByteArray errorBody(int status, const QString& message) const override
    {
        return compactJson(errorObject(status, message));
    }

    QByteArrayList opening(const QString& model) const override
    {
        const QJsonObject usage{{QStringLiteral("input_tokens"), 25}, {QStringLiteral("output_tokens"), 1}};
        const QJsonObject message{{QStringLiteral("id"), QStringLiteral("msg_practice")},
                                  {QStringLiteral("type"), QStringLiteral("message")},
                                  {QStringLiteral("role"), QStringLiteral("assistant")},
                                  {QStringLiteral("model"), model},
                                  {QStringLiteral("content"), QJsonArray()},
                                  {QStringLiteral("stop_reason"), QJsonValue::Null},
                                  {QStringLiteral("stop_sequence"), QJsonValue::Null},
                                  {QStringLiteral("usage"), usage}};
        const QJsonObject block{{QStringLiteral("type"), QStringLiteral("text")},
                                {QStringLiteral("text"), QString()}};
        return {event("message_start", {{QStringLiteral("type"), QStringLiteral("message_start")},
                                        {QStringLiteral("message"), message}}),
                event("content_block_start", {{QStringLiteral("type"), QStringLiteral("content_block_start")},
                                              {QStringLiteral("index"), 0},
                                              {QStringLiteral("content_block"), block}}),
                event("ping", {{QStringLiteral("type"), QStringLiteral("ping")}})};
    }

    QByteArray piece(const QString& /*model*/, const QString& text) const override
    {
        return event(
            "content_block_delta",
            {{QStringLiteral("type"), QStringLiteral("content_block_delta")},
             {QStringLiteral("index"), 0},
             {QStringLiteral("delta"), QJsonObject{{QStringLiteral("type"), QStringLiteral("text_delta")},
                                                   {QStringLiteral("text"), text}}}});
    }

    QByteArrayList textlessDeltas(const QString& model) const override
    {
        const QJsonObject other{{QStringLiteral("type"), QStringLiteral("input_json_delta")},
                                {QStringLiteral("partial_json"), QStringLiteral("{}")}};
        return {event("content_block_delta", {{QStringLiteral("type"), QStringLiteral("content_block_delta")},
                                              {QStringLiteral("index"), 0},
                                              {QStringLiteral("delta"), other}}),
                piece(model, QString())};
    }

    QByteArrayList closing(const QString& /*model*/) const override
    {
        return {event("content_block_stop", {{QStringLiteral("type"), QStringLiteral("content_block_stop")},
                                             {QStringLiteral("index"), 0}}),
                event("message_delta",
                      {{QStringLiteral("type"), QStringLiteral("message_delta")},
                       {QStringLiteral("delta"),
                        QJsonObject{{QStringLiteral("stop_reason"), QStringLiteral("end_turn")},
                                    {QStringLiteral("stop_sequence"), QJsonValue::Null}}},
                       {QStringLiteral("usage"), QJsonObject{{QStringLiteral("output_tokens"), 15}}}}),
                endMarker()};
    }

    QByteArray endMarker() const override
    {
        return event("message_stop", {{QStringLiteral("type"), QStringLiteral("message_stop")}});
    }

    QByteArray errorEvent(const QString& message) const override
    {
        return event("error", errorObject(529, message));
    }

private:
    static QString messageFault(const QJsonObject& message, bool isFirst)
    {
        const QString role = message.value(QStringLiteral("role")).toString();
        if (role != QLatin1String("user") && (isFirst || role != QLatin1String("assistant"))) {
            return QStringLiteral("role: must be user or assistant, and user first");
        }
        const QJsonValue content = message.value(QStringLiteral("content"));
        if (content.isString()) {
            return content.toString().isEmpty() ? QStringLiteral("content: must be non-empty") : QString();
        }
        const QJsonArray blocks = content.toArray();
        if (blocks.isEmpty()) {
            return QStringLiteral("content: must be non-empty");
        }
        for (const QJsonValue block : blocks) {
            QString fault = blockFault(block.toObject());
            if (!fault.isEmpty()) {
                return fault;
            }
        }
        return {};
    }
};

} // namespace

std::unique_ptr<Dialect> makeMessagesDialect()
{
    return std::make_unique<MessagesDialect>();
}

} // namespace velmo::practice
