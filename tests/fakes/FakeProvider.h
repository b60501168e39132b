#pragma once

#include "core/SessionCollaborators.h"

#include <vector>

namespace velmo {

/// One question as a provider got it, and the hand that feeds its answer.
struct FakeProviderRequest {
    QString apiKey;
    QString model;
    QList<LLMMessage> messages;
    QString systemPrompt;
    AnswerChannel::Writer answer;
};

/// A vendor's service: everything that the providers built for it were asked.
struct FakeProviderService {
    std::vector<FakeProviderRequest> requests;

    /// The service outlives what the factory makes.
    [[nodiscard]] ProviderFactory factory();
};

/// A provider whose answers the test writes piece by piece. Like a real one its stream goes on without it.
class FakeProvider final : public LLMProvider {
public:
    FakeProvider(FakeProviderService& service, QString apiKey, QString model)
        : service_(service)
        , apiKey_(std::move(apiKey))
        , model_(std::move(model))
    {}
    [[nodiscard]] QString id() const override { return QStringLiteral("fake"); }
    [[nodiscard]] QString displayName() const override { return QStringLiteral("Fake"); }
    [[nodiscard]] QStringList availableModels() const override { return {model_}; }
    [[nodiscard]] AnswerChannel::Reader stream(const QList<LLMMessage>& messages,
                                               const QString& systemPrompt) override
    {
        auto [writer, reader] = AnswerChannel::open();
        service_.requests.push_back({apiKey_, model_, messages, systemPrompt, writer});
        return std::move(reader);
    }

private:
    FakeProviderService& service_;
    QString apiKey_;
    QString model_;
};

inline ProviderFactory FakeProviderService::factory()
{
    return [this](const QString& apiKey, const QString& model) {
        return std::make_unique<FakeProvider>(*this, apiKey, model);
    };
}

} // namespace velmo
