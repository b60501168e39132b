#include "core/SettingsManager.h"
#include "fakes/InMemoryDefaults.h"
#include "support/core/Environment.h"
#include "support/keyring/KeyringTest.h"

namespace velmo::test {

namespace {

const QStringList kAttributes{QStringLiteral("service"), QStringLiteral("app.velmo.Velmo"),
                              QStringLiteral("account"), QStringLiteral("apiKey.anthropic")};

} // namespace

class SecretServiceKeychainTest : public KeyringTest {
protected:
    void SetUp() override { ASSERT_TRUE(keyring.startUnlocked()); }

    PrivateKeyring::ToolResult storeWithTool(const QByteArray& value)
    {
        return keyring.secretTool(
            QStringList{QStringLiteral("store"), QStringLiteral("--label=By hand")} + kAttributes, value);
    }
    QByteArray lookupWithTool()
    {
        return keyring.secretTool(QStringList{QStringLiteral("lookup")} + kAttributes).output;
    }
    QByteArray searchWithTool()
    {
        return keyring
            .secretTool(QStringList{QStringLiteral("search"), QStringLiteral("--all")} + kAttributes)
            .output;
    }
};

TEST_F(SecretServiceKeychainTest, ReadsWhatSecretToolStored)
{
    ASSERT_EQ(storeWithTool("by-hand").exitCode, 0);
    EXPECT_EQ(valueOf(kAccount), "by-hand");
}

TEST_F(SecretServiceKeychainTest, SecretToolReadsWhatItStored)
{
    ASSERT_EQ(keychain->add(kService, kAccount, "by-program"), Status::Success);
    EXPECT_EQ(lookupWithTool(), "by-program");
    const QByteArray item = searchWithTool();
    EXPECT_TRUE(item.contains("schema = org.freedesktop.Secret.Generic")) << item.toStdString();
    EXPECT_TRUE(item.contains("label = Velmo apiKey.anthropic")) << item.toStdString();
}

TEST_F(SecretServiceKeychainTest, OneItemServesBoth)
{
    ASSERT_EQ(storeWithTool("first").exitCode, 0);
    EXPECT_EQ(keychain->update(kService, kAccount, "second"), Status::Success);
    EXPECT_EQ(lookupWithTool(), "second");
    ASSERT_EQ(storeWithTool("third").exitCode, 0);
    EXPECT_EQ(valueOf(kAccount), "third");
    const QByteArray items = searchWithTool();
    EXPECT_EQ(items.count("secret = "), 1) << items.toStdString();
    EXPECT_TRUE(items.contains("label = By hand")) << items.toStdString();
}

TEST_F(SecretServiceKeychainTest, AKeyOfSecretToolsIsReplacedNotShadowedByAnother)
{
    ASSERT_EQ(keychain->add(kService, kAccount, "first"), Status::Success);
    ASSERT_EQ(storeWithTool("second").exitCode, 0);
    EXPECT_EQ(valueOf(kAccount), "second");
    EXPECT_EQ(searchWithTool().count("secret = "), 1);
}

TEST_F(SecretServiceKeychainTest, NothingIsCached)
{
    ASSERT_EQ(keychain->add(kService, kAccount, "value"), Status::Success);
    EXPECT_EQ(valueOf(kAccount), "value");
    ASSERT_EQ(keyring.secretTool(QStringList{QStringLiteral("clear")} + kAttributes).exitCode, 0);
    EXPECT_EQ(keychain->read(kService, kAccount).status, Status::ItemNotFound);
}

TEST_F(SecretServiceKeychainTest, ServesTheSettings)
{
    const CleanProviderEnvironment environment;
    const auto shared = std::make_shared<SecretServiceKeychain>(keyring.busAddress());
    SettingsManager settings(std::make_shared<InMemoryDefaults>(), shared);
    EXPECT_EQ(settings.keychainRead(kAccount), std::nullopt);
    settings.keychainWrite(kAccount, QStringLiteral("k\u00E9y"));
    EXPECT_EQ(settings.keychainRead(kAccount), QStringLiteral("k\u00E9y"));
    settings.keychainWrite(kAccount, QString());
    EXPECT_EQ(settings.keychainRead(kAccount), QString());
    EXPECT_EQ(settings.effectiveKey(kAccount), std::nullopt) << "an empty key is none";

    environment.anthropicKey.assign("from-environment");
    EXPECT_EQ(settings.effectiveKey(kAccount), QStringLiteral("from-environment"));
    EXPECT_EQ(shared->update(kService, kAccount, "\xFF\xFE"), Status::Success);
    EXPECT_EQ(settings.keychainRead(kAccount), std::nullopt) << "what is not text is no key";
}

} // namespace velmo::test
