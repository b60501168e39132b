#pragma once

#include "core/Clock.h"
#include "platform/Keychain.h"
#include "platform/linux/BusConnection.h"
#include "platform/linux/LateSecretWriter.h"
#include "platform/linux/SecretService.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace velmo {

/// Keys in the keyring of the desktop, whichever speaks the Secret Service interface. Items are those that
/// "secret-tool" finds by the attributes "service" and "account"; where there are several, one in the default
/// collection counts, and all are written. Nothing is remembered between calls but that the keyring did not
/// answer: for the next ten seconds it is not asked then.
class SecretServiceKeychain final : public Keychain {
public:
    static constexpr std::chrono::seconds kLeftAlone{10};
    /// Where a user interface waits: one question or several, a keyring that is slow costs as much as one
    /// that hangs.
    static constexpr SecretPatience kInterface{std::chrono::milliseconds(500),
                                               std::chrono::milliseconds(500)};
    /// Where nobody waits but who typed a command. The bus may have to start the keyring first.
    static constexpr SecretPatience kCommandLine{std::chrono::seconds(5), std::chrono::seconds(10)};
    /// Where it is one of several that are asked; the bus may have to start it.
    static constexpr SecretPatience kSurvey{std::chrono::milliseconds(2500), std::chrono::seconds(3)};
    /// Where nobody waits at all.
    static constexpr SecretPatience kLateWriter{std::chrono::seconds(30), std::nullopt};

    struct Options {
        SecretPatience patience = kInterface;
        SecretPatience latePatience = kLateWriter;
        std::function<Clock::TimePoint()> now = Clock::now;
    };

    /// The keyring on this user's session bus; a NullKeychain if there is no such bus.
    [[nodiscard]] static std::shared_ptr<Keychain> create(SecretPatience patience = kInterface);

    SecretServiceKeychain(std::string busAddress, Options options);
    explicit SecretServiceKeychain(std::string busAddress)
        : SecretServiceKeychain(std::move(busAddress), Options())
    {}
    ~SecretServiceKeychain() override;

    [[nodiscard]] ReadResult read(const QString& service, const QString& account) override;
    /// Empty data, which stands for no key, also goes into items that have to be unlocked for it.
    Status update(const QString& service, const QString& account, const QByteArray& data) override;
    /// Into the default collection, which the user is asked to create if there is none.
    Status add(const QString& service, const QString& account, const QByteArray& data) override;
    /// In one conversation.
    Status write(const QString& service, const QString& account, const QByteArray& data) override;
    [[nodiscard]] Availability availability() override;

    /// Forgets writes that wait for the user.
    void shutDown() override;

private:
    /// A conversation, unless the service is being left alone.
    [[nodiscard]] std::optional<SecretService> converse();
    /// Also remembers a service that did not answer.
    Status statusOf(SecretFault fault);
    Status store(const SecretName& name, LateSecret secret);
    Status create(SecretService& service, const SecretService::Collection& collection, const SecretName& name,
                  LateSecret secret);
    /// What came of a secret that was sent: those that can be helped are written late.
    Status settle(SecretFault fault, const SecretName& name, LateSecret secret);
    Status writeLate(const SecretName& name, LateSecret secret);
    [[nodiscard]] bool isWritingLate(const SecretName& name) const;

    const std::string busAddress_;
    const Options options_;
    std::optional<Clock::TimePoint> leftAloneUntil_;
    std::unique_ptr<LateSecretWriter> lateWriter_; ///< From the first write on that needs it.
    const std::shared_ptr<bool> isAlive_ = std::make_shared<bool>(true);
};

} // namespace velmo
