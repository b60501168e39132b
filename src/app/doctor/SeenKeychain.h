#pragma once

#include "platform/Keychain.h"

#include <QMap>

namespace velmo {

/// What was in the keyring when it was asked, for each service that has a key once. Nothing can be written.
class SeenKeychain final : public Keychain {
public:
    /// Of a keyring that did not answer in time.
    SeenKeychain() = default;
    /// Asks now, and waits for as long as the keyring's patience is.
    SeenKeychain(Keychain& keychain, const QString& service);

    [[nodiscard]] ReadResult read(const QString& service, const QString& account) override;
    Status update(const QString&, const QString&, const QByteArray&) override { return Status::Unavailable; }
    Status add(const QString&, const QString&, const QByteArray&) override { return Status::Unavailable; }
    [[nodiscard]] Availability availability() override { return availability_; }

private:
    QMap<QString, ReadResult> items_; ///< By account.
    Availability availability_ = Availability::Timeout;
};

} // namespace velmo
