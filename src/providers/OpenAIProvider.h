#pragma once

#include "providers/LLMProvider.h"

namespace velmo {

/// Answers from the OpenAI chat completions service, or a server that speaks like it.
class OpenAIProvider final : public LLMProvider {
public:
    OpenAIProvider(QString apiKey, QString model)
        : apiKey_(std::move(apiKey))
        , model_(std::move(model))
    {}

    [[nodiscard]] QString id() const override;
    [[nodiscard]] QString displayName() const override;
    [[nodiscard]] QStringList availableModels() const override;
    [[nodiscard]] AnswerChannel::Reader stream(const QList<LLMMessage>& messages,
                                               const QString& systemPrompt) override;

    /// The request's JSON; encodes image bytes as text, so not for the main thread.
    [[nodiscard]] static QByteArray buildRequestBody(const QString& model, const QList<LLMMessage>& messages,
                                                     const QString& systemPrompt);
    /// The text piece in one line of the stream, if any.
    [[nodiscard]] static std::optional<QString> processLine(QByteArrayView line);

private:
    const QString apiKey_;
    const QString model_;
};

} // namespace velmo
