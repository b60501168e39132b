#pragma once

#include "platform/Keychain.h"

namespace velmo {

/// A desktop without a session bus, where no key store can be: nothing is found and nothing is kept.
class NullKeychain final : public Keychain {
public:
    [[nodiscard]] ReadResult read(const QString&, const QString&) override { return {}; }
    Status update(const QString&, const QString&, const QByteArray&) override { return Status::Unavailable; }
    Status add(const QString&, const QString&, const QByteArray&) override { return Status::Unavailable; }
    [[nodiscard]] Availability availability() override { return Availability::NoBus; }
};

} // namespace velmo
