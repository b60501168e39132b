#include "fakes/FakeKeychain.h"
#include "platform/linux/SecretServiceKeychain.h"
#include "support/keyring/PrivateKeyring.h"

#include <gmock/gmock.h>

namespace velmo {

namespace {

using Status = Keychain::Status;

const QString kService = QStringLiteral("app.velmo.Velmo");
const QString kAccount = QStringLiteral("apiKey.anthropic");

/// A key store to test, and how to take it away.
struct Store {
    virtual ~Store() = default;
    virtual Keychain& keychain() = 0;
    virtual void takeAway() = 0;
};

struct FakeStore final : Store {
    Keychain& keychain() override { return fake; }
    void takeAway() override { fake.isAvailable = false; }
    FakeKeychain fake;
};

struct RealStore final : Store {
    RealStore() { EXPECT_TRUE(keyring.startUnlocked()); }
    Keychain& keychain() override { return real; }
    void takeAway() override { keyring.daemon().stop(); }
    test::PrivateKeyring keyring;
    SecretServiceKeychain real{keyring.busAddress()};
};

template <typename StoreType>
class KeychainContract : public testing::Test {
protected:
    StoreType store;
    Keychain& keychain = store.keychain();

    QByteArray valueOf(const QString& account)
    {
        const auto result = keychain.read(kService, account);
        EXPECT_EQ(result.status, Status::Success);
        return result.data;
    }
};

using Stores = testing::Types<FakeStore, RealStore>;

} // namespace

TYPED_TEST_SUITE(KeychainContract, Stores);

TYPED_TEST(KeychainContract, FindsNothingWhereNothingIs)
{
    const auto result = this->keychain.read(kService, kAccount);
    EXPECT_EQ(result.status, Status::ItemNotFound);
    EXPECT_EQ(result.data, QByteArray());
    EXPECT_EQ(this->keychain.availability(), Keychain::Availability::Available);
}

TYPED_TEST(KeychainContract, AnUpdateAddsNothing)
{
    EXPECT_EQ(this->keychain.update(kService, kAccount, "value"), Status::ItemNotFound);
    EXPECT_EQ(this->keychain.read(kService, kAccount).status, Status::ItemNotFound);
}

TYPED_TEST(KeychainContract, ReadsWhatWasAddedAndThenUpdated)
{
    EXPECT_EQ(this->keychain.add(kService, kAccount, "first"), Status::Success);
    EXPECT_EQ(this->valueOf(kAccount), "first");
    EXPECT_EQ(this->keychain.update(kService, kAccount, "second"), Status::Success);
    EXPECT_EQ(this->valueOf(kAccount), "second");
}

TYPED_TEST(KeychainContract, AnEmptyValueIsAValue)
{
    EXPECT_EQ(this->keychain.add(kService, kAccount, ""), Status::Success);
    EXPECT_EQ(this->valueOf(kAccount), "");
    EXPECT_EQ(this->keychain.update(kService, kAccount, "value"), Status::Success);
    EXPECT_EQ(this->keychain.update(kService, kAccount, ""), Status::Success);
    EXPECT_EQ(this->valueOf(kAccount), "");
}

TYPED_TEST(KeychainContract, KeepsBytesThatAreNoText)
{
    const QByteArray bytes("\xFF\xFE\x00 %1\n\xC3", 8);
    EXPECT_EQ(this->keychain.add(kService, kAccount, bytes), Status::Success);
    EXPECT_EQ(this->valueOf(kAccount), bytes);
}

TYPED_TEST(KeychainContract, KeepsServicesAndAccountsApart)
{
    const QString other = QStringLiteral("apiKey.openai");
    EXPECT_EQ(this->keychain.add(kService, kAccount, "one"), Status::Success);
    EXPECT_EQ(this->keychain.add(kService, other, "two"), Status::Success);
    EXPECT_EQ(this->valueOf(kAccount), "one");
    EXPECT_EQ(this->valueOf(other), "two");
    EXPECT_EQ(this->keychain.read(QStringLiteral("another.service"), kAccount).status, Status::ItemNotFound);
}

TYPED_TEST(KeychainContract, WithoutAKeyStoreNothingIsKept)
{
    EXPECT_EQ(this->keychain.add(kService, kAccount, "value"), Status::Success);
    this->store.takeAway();
    EXPECT_EQ(this->keychain.read(kService, kAccount).status, Status::Unavailable);
    EXPECT_EQ(this->keychain.update(kService, kAccount, "value"), Status::Unavailable);
    EXPECT_EQ(this->keychain.add(kService, kAccount, "value"), Status::Unavailable);
    EXPECT_EQ(this->keychain.availability(), Keychain::Availability::NoService);
}

} // namespace velmo
