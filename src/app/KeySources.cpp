#include "app/KeySources.h"

namespace velmo {

namespace {

/// What is in the keyring in place of a key; empty if nobody can tell.
QString absence(Keychain& keychain, const SettingsManager& settings, const QString& account)
{
    const auto result = keychain.read(settings.keychainService, account);
    if (result.status == Keychain::Status::ItemNotFound)
        return QStringLiteral("not in the keyring, and ");
    if (result.status != Keychain::Status::Success)
        return {};
    return result.data.trimmed().isEmpty() ? QStringLiteral("empty in the keyring, and ")
                                           : QStringLiteral("not text in the keyring, and ");
}

} // namespace

const std::array<KeyService, 3>& keyServices()
{
    static const std::array<KeyService, 3> all{
        KeyService{QStringLiteral("anthropic"), QStringLiteral("Anthropic"), KeychainAccount::Anthropic},
        KeyService{QStringLiteral("openai"), QStringLiteral("OpenAI"), KeychainAccount::OpenAI},
        KeyService{QStringLiteral("replicate"), QStringLiteral("Replicate"), KeychainAccount::Replicate}};
    return all;
}

QString keySourceSentence(const SettingsManager& settings, Keychain& keychain, const KeyService& service)
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
    const bool isBlank = qEnvironmentVariableIsSet(variable.toLatin1().constData());
    return QStringLiteral("none (") + absence(keychain, settings, service.account) + variable +
           (isBlank ? QStringLiteral(" is blank)") : QStringLiteral(" is not set)"));
}

} // namespace velmo
