#include "support/app/AskTest.h"
#include "support/keyring/PrivateKeyring.h"

namespace velmo {

/// Asks with a key in the keyring and another in the environment.
class KeyringAskTest : public AskTest {
protected:
    static inline const QByteArray kStored = "dummy-key-of-the-keyring";

    void SetUp() override
    {
        AskTest::SetUp();
        ASSERT_TRUE(keyring.startUnlocked());
        environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"),
                           QString::fromUtf8(keyring.buses().sessionAddress()));
        ASSERT_EQ(keyring
                      .secretTool({QStringLiteral("store"), QStringLiteral("--label=By hand"),
                                   QStringLiteral("service"), QStringLiteral("app.velmo.Velmo"),
                                   QStringLiteral("account"), QStringLiteral("apiKey.anthropic")},
                                  kStored)
                      .exitCode,
                  0);
    }

    QByteArray sentKey()
    {
        const AskResult result = ask({QStringLiteral("What is this?")});
        EXPECT_EQ(result.exitCode, 0);
        EXPECT_FALSE(result.errors.contains(kStored));
        EXPECT_FALSE(result.output.contains(kStored));
        const auto requests = server.requests();
        return requests.isEmpty() ? QByteArray() : requests.last().header("x-api-key");
    }

    test::PrivateKeyring keyring;
};

TEST_F(KeyringAskTest, TheKeyringComesBeforeTheEnvironment)
{
    EXPECT_EQ(sentKey(), kStored);
}

TEST_F(KeyringAskTest, AKeyringThatIsSwitchedOffIsNotAsked)
{
    environment.insert(QStringLiteral("VELMO_KEYRING"), QStringLiteral("off"));
    EXPECT_EQ(sentKey(), kKey.toUtf8());
}

TEST_F(KeyringAskTest, TheEnvironmentStandsInForALockedKeyring)
{
    ASSERT_TRUE(keyring.lock());
    keyring.willAnswer(test::PrivateKeyring::kPassword);
    EXPECT_EQ(sentKey(), kKey.toUtf8());
    EXPECT_EQ(sentKey(), kKey.toUtf8()) << "it is still locked: nobody answered a question";
    EXPECT_TRUE(keyring.isUnasked());
}

TEST_F(KeyringAskTest, WhereThereIsNoKeyTheKeyringsStateIsTold)
{
    environment.remove(QStringLiteral("ANTHROPIC_API_KEY"));
    ASSERT_TRUE(keyring.lock());
    const AskResult locked = ask({QStringLiteral("What is this?")});
    EXPECT_EQ(locked.exitCode, 1);
    EXPECT_TRUE(locked.errors.contains("The keyring is locked")) << locked.errors.toStdString();
}

TEST_F(KeyringAskTest, TheEnvironmentStandsInForAFrozenKeyring)
{
    keyring.daemon().halt();
    EXPECT_EQ(sentKey(), kKey.toUtf8());
}

} // namespace velmo
