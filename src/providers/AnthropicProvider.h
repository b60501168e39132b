#pragma once

#include "providers/LLMProvider.h"

namespace velmo {

/// Answers from the Anthropic Messages service.
class AnthropicProvider final : public LLMProvider {
public:
    /// The largest encoded image that the service accepts.
    static constexpr qsizetype kMaxImageBytes = qsizetype(5) * 1024 * 1024;

    AnthropicProvider(QString apiKey, QString model)
        : apiKey_(std::move(apiKey))
        , model_(std::move(model))
    {}

    [[nodiscard]] QString id() const override;
    [[nodiscard]] QString displayName() const override;
    [[nodiscard]] QStringList availableModels() const override;
    [[nodiscard]] AnswerChannel::Reader stream(const QList<LLMMessage>& messages,
                                               const QString& systemPrompt) override;

    /// The request's JSON; encodes the images, so not for the main thread.
    [[nodiscard]] static Result<QByteArray, LLMError>
    buildRequestBody(const QString& model, const QList<LLMMessage>& messages, const QString& systemPrompt);
    /// The text piece in one line of the stream, if any.
    [[nodiscard]] static std::optional<QString> processLine(QByteArrayView line);

private:
    const QString apiKey_;
    const QString model_;
};

} // namespace velmo
