#pragma once

#include "core/Published.h"
#include "platform/Keychain.h"
#include "platform/UserDefaults.h"

#include <QStringList>
#include <memory>
#include <optional>

namespace velmo {

/// When the overlay hands over to the question.
enum class SubmitMode {
    SingleStroke, ///< As soon as one stroke is finished.
    ManualSubmit, ///< When the user says so, after any number of strokes.
};

/// The word under which a mode is stored.
[[nodiscard]] QString rawValue(SubmitMode mode);

/// One of the user's choices: observable, and stored at every assignment, also of an equal value.
template <typename T>
class Setting final : public Observable<T> {
public:
    void set(T value)
    {
        this->assign(std::move(value));
        if (store_)
            store_(this->value());
    }

private:
    friend class SettingsManager;
    Setting() = default;
    void load(T value, std::function<void(const T&)> store)
    {
        this->initialise(std::move(value));
        store_ = std::move(store);
    }
    std::function<void(const T&)> store_;
};

/// Where a key comes from.
enum class KeySource { Keychain, Environment, None };

/// The user's choices and keys. Main thread.
class SettingsManager {
public:
    /// Reads the stored choices; what is retired or missing is replaced by today's defaults.
    SettingsManager(std::shared_ptr<UserDefaults> defaults, std::shared_ptr<Keychain> keychain);
    SettingsManager(const SettingsManager&) = delete;
    SettingsManager& operator=(const SettingsManager&) = delete;

    /// The process's one store, made at the first call from the stores given to installStores().
    [[nodiscard]] static std::shared_ptr<SettingsManager> shared();
    /// Before the first call of shared().
    static void installStores(std::shared_ptr<UserDefaults> defaults, std::shared_ptr<Keychain> keychain);

    Setting<QString> selectedProvider; ///< "anthropic" or "openai"; any stored word is kept.
    Setting<QString> anthropicModel;
    Setting<QString> openAIModel;
    Setting<QString> systemPrompt; ///< Extra guidance, as typed.
    Setting<QString> replicateModelVersion;
    Setting<SubmitMode> submitMode;
    Setting<qint64> hotkeyKeyCode;      ///< Virtual key code.
    Setting<qint64> hotkeyModifiers;    ///< ModifierFlag bits.
    Setting<qint64> quickDrawModifiers; ///< ModifierFlag bits; 0 switches the chord off.
    Setting<bool> quickDrawMiddleMouseEnabled;
    Setting<bool> hasCompletedOnboarding;
    Setting<qint64> settingsSelectedTab; ///< Not stored: 0 at every launch.

    /// The service name of every key in the key store.
    const QString keychainService;

    /// What the model is told: a fixed instruction, and the user's guidance if there is any.
    [[nodiscard]] QString effectiveSystemPrompt() const;

    /// The stored key, from the key store alone. Nothing if there is none or it is not text.
    [[nodiscard]] std::optional<QString> keychainRead(const QString& account) const;
    /// Stores the key; failures are silent, but for the outcome that is given back. An empty value is stored
    /// as it is.
    Keychain::Status keychainWrite(const QString& account, const QString& value);
    /// Whether keys can be kept now, and why not.
    [[nodiscard]] Keychain::Availability keychainAvailability() const;
    /// Told the account and the end of each write that was Pending, as Keychain::onLateWrite is.
    Subscription
    subscribeToLateWrites(std::function<void(const QString&, const Keychain::Status&)> handler) const;

    /// The key to use: the key store's without line ends if that is not empty, else the one in the
    /// environment.
    [[nodiscard]] std::optional<QString> effectiveKey(const QString& account) const;
    /// Where effectiveKey() takes it from.
    [[nodiscard]] KeySource keySource(const QString& account) const;
    /// The same where the key store has been asked already.
    [[nodiscard]] static KeySource keySource(const Keychain::ReadResult& stored, const QString& account);
    /// Whether the environment supplies a key, whatever is stored. An empty variable supplies none.
    [[nodiscard]] static bool environmentHasKey(const QString& account);
    /// The variable that holds the account's key in the environment.
    [[nodiscard]] static QString environmentKeyName(const QString& account);

    /// The model to use with a provider ("openai", or anything else for Anthropic): the stored choice, or the
    /// one that the environment names for the server that it points to.
    [[nodiscard]] QString effectiveModel(const QString& provider) const;

    static const QStringList& supportedOpenAIModels();
    static const QStringList& legacyReplicateWhisperVersions();
    [[nodiscard]] static QString migratedOpenAIModel(const std::optional<QString>& stored);

private:
    void loadPrompt();
    void loadQuickDraw();
    template <typename T>
    void bind(Setting<T>& setting, const char* key, T initial);

    std::shared_ptr<UserDefaults> defaults_;
    std::shared_ptr<Keychain> keychain_;
    using LateWrites = Observers<QString, Keychain::Status>;
    std::shared_ptr<LateWrites> lateWrites_ = std::make_shared<LateWrites>();
};

/// The accounts of the key store.
namespace KeychainAccount {
inline const QString Anthropic = QStringLiteral("apiKey.anthropic");
inline const QString OpenAI = QStringLiteral("apiKey.openai");
inline const QString Replicate = QStringLiteral("apiKey.replicate");
} // namespace KeychainAccount

/// Provider identifiers, as they are stored.
namespace ProviderID {
inline const QString Anthropic = QStringLiteral("anthropic");
inline const QString OpenAI = QStringLiteral("openai");
} // namespace ProviderID

} // namespace velmo
