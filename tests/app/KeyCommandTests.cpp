#include "platform/linux/SecretServiceKeychain.h"
#include "support/app/KeyTest.h"
#include "support/keyring/ScriptedKeyring.h"

#include <QDir>
#include <QTemporaryDir>

namespace velmo {

class KeyCommandTest : public KeyTest {
protected:
    void SetUp() override { ASSERT_TRUE(keyring.startUnlocked()); }
};

TEST_F(KeyCommandTest, PutsAKeyIntoTheKeyringAndReplacesIt)
{
    const KeyResult result = set(kKey + '\n');
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.output, "The key for Anthropic is in the keyring.\n");
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(stored(), kKey);
    EXPECT_EQ(set("another").exitCode, 0);
    EXPECT_EQ(stored(), "another");
}

TEST_F(KeyCommandTest, EachServiceHasItsAccount)
{
    EXPECT_EQ(set("a", QStringLiteral("anthropic")).exitCode, 0);
    EXPECT_EQ(set("o", QStringLiteral("openai")).exitCode, 0);
    EXPECT_EQ(set("r", QStringLiteral("replicate")).exitCode, 0);
    EXPECT_EQ(stored(QStringLiteral("apiKey.anthropic")), "a");
    EXPECT_EQ(stored(QStringLiteral("apiKey.openai")), "o");
    EXPECT_EQ(stored(QStringLiteral("apiKey.replicate")), "r");
}

TEST_F(KeyCommandTest, OnlyTheLineEndIsTakenOff)
{
    EXPECT_EQ(set(" k%1\xC3\xA9y \r\n").exitCode, 0);
    EXPECT_EQ(stored(), " k%1\xC3\xA9y ");
}

TEST_F(KeyCommandTest, WhatIsNoKeyIsRefusedUnread)
{
    ASSERT_EQ(set("before").exitCode, 0);
    for (const QByteArray& input : {QByteArray(), QByteArray("\n"), kKey + "\n" + kKey + "\n", kKey + "\x01",
                                    kKey + "\xFF", kKey + '\0', kKey.repeated(1000)}) {
        const KeyResult result = set(input);
        EXPECT_EQ(result.exitCode, 2);
        EXPECT_TRUE(result.errors.startsWith("velmo: ")) << result.errors.toStdString();
        EXPECT_EQ(result.output, "");
    }
    EXPECT_EQ(stored(), "before");
}

TEST_F(KeyCommandTest, TellsWhereEachKeyComesFrom)
{
    EXPECT_EQ(status(), "anthropic  none (not in the keyring, and ANTHROPIC_API_KEY is not set)\n"
                        "openai     none (not in the keyring, and OPENAI_API_KEY is not set)\n"
                        "replicate  none (not in the keyring, and REPLICATE_API_TOKEN is not set)\n");
    ASSERT_EQ(set(kKey).exitCode, 0);
    environment.insert(QStringLiteral("ANTHROPIC_API_KEY"), QString::fromUtf8(kKey));
    environment.insert(QStringLiteral("REPLICATE_API_TOKEN"), QString::fromUtf8(kKey));
    EXPECT_EQ(status(), "anthropic  from the keyring\n"
                        "openai     none (not in the keyring, and OPENAI_API_KEY is not set)\n"
                        "replicate  from the environment (REPLICATE_API_TOKEN)\n");
}

TEST_F(KeyCommandTest, SaysNoMoreOfAnAbsentKeyThanIsKnown)
{
    ASSERT_EQ(set(kKey).exitCode, 0);
    ASSERT_EQ(run({QStringLiteral("clear"), QStringLiteral("anthropic")}).exitCode, 0);
    environment.insert(QStringLiteral("OPENAI_API_KEY"), QStringLiteral(" "));
    EXPECT_EQ(status(), "anthropic  none (empty in the keyring, and ANTHROPIC_API_KEY is not set)\n"
                        "openai     none (not in the keyring, and OPENAI_API_KEY is blank)\n"
                        "replicate  none (not in the keyring, and REPLICATE_API_TOKEN is not set)\n");
    ASSERT_TRUE(keyring.lock());
    const QByteArray told = status();
    EXPECT_TRUE(told.startsWith("anthropic  none (ANTHROPIC_API_KEY is not set)\n")) << told.toStdString();
    EXPECT_FALSE(told.contains("not in the keyring")) << told.toStdString();
}

