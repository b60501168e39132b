#pragma once

#include "platform/Keychain.h"

namespace velmo {

/// Where there is no key store, be it that none can be: nothing is found and nothing is kept.
class NullKeychain final : public Keychain {
public:
    explicit NullKeychain(Availability reason = Availability::NoBus)
        : reason_(reason)
    {}

    [[nodiscard]] ReadResult read(const QString&, const QString&) override { return {}; }
    Status update(const QString&, const QString&, const QByteArray&) override { return Status::Unavailable; }
    Status add(const QString&, const QString&, const QByteArray&) override { return Status::Unavailable; }
    [[nodiscard]] Availability availability() override { return reason_; }

private:
    const Availability reason_;
};

} // namespace velmo
