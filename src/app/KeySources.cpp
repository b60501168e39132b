#include "app/KeySources.h"

namespace velmo {

const std::array<KeyService, 3>& keyServices()
{
    static const std::array<KeyService, 3> all{
        KeyService{QStringLiteral("anthropic"), QStringLiteral("Anthropic"), KeychainAccount::Anthropic},
        KeyService{QStringLiteral("openai"), QStringLiteral("OpenAI"), KeychainAccount::OpenAI},
        KeyService{QStringLiteral("replicate"), QStringLiteral("Replicate"), KeychainAccount::Replicate}};
    return all;
}

QString keySourceSentence(const SettingsManager& settings, const KeyService& service,
                          Keychain::Availability availability)
{
    const QString variable = SettingsManager::environmentKeyName(service.account);
    switch (settings.keySource(service.account)) {
    case KeySource::Keychain:
        return QStringLiteral("from the keyring");
    case KeySource::Environment:
        return QStringLiteral("from the environment (") + variable + u')';
    case KeySource::None:
        break;
    }
    const QString noneKept = availability == Keychain::Availability::Available
                                 ? QStringLiteral("not in the keyring, and ")
                                 : QString();
    return QStringLiteral("none (") + noneKept + variable + QStringLiteral(" is not set)");
}

} // namespace velmo
