#include "panel/ModelNames.h"

#include <QHash>

namespace velmo {

QString modelDisplayName(const QString& model)
{
    static const QHash<QString, QString> names{
        {QStringLiteral("claude-opus-4-6"), QStringLiteral("Opus 4.6")},
        {QStringLiteral("claude-sonnet-4-6"), QStringLiteral("Sonnet 4.6")},
        {QStringLiteral("claude-haiku-4-5-20251001"), QStringLiteral("Haiku 4.5")},
        {QStringLiteral("gpt-5.4"), QStringLiteral("GPT-5.4")},
        {QStringLiteral("gpt-5.4-mini"), QStringLiteral("GPT-5.4 mini")},
        {QStringLiteral("gpt-5.4-nano"), QStringLiteral("GPT-5.4 nano")},
    };
    return names.value(model, model);
}

QString modelPillTitle(const SettingsManager& settings)
{
    if (!settings.effectiveKey(KeychainAccount::Anthropic) && !settings.effectiveKey(KeychainAccount::OpenAI))
        return QStringLiteral("Configure API keys");
    const bool anthropic = settings.selectedProvider.value() == ProviderID::Anthropic;
    return modelDisplayName(settings.effectiveModel(anthropic ? ProviderID::Anthropic : ProviderID::OpenAI));
}

} // namespace velmo
