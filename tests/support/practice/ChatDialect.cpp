#include "support/practice/Dialect.h"

#include <QJsonArray>
#include <QStringList>

namespace velmo::practice {

namespace {

QByteArray event(const QJsonObject& data)
{
    return "data: " + compactJson(data) + "\n\n";
}

QByteArray chunk(const QString& model, const QJsonObject& delta,
                 const QJsonValue& finishReason = QJsonValue::Null)
{
    const QJsonObject choice{{QStringLiteral("index"), 0},
                             {QStringLiteral("delta"), delta},
                             {QStringLiteral("finish_reason"), finishReason}};
    return event({{QStringLiteral("id"), QStringLiteral("chatcmpl-practice")},
                  {QStringLiteral("object"), QStringLiteral("chat.completion.chunk")},
                  {QStringLiteral("created"), 1700000000},
                  {QStringLiteral("model"), model},
                  {QStringLiteral("choices"), QJsonArray{choice}}});
}

QJsonObject errorObject(int status, const QString& message)
{
    QString type = QStringLiteral("invalid_request_error");
    QJsonValue code = QJsonValue::Null;
    if (status == 401) {
        code = QStringLiteral("invalid_api_key");
    } else if (status == 429) {
        type = QStringLiteral("requests");
        code = QStringLiteral("rate_limit_exceeded");
    } else if (status >= 500) {
        type = QStringLiteral("server_error");
    }
    return {{QStringLiteral("error"), QJsonObject{{QStringLiteral("message"), message},
                                                  {QStringLiteral("type"), type},
                                                  {QStringLiteral("param"), QJsonValue::Null},
                                                  {QStringLiteral("code"), code}}}};
}

/// The image behind a data URL; no bytes when it is not a valid one.
ReceivedImage imageOfDataUrl(const QString& url)
{
    const qsizetype comma = url.indexOf(QLatin1Char(','));
    const QString head = url.left(comma);
    if (!head.startsWith(QLatin1String("data:image/")) || !head.endsWith(QLatin1String(";base64"))) {
        return {};
    }
    const auto decoded = QByteArray::fromBase64Encoding(url.mid(comma + 1).toLatin1(),
                                                        QByteArray::AbortOnBase64DecodingErrors);
    return {decoded ? decoded.decoded : QByteArray(), head.mid(5).chopped(7).toLatin1()};
}

QString urlOfPart(const QJsonValue& part)
{
    return part[QStringLiteral("image_url")][QStringLiteral("url")].toString();
}

QString joinedText(const QJsonValue& content)
{
    if (content.isString()) {
        return content.toString();
    }
    QStringList texts;
    for (const QJsonValue part : content.toArray()) {
        if (part[QStringLiteral("type")].toString() == QLatin1String("text")) {
            texts.append(part[QStringLiteral("text")].toString());
        }
    }
    return texts.join(QLatin1Char('\n'));
}

bool isSystemRole(const QString& role)
{
    return role == QLatin1String("system") || role == QLatin1String("developer");
}

QString messageFault(const QJsonObject& message)
{
    const QString role = message.value(QStringLiteral("role")).toString();
    if (!isSystemRole(role) && role != QLatin1String("user") && role != QLatin1String("assistant")) {
        return QStringLiteral("unknown role '%1'").arg(role);
    }
    const QJsonValue content = message.value(QStringLiteral("content"));
    if (content.isString()) {
        return {};
    }
    const QJsonArray parts = content.toArray();
    if (parts.isEmpty()) {
        return QStringLiteral("content must be a string or a list of parts");
    }
    for (const QJsonValue part : parts) {
        const QString type = part[QStringLiteral("type")].toString();
        if (type == QLatin1String("image_url")) {
            if (imageOfDataUrl(urlOfPart(part)).bytes.isEmpty()) {
                return QStringLiteral("image_url is not a valid data URL of an image");
            }
        } else if (type != QLatin1String("text") || !part[QStringLiteral("text")].isString()) {
            return QStringLiteral("a part must be text or image_url");
        }
    }
    return {};
}

class ChatDialect final : public Dialect {
public:
    QByteArray receivedKey(const RecordedRequest& request) const override { return bearerKey(request); }

    std::optional<Rejection> checkFormat(const RecordedRequest& /*request*/,
                                         const QJsonObject& body) const override
    {
        int index = 0;
        for (const QJsonValue message : body.value(QStringLiteral("messages")).toArray()) {
            const QString fault = messageFault(message.toObject());
            if (!fault.isEmpty()) {
                return Rejection{400, QStringLiteral("messages[%1]: %2").arg(index).arg(fault)};
            }
            ++index;
        }
        return std::nullopt;
    }

    Conversation read(const QJsonObject& body) const override
    {
        Conversation conversation;
        conversation.model = body.value(QStringLiteral("model")).toString();
        for (const QJsonValue message : body.value(QStringLiteral("messages")).toArray()) {
            const QJsonValue content = message[QStringLiteral("content")];
            const QString role = message[QStringLiteral("role")].toString();
            for (const QJsonValue part : content.toArray()) {
                if (part[QStringLiteral("type")].toString() == QLatin1String("image_url")) {
                    conversation.images.append(imageOfDataUrl(urlOfPart(part)));
                }
            }
            if (isSystemRole(role)) {
                conversation.systemCharacters += codePoints(joinedText(content));
            } else if (role == QLatin1String("user")) {
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
        return {chunk(model, {{QStringLiteral("role"), QStringLiteral("assistant")}})};
    }

    QByteArray piece(const QString& model, const QString& text) const override
    {
        return chunk(model, {{QStringLiteral("content"), text}});
    }

    QByteArrayList textlessDeltas(const QString& model) const override
    {
        return {chunk(model, {{QStringLiteral("role"), QStringLiteral("assistant")},
                              {QStringLiteral("content"), QJsonValue::Null},
                              {QStringLiteral("refusal"), QJsonValue::Null}}),
                chunk(model, {}), piece(model, QString())};
    }

    QByteArrayList closing(const QString& model) const override
    {
        return {chunk(model, {}, QStringLiteral("stop")), endMarker()};
    }

    QByteArray endMarker() const override { return "data: [DONE]\n\n"; }

    QByteArray errorEvent(const QString& message) const override { return event(errorObject(500, message)); }
};

} // namespace

std::unique_ptr<Dialect> makeChatDialect()
{
    return std::make_unique<ChatDialect>();
}

} // namespace velmo::practice