TEST_F(KeyCommandTest, EmptiesAKeyInTheKeyring)
{
    ASSERT_EQ(set(kKey).exitCode, 0);
    environment.insert(QStringLiteral("ANTHROPIC_API_KEY"), QString::fromUtf8(kKey));
    const KeyResult result = run({QStringLiteral("clear"), QStringLiteral("anthropic")});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.output, "The keyring holds no key for Anthropic any more.\n"
                             "ANTHROPIC_API_KEY still supplies one.\n");
    EXPECT_EQ(stored().value_or("nothing"), "");
    EXPECT_TRUE(status().startsWith("anthropic  from the environment (ANTHROPIC_API_KEY)\n"));
}

TEST_F(KeyCommandTest, AKeyThatIsNotThereIsAsGoodAsCleared)
{
    EXPECT_EQ(run({QStringLiteral("clear"), QStringLiteral("openai")}).exitCode, 0);
    EXPECT_EQ(stored(QStringLiteral("apiKey.openai")), std::nullopt);
}

TEST_F(KeyCommandTest, ClearsAKeyThatIsBehindALock)
{
    ASSERT_EQ(set(kKey).exitCode, 0);
    ASSERT_TRUE(keyring.lock());
    keyring.willAnswer(test::PrivateKeyring::kPassword);
    const KeyResult result = run({QStringLiteral("clear"), QStringLiteral("anthropic")});
    EXPECT_EQ(result.exitCode, 0) << result.errors.toStdString();
    EXPECT_EQ(stored().value_or("nothing"), "");
}

TEST_F(KeyCommandTest, WaitsUntilTheUserHasUnlockedTheKeyring)
{
    ASSERT_TRUE(keyring.lock());
    keyring.willAnswer(test::PrivateKeyring::kPassword);
    const QByteArray told = status();
    EXPECT_TRUE(told.contains("The keyring is locked")) << told.toStdString();
    const KeyResult result = set(kKey);
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.errors, "velmo: waiting for the keyring, which may have to be unlocked\n")
        << "the telling asked nobody";
    EXPECT_EQ(stored(), kKey);
}

TEST_F(KeyCommandTest, SaysThatAKeyringThatStayedLockedTookNothing)
{
    ASSERT_TRUE(keyring.lock());
    keyring.willCancel();
    const KeyResult result = set(kKey);
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.output, "");
    EXPECT_TRUE(result.errors.contains("nothing was stored. The keyring stayed locked."))
        << result.errors.toStdString();
}

TEST_F(KeyCommandTest, SaysWhyNothingCanBeKept)
{
    keyring.daemon().halt();
    EXPECT_TRUE(set(kKey).errors.contains("The keyring did not answer in time"));
    keyring.daemon().stop();
    const KeyResult none = set(kKey);
    EXPECT_EQ(none.exitCode, 1);
    EXPECT_TRUE(none.errors.contains("No keyring is running")) << none.errors.toStdString();
    EXPECT_TRUE(status().contains("anthropic  none (ANTHROPIC_API_KEY is not set)\n"));

    environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), QStringLiteral("disabled:"));
    EXPECT_TRUE(status().contains("There is no session bus"));
    const KeyResult noBus = run({QStringLiteral("clear"), QStringLiteral("anthropic")});
    EXPECT_EQ(noBus.exitCode, 1);
    EXPECT_TRUE(noBus.errors.contains("There is no session bus")) << noBus.errors.toStdString();
}

TEST_F(KeyCommandTest, AKeyringThatIsSwitchedOffStaysAsItIs)
{
    ASSERT_EQ(set("before").exitCode, 0);
    environment.insert(QStringLiteral("VELMO_KEYRING"), QStringLiteral("off"));
    for (const KeyResult& result : {set(kKey), run({QStringLiteral("clear"), QStringLiteral("anthropic")})}) {
        EXPECT_EQ(result.exitCode, 1);
        EXPECT_EQ(result.output, "");
        EXPECT_TRUE(result.errors.contains("The keyring is switched off")) << result.errors.toStdString();
    }
    const QByteArray told = status();
    EXPECT_TRUE(told.contains("anthropic  none (ANTHROPIC_API_KEY is not set)\n")) << told.toStdString();
    EXPECT_TRUE(told.contains("The keyring is switched off")) << told.toStdString();
    EXPECT_EQ(stored(), "before");
}

