#include "providers/AnthropicProvider.h"

#include "core/DebugLog.h"
#include "core/ServiceEndpoint.h"
#include "providers/AnswerProducer.h"
#include "providers/ImagePayload.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace velmo {

namespace {

const QString kCategory = QStringLiteral("Anthropic");
constexpr int kMaxTokens = 1024;

Result<QJsonArray, LLMError> contentBlocks(const LLMMessage& message)
{
    QJsonArray blocks;
    if (message.imageData) {
        const auto image = encodeImageForAnthropic(*message.imageData);
        if (!image)
            return Failure{image.error()};
        DebugLog::log(kCategory, QStringLiteral("Prepared image payload mediaType=") +
                                     image.value().mediaType + QStringLiteral(" bytes=") +
                                     QString::number(image.value().byteCount));
        blocks.append(QJsonObject{
            {QStringLiteral("type"), QStringLiteral("image")},
            {QStringLiteral("source"),
             QJsonObject{{QStringLiteral("type"), QStringLiteral("base64")},
                         {QStringLiteral("media_type"), image.value().mediaType},
                         {QStringLiteral("data"), QString::fromLatin1(image.value().base64Data)}}}});
    }
    blocks.append(QJsonObject{{QStringLiteral("type"), QStringLiteral("text")},
                              {QStringLiteral("text"), message.text}});
    return blocks;
}

} // namespace

QString AnthropicProvider::id() const
{
    return QStringLiteral("anthropic");
}

QString AnthropicProvider::displayName() const
{
    return QStringLiteral("Anthropic (Claude)");
}

QStringList AnthropicProvider::availableModels() const
{
    return {QStringLiteral("claude-sonnet-4-6"), QStringLiteral("claude-opus-4-6"),
            QStringLiteral("claude-haiku-4-5-20251001")};
}

Result<QByteArray, LLMError> AnthropicProvider::buildRequestBody(const QString& model,
                                                                 const QList<LLMMessage>& messages,
                                                                 const QString& systemPrompt)
{
    QJsonArray entries;
    for (const LLMMessage& message : messages) {
        const auto content = contentBlocks(message);
        if (!content)
            return Failure{content.error()};
        const bool user = message.role == LLMMessage::Role::User;
        entries.append(
            QJsonObject{{QStringLiteral("role"), user ? QStringLiteral("user") : QStringLiteral("assistant")},
                        {QStringLiteral("content"), content.value()}});
    }
    QJsonObject body{{QStringLiteral("model"), model},
                     {QStringLiteral("max_tokens"), kMaxTokens},
                     {QStringLiteral("stream"), true},
                     {QStringLiteral("messages"), entries}};
    if (!systemPrompt.trimmed().isEmpty())
        body.insert(QStringLiteral("system"), systemPrompt);
    return QJsonDocument(body).toJson(QJsonDocument::Compact);
}

std::optional<QString> AnthropicProvider::processLine(QByteArrayView line)
{
    const auto event = eventObject(line);
    if (!event || event->value(QStringLiteral("type")) != QStringLiteral("content_block_delta"))
        return std::nullopt;
    const QJsonValue text = event->value(QStringLiteral("delta")).toObject().value(QStringLiteral("text"));
    return text.isString() ? std::optional(text.toString()) : std::nullopt;
}

AnswerChannel::Reader AnthropicProvider::stream(const QList<LLMMessage>& messages,
                                                const QString& systemPrompt)
{
    return produceAnswer({
        .category = kCategory,
        .apiKey = apiKey_,
        .model = model_,
        .messages = messages,
        .systemPrompt = systemPrompt,
        .buildBody =
            [model = model_](const QList<LLMMessage>& conversation, const QString& prompt) {
                return buildRequestBody(model, conversation, prompt);
            },
        .buildRequest =
            [apiKey = apiKey_] {
                HttpRequest request;
                request.method = "POST";
                request.url = serviceEndpoint(kAnthropicBase, QStringLiteral("messages"));
                request.headers = {{"x-api-key", apiKey.toUtf8()},
                                   {"anthropic-version", "2023-06-01"},
                                   {"Content-Type", "application/json"}};
                return request;
            },
        .processLine = &AnthropicProvider::processLine,
    });
}

} // namespace velmo
