#include "providers/OpenAIProvider.h"

#include "core/ServiceEndpoint.h"
#include "providers/AnswerProducer.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <algorithm>

namespace velmo {

namespace {

constexpr int kMaxTokens = 1024;

QJsonValue content(const LLMMessage& message)
{
    if (!message.imageData)
        return message.text;
    const QString url =
        QStringLiteral("data:image/png;base64,") + QString::fromLatin1(message.imageData->toBase64());
    return QJsonArray{QJsonObject{{QStringLiteral("type"), QStringLiteral("image_url")},
                                  {QStringLiteral("image_url"), QJsonObject{{QStringLiteral("url"), url}}}},
                      QJsonObject{{QStringLiteral("type"), QStringLiteral("text")},
                                  {QStringLiteral("text"), message.text}}};
}

QJsonObject entry(const QString& role, const QJsonValue& content)
{
    return {{QStringLiteral("role"), role}, {QStringLiteral("content"), content}};
}

} // namespace

QString OpenAIProvider::id() const
{
    return QStringLiteral("openai");
}

QString OpenAIProvider::displayName() const
{
    return QStringLiteral("OpenAI");
}

QStringList OpenAIProvider::availableModels() const
{
    return {QStringLiteral("gpt-5.4"), QStringLiteral("gpt-5.4-mini"), QStringLiteral("gpt-5.4-nano")};
}

QByteArray OpenAIProvider::buildRequestBody(const QString& model, const QList<LLMMessage>& messages,
                                            const QString& systemPrompt)
{
    QJsonArray entries;
    if (!systemPrompt.trimmed().isEmpty())
        entries.append(entry(QStringLiteral("system"), systemPrompt));
    for (const LLMMessage& message : messages) {
        const bool user = message.role == LLMMessage::Role::User;
        entries.append(entry(user ? QStringLiteral("user") : QStringLiteral("assistant"), content(message)));
    }
    const QJsonObject body{{QStringLiteral("model"), model},
                           {QStringLiteral("max_completion_tokens"), kMaxTokens},
                           {QStringLiteral("stream"), true},
                           {QStringLiteral("messages"), entries}};
    return QJsonDocument(body).toJson(QJsonDocument::Compact);
}

std::optional<QString> OpenAIProvider::processLine(QByteArrayView line)
{
    const auto event = eventObject(line);
    if (!event)
        return std::nullopt;
    const QJsonArray choices = event->value(QStringLiteral("choices")).toArray();
    const bool allObjects =
        std::all_of(choices.begin(), choices.end(), [](const auto& choice) { return choice.isObject(); });
    if (choices.isEmpty() || !allObjects)
        return std::nullopt;
    const QJsonValue delta = choices.first().toObject().value(QStringLiteral("delta"));
    const QJsonValue text = delta.toObject().value(QStringLiteral("content"));
    return text.isString() ? std::optional(text.toString()) : std::nullopt;
}

AnswerChannel::Reader OpenAIProvider::stream(const QList<LLMMessage>& messages, const QString& systemPrompt)
{
    return produceAnswer({
        .category = QStringLiteral("OpenAI"),
        .apiKey = apiKey_,
        .model = model_,
        .messages = messages,
        .systemPrompt = systemPrompt,
        .buildBody = [model = model_](const QList<LLMMessage>& conversation, const QString& prompt)
            -> Result<QByteArray, LLMError> { return buildRequestBody(model, conversation, prompt); },
        .buildRequest =
            [apiKey = apiKey_] {
                HttpRequest request;
                request.method = "POST";
                request.url = serviceEndpoint(kOpenAIBase, QStringLiteral("chat/completions"));
                request.headers = {{"Authorization", "Bearer " + apiKey.toUtf8()},
                                   {"Content-Type", "application/json"}};
                return request;
            },
        .processLine = &OpenAIProvider::processLine,
    });
}

} // namespace velmo
