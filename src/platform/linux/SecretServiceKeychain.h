#pragma once

#include "core/Clock.h"
#include "platform/Keychain.h"
#include "platform/linux/BusConnection.h"
#include "platform/linux/SecretService.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace velmo {

class LateSecretWriter;

/// Keys in the keyring of the desktop, whichever speaks the Secret Service interface. Items are those that
/// "secret-tool" finds by the attributes "service" and "account". Nothing is remembered between calls but
/// that the keyring did not answer: for the next ten seconds it is not asked then.
class SecretServiceKeychain final : public Keychain {
public:
    static constexpr std::chrono::seconds kLeftAlone{10};

    /// The keyring on this user's session bus; a NullKeychain if there is no such bus.
    [[nodiscard]] static std::shared_ptr<Keychain> create();

    explicit SecretServiceKeychain(std::string busAddress,
                                   std::function<Clock::TimePoint()> now = Clock::now);
    /// Forgets writes that wait for the user.
    ~SecretServiceKeychain() override;

    [[nodiscard]] ReadResult read(const QString& service, const QString& account) override;
    Status update(const QString& service, const QString& account, const QByteArray& data) override;
    /// Into the default collection, which the user is asked to create if there is none.
    Status add(const QString& service, const QString& account, const QByteArray& data) override;
    [[nodiscard]] Availability availability() override;

private:
    /// A conversation, unless the service is being left alone.
    [[nodiscard]] std::optional<SecretService> converse();
    /// Also remembers a service that did not answer.
    Status statusOf(SecretFault fault);
    Status writeLate(const SecretName& name, const QByteArray& data);
    [[nodiscard]] bool isWritingLate(const SecretName& name) const;

    const std::string busAddress_;
    const std::function<Clock::TimePoint()> now_;
    std::optional<Clock::TimePoint> leftAloneUntil_;
    std::unique_ptr<LateSecretWriter> lateWriter_; ///< From the first write on that needs it.
    const std::shared_ptr<bool> isAlive_ = std::make_shared<bool>(true);
};

} // namespace velmo
