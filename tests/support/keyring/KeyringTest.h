#pragma once

#include "platform/linux/SecretServiceKeychain.h"
#include "support/keyring/PrivateKeyring.h"
#include "support/x11/Await.h"

#include <gmock/gmock.h>
#include <vector>

namespace velmo::test {

/// A keychain on a keyring of the test's own. Its clock stands still until the test moves it. It waits longer
/// than the program's, which a loaded machine could keep waiting for no fault of the keyring.
class KeyringTest : public testing::Test {
protected:
    using Status = Keychain::Status;
    using Availability = Keychain::Availability;

    static inline const QString kService = QStringLiteral("app.velmo.Velmo");
    static inline const QString kAccount = QStringLiteral("apiKey.anthropic");
    static inline const QString kOther = QStringLiteral("apiKey.openai");

    struct LateWrite {
        QString account;
        Status status;
        friend bool operator==(const LateWrite&, const LateWrite&) = default;
    };

    KeyringTest() { listen(*keychain); }

    void listen(Keychain& other)
    {
        other.onLateWrite = [this](const QString& account, Status status) {
            lateWrites.push_back({account, status});
        };
    }

    [[nodiscard]] SecretServiceKeychain::Options options(SecretPatience patience)
    {
        return {patience, {kPatience, std::nullopt}, [this] { return now; }};
    }
    /// From now on the keychain is as patient as the program's.
    void beImpatient()
    {
        keychain = std::make_unique<SecretServiceKeychain>(keyring.busAddress(),
                                                           options(SecretServiceKeychain::kInterface));
        listen(*keychain);
    }

    [[nodiscard]] QByteArray valueOf(const QString& account)
    {
        const auto result = keychain->read(kService, account);
        EXPECT_EQ(result.status, Status::Success);
        return result.data;
    }

    [[nodiscard]] bool awaitLateWrites(size_t count)
    {
        return awaitCondition([&] { return lateWrites.size() >= count; });
    }

    PrivateKeyring keyring;
    Clock::TimePoint now = Clock::now();
    std::unique_ptr<SecretServiceKeychain> keychain =
        std::make_unique<SecretServiceKeychain>(keyring.busAddress(), options({kPatience, std::nullopt}));
    std::vector<LateWrite> lateWrites;
};

} // namespace velmo::test