TEST_F(KeyCommandTest, ABrokenSettingsFileIsSaidAndStopsNothing)
{
    QTemporaryDir home;
    ASSERT_TRUE(QDir(home.path()).mkdir(QStringLiteral("velmo")));
    QFile file(home.filePath(QStringLiteral("velmo/settings.json")));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("{\"selectedProvider\": \"ope");
    file.close();
    environment.insert(QStringLiteral("XDG_CONFIG_HOME"), home.path());
    const KeyResult result = run({QStringLiteral("status")});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_TRUE(result.errors.startsWith("velmo: Settings file ")) << result.errors.constData();
    EXPECT_TRUE(QFile::exists(home.filePath(QStringLiteral("velmo/settings.json.bad"))));
    EXPECT_EQ(run({QStringLiteral("status")}).errors, "") << "said once";
}

TEST_F(KeyCommandTest, AKeyOnTheCommandLineIsRefusedAndNotRepeated)
{
    const KeyResult result =
        run({QStringLiteral("set"), QStringLiteral("anthropic"), QString::fromUtf8(kKey)});
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_TRUE(result.errors.contains("standard input")) << result.errors.toStdString();
    EXPECT_EQ(stored(), std::nullopt);
}

/// "velmo key" with a keyring that does as it is told.
class ScriptedKeyCommandTest : public KeyTest {
protected:
    test::ScriptedKeyring script{keyring.busAddress()};
};

TEST_F(ScriptedKeyCommandTest, AKeyringThatHidesWhatIsLockedIsNotSaidToHoldNothing)
{
    using test::KeyringScript;
    script.with([](KeyringScript& keyringScript) {
        keyringScript.collections[KeyringScript::kMain] = {.isLocked = true, .hidesItems = true};
        keyringScript.prompt = KeyringScript::Prompt::Dismisses;
    });
    script.addItem(KeyringScript::kMain + "/1", "apiKey.anthropic", kKey.toStdString());
    const KeyResult result = run({QStringLiteral("clear"), QStringLiteral("anthropic")});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.output, "");
    EXPECT_TRUE(result.errors.contains("nothing was cleared. The keyring stayed locked."))
        << result.errors.toStdString();
    EXPECT_FALSE(status().contains("not in the keyring"));
}

TEST_F(ScriptedKeyCommandTest, AKeyReadElsewhereIsNotSaidToBeUnused)
{
    using test::KeyringScript;
    script.with([](KeyringScript& keyringScript) {
        keyringScript.collections[KeyringScript::kMain] = {.isLocked = true};
        keyringScript.collections[KeyringScript::kOther] = {};
    });
    script.addItem(KeyringScript::kOther + "/1", "apiKey.anthropic", kKey.toStdString());
    const QByteArray told = status();
    EXPECT_TRUE(told.startsWith("anthropic  from the keyring\n")) << told.toStdString();
    EXPECT_TRUE(told.contains("The keyring is locked")) << told.toStdString();
    EXPECT_FALSE(told.contains("not used")) << told.toStdString();
}

TEST_F(ScriptedKeyCommandTest, TheStatusAsksForEachKeyOnce)
{
    script.addItem(test::KeyringScript::kMain + "/1", "apiKey.anthropic", kKey.toStdString());
    EXPECT_TRUE(status().startsWith("anthropic  from the keyring\n"));
    EXPECT_EQ(script.countOf("SearchItems"), 3);
    EXPECT_EQ(script.countOf("GetSecret"), 1);
}

TEST_F(ScriptedKeyCommandTest, AKeyringThatRefusesIsCalledThat)
{
    script.setManner("ReadAlias", {.error = "org.freedesktop.DBus.Error.AccessDenied"});
    const KeyResult result = set(kKey);
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(result.errors.contains("nothing was stored. The keyring refuses"))
        << result.errors.toStdString();
}

TEST_F(ScriptedKeyCommandTest, ACommandWaitsLongerThanAWindowWould)
{
    script.addItem(test::KeyringScript::kMain + "/1", "apiKey.anthropic", kKey.toStdString());
    script.setManner("GetSecret",
                     {.delay = SecretServiceKeychain::kInterface.call + std::chrono::seconds(1), .calls = 1});
    EXPECT_TRUE(status().startsWith("anthropic  from the keyring\n"));
}

} // namespace velmo
