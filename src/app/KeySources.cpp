#include "app/KeySources.h"

namespace velmo {

namespace {

/// What is in the keyring in place of a key; empty if nobody can tell.
QString absence(const Keychain::ReadResult& stored)
{
    if (stored.status == Keychain::Status::ItemNotFound)
        return QStringLiteral("not in the keyring, and ");
    if (stored.status != Keychain::Status::Success)
        return {};
    return stored.data.trimmed().isEmpty() ? QStringLiteral("empty in the keyring, and ")
                                           : QStringLiteral("not text in the keyring, and ");
}

} // namespace

const std::array<KeyService, 3>& keyServices()
{
    static const std::array<KeyService, 3> all{
        KeyService{QStringLiteral("anthropic"), QStringLiteral("Anthropic"), KeychainAccount::Anthropic,
                   kAnthropicBase},
        KeyService{QStringLiteral("openai"), QStringLiteral("OpenAI"), KeychainAccount::OpenAI, kOpenAIBase},
        KeyService{QStringLiteral("replicate"), QStringLiteral("Replicate"), KeychainAccount::Replicate,
                   kReplicateBase}};
    return all;
}

QString keySourceSentence(const Keychain::ReadResult& stored, const KeyService& service)
{
    const QString variable = SettingsManager::environmentKeyName(service.account);
    switch (SettingsManager::keySource(stored, service.account)) {
    case KeySource::Keychain:
        return QStringLiteral("from the keyring");
    case KeySource::Environment:
        return QStringLiteral("from the environment (") + variable + u')';
    case KeySource::None:
        break;
    }
    const bool isBlank = qEnvironmentVariableIsSet(variable.toLatin1().constData());
    return QStringLiteral("none (") + absence(stored) + variable +
           (isBlank ? QStringLiteral(" is blank)") : QStringLiteral(" is not set)"));
}

} // namespace velmo
