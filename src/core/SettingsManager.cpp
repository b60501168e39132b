#include "core/SettingsManager.h"

#include "core/DefaultsCoercion.h"
#include "core/Identity.h"
#include "core/ServiceEndpoint.h"
#include "core/SettingsDefaults.h"
#include "core/Text.h"

#include <QtGlobal>
#include <algorithm>

namespace velmo {

namespace {

QJsonValue toStored(const QString& value)
{
    return value;
}
QJsonValue toStored(SubmitMode value)
{
    return rawValue(value);
}
QJsonValue toStored(qint64 value)
{
    return value;
}
QJsonValue toStored(bool value)
{
    return value;
}

/// Where a provider's key and server may come from besides the user's own stores.
struct EnvironmentNames {
    const char* key;
    const char* baseUrl;
    const char* model;
};

EnvironmentNames environmentNames(const QString& account)
{
    if (account == KeychainAccount::OpenAI)
        return {"OPENAI_API_KEY", kOpenAIBase.variable, "OPENAI_MODEL"};
    if (account == KeychainAccount::Replicate)
        return {"REPLICATE_API_TOKEN", kReplicateBase.variable, nullptr};
    return {"ANTHROPIC_API_KEY", kAnthropicBase.variable, "ANTHROPIC_MODEL"};
}

std::optional<QString> textOf(const Keychain::ReadResult& stored)
{
    if (stored.status != Keychain::Status::Success)
        return std::nullopt;
    return decodeUtf8(stored.data);
}

/// A key that a line end was stored with, as "echo" sends one, would be refused in a request's header.
std::optional<QString> usableKey(std::optional<QString> stored)
{
    while (stored && (stored->endsWith(u'\n') || stored->endsWith(u'\r')))
        stored->chop(1);
    return stored && !stored->isEmpty() ? stored : std::nullopt;
}

QString environmentValue(const char* name)
{
    return name ? qEnvironmentVariable(name).trimmed() : QString();
}

struct InstalledStores {
    std::shared_ptr<UserDefaults> defaults;
    std::shared_ptr<Keychain> keychain;
};

InstalledStores& installedStores()
{
    static InstalledStores stores;
    return stores;
}

} // namespace

QString rawValue(SubmitMode mode)
{
    switch (mode) {
    case SubmitMode::SingleStroke:
        return QStringLiteral("singleStroke");
    case SubmitMode::ManualSubmit:
        return QStringLiteral("manualSubmit");
    }
    return {};
}

std::shared_ptr<SettingsManager> SettingsManager::shared()
{
    static const std::shared_ptr<SettingsManager> manager = [] {
        InstalledStores& stores = installedStores();
        Q_ASSERT_X(stores.defaults && stores.keychain, "SettingsManager", "installStores() comes first");
        return std::make_shared<SettingsManager>(stores.defaults, stores.keychain);
    }();
    return manager;
}

void SettingsManager::installStores(std::shared_ptr<UserDefaults> defaults,
                                    std::shared_ptr<Keychain> keychain)
{
    installedStores() = {std::move(defaults), std::move(keychain)};
}

template <typename T>
void SettingsManager::bind(Setting<T>& setting, const char* key, T initial)
{
    setting.load(std::move(initial), [this, key = QString::fromLatin1(key)](const T& value) {
        defaults_->setObject(key, toStored(value));
    });
}

SettingsManager::SettingsManager(std::shared_ptr<UserDefaults> defaults, std::shared_ptr<Keychain> keychain)
    : keychainService(applicationIdentifier())
    , defaults_(std::move(defaults))
    , keychain_(std::move(keychain))
{
    // The key store may live longer than this.
    keychain_->onLateWrite = [late = std::weak_ptr(lateWrites_)](const QString& account,
                                                                 Keychain::Status status) {
        if (const auto observers = late.lock())
            observers->notify(account, status);
    };
    namespace Default = SettingsDefaults;
    const auto stored = [this](const char* key) { return defaults_->object(QString::fromLatin1(key)); };

    bind(selectedProvider, "selectedProvider",
         coercedString(stored("selectedProvider")).value_or(ProviderID::Anthropic));
    bind(anthropicModel, "anthropicModel",
         coercedString(stored("anthropicModel")).value_or(Default::kAnthropicModel));

    const auto storedModel = coercedString(stored("openAIModel"));
    bind(openAIModel, "openAIModel", migratedOpenAIModel(storedModel));
    if (storedModel != openAIModel.value())
        defaults_->setObject(QStringLiteral("openAIModel"), openAIModel.value());

    loadPrompt();

    const auto storedVersion = coercedString(stored("replicateModelVersion"));
    const bool keepVersion = storedVersion && !storedVersion->isEmpty() &&
                             !legacyReplicateWhisperVersions().contains(*storedVersion);
    bind(replicateModelVersion, "replicateModelVersion",
         keepVersion ? *storedVersion : Default::kReplicateModelVersion);
    if (!keepVersion)
        defaults_->setObject(QStringLiteral("replicateModelVersion"), replicateModelVersion.value());

    const bool manual = coercedString(stored("submitMode")) == rawValue(SubmitMode::ManualSubmit);
    bind(submitMode, "submitMode", manual ? SubmitMode::ManualSubmit : SubmitMode::SingleStroke);
    bind(hotkeyKeyCode, "hotkeyKeyCode",
         coercedInteger(stored("hotkeyKeyCode")).value_or(Default::kHotkeyKeyCode));
    bind(hotkeyModifiers, "hotkeyModifiers",
         coercedInteger(stored("hotkeyModifiers")).value_or(Default::kHotkeyModifiers));

    loadQuickDraw();

    bind(hasCompletedOnboarding, "hasCompletedOnboarding",
         coercedBoolean(stored("hasCompletedOnboarding")).value_or(false));
}

void SettingsManager::loadPrompt()
{
    const auto stored = coercedString(defaults_->object(QStringLiteral("systemPrompt")));
    const auto& earlier = SettingsDefaults::earlierSystemPrompts();
    const bool replaced = !stored || std::find(earlier.begin(), earlier.end(), *stored) != earlier.end();
    // Kept in memory only: it is stored when the user edits it.
    bind(systemPrompt, "systemPrompt", replaced ? SettingsDefaults::kSystemPrompt : *stored);
}

void SettingsManager::loadQuickDraw()
{
    qint64 modifiers = SettingsDefaults::kQuickDrawModifiers;
    if (const auto stored = strictInteger(defaults_->object(QStringLiteral("quickDrawModifiers"))))
        modifiers = *stored;
    // An earlier version had one switch for quick drawing; off there means no chord here.
    else if (coercedBoolean(defaults_->object(QStringLiteral("cmdMiddleClickEnabled"))) == false)
        modifiers = 0;
    bind(quickDrawModifiers, "quickDrawModifiers", modifiers);
    bind(quickDrawMiddleMouseEnabled, "quickDrawMiddleMouseEnabled",
         coercedBoolean(defaults_->object(QStringLiteral("quickDrawMiddleMouseEnabled"))).value_or(true));
}

QString SettingsManager::effectiveSystemPrompt() const
{
    const QString guidance = systemPrompt.value().trimmed();
    if (guidance.isEmpty())
        return SettingsDefaults::basePrompt();
    return SettingsDefaults::basePrompt() + QStringLiteral("\n\n") + guidance;
}

std::optional<QString> SettingsManager::keychainRead(const QString& account) const
{
    return textOf(keychain_->read(keychainService, account));
}

Keychain::Status SettingsManager::keychainWrite(const QString& account, const QString& value)
{
    // Text with half a surrogate pair has no UTF-8 form; storing something else in its place would lock
    // people out.
    if (!value.isValidUtf16())
        return Keychain::Status::Unavailable;
    return keychain_->write(keychainService, account, value.toUtf8());
}

Keychain::Availability SettingsManager::keychainAvailability() const
{
    return keychain_->availability();
}

Subscription SettingsManager::subscribeToLateWrites(
    std::function<void(const QString&, const Keychain::Status&)> handler) const
{
    return lateWrites_->add(std::move(handler));
}

std::optional<QString> SettingsManager::effectiveKey(const QString& account) const
{
    if (auto stored = usableKey(keychainRead(account)))
        return stored;
    const QString fallback = environmentValue(environmentNames(account).key);
    return fallback.isEmpty() ? std::nullopt : std::optional(fallback);
}

KeySource SettingsManager::keySource(const QString& account) const
{
    return keySource(keychain_->read(keychainService, account), account);
}

KeySource SettingsManager::keySource(const Keychain::ReadResult& stored, const QString& account)
{
    if (usableKey(textOf(stored)))
        return KeySource::Keychain;
    return environmentHasKey(account) ? KeySource::Environment : KeySource::None;
}

bool SettingsManager::environmentHasKey(const QString& account)
{
    return !environmentValue(environmentNames(account).key).isEmpty();
}

QString SettingsManager::environmentKeyName(const QString& account)
{
    return QString::fromLatin1(environmentNames(account).key);
}

QString SettingsManager::effectiveModel(const QString& provider) const
{
    const bool openAI = provider == ProviderID::OpenAI;
    const EnvironmentNames names =
        environmentNames(openAI ? KeychainAccount::OpenAI : KeychainAccount::Anthropic);
    // A server of the user's own has models of its own; with the usual service the variable means nothing.
    if (!environmentValue(names.baseUrl).isEmpty()) {
        if (QString model = environmentValue(names.model); !model.isEmpty())
            return model;
    }
    return openAI ? openAIModel.value() : anthropicModel.value();
}

const QStringList& SettingsManager::supportedOpenAIModels()
{
    static const QStringList models{QStringLiteral("gpt-5.4"), QStringLiteral("gpt-5.4-mini"),
                                    QStringLiteral("gpt-5.4-nano")};
    return models;
}

const QStringList& SettingsManager::legacyReplicateWhisperVersions()
{
    static const QStringList versions{
        QStringLiteral("4d50797290df275329f202e48c76360b3f22b08d2008d9515f1c718f2982c5c5"),
        QStringLiteral("8099696689d249cf8b122d833c36ac3f75505c666a395ca40ef26f68e7d3d16e")};
    return versions;
}

QString SettingsManager::migratedOpenAIModel(const std::optional<QString>& stored)
{
    // Retired names, unknown names and an empty one all mean today's default.
    if (stored && supportedOpenAIModels().contains(*stored))
        return *stored;
    return SettingsDefaults::kOpenAIModel;
}

} // namespace velmo
