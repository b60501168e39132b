// What the settings store, whom they tell, and where keys and models come from.

#include "core/SettingsManager.h"
#include "fakes/FakeKeychain.h"
#include "fakes/InMemoryDefaults.h"
#include "support/core/Environment.h"
#include "support/core/Printing.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velmo {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

class SettingsWritingTest : public testing::Test {
protected:
    SettingsWritingTest() { defaults->writes.clear(); }

    /// The only write since the last call.
    [[nodiscard]] InMemoryDefaults::Write takeWrite() const
    {
        EXPECT_EQ(defaults->writes.size(), 1U);
        const auto writes = std::exchange(defaults->writes, {});
        return writes.empty() ? InMemoryDefaults::Write() : writes.front();
    }
    [[nodiscard]] static QString item(const QString& account)
    {
        return FakeKeychain::name(QStringLiteral("app.velmo.Velmo"), account);
    }

    CleanProviderEnvironment environment;
    const std::shared_ptr<InMemoryDefaults> defaults = std::make_shared<InMemoryDefaults>();
    const std::shared_ptr<FakeKeychain> keychain = std::make_shared<FakeKeychain>();
    SettingsManager settings{defaults, keychain};
};

TEST_F(SettingsWritingTest, TextsAreStoredAsTexts)
{
    settings.selectedProvider.set(QStringLiteral("openai"));
    EXPECT_THAT(takeWrite(), Pair(QStringLiteral("selectedProvider"), QJsonValue(QStringLiteral("openai"))));
    settings.anthropicModel.set(QStringLiteral("a"));
    EXPECT_THAT(takeWrite(), Pair(QStringLiteral("anthropicModel"), QJsonValue(QStringLiteral("a"))));
    settings.openAIModel.set(QStringLiteral("b"));
    EXPECT_THAT(takeWrite(), Pair(QStringLiteral("openAIModel"), QJsonValue(QStringLiteral("b"))));
    settings.systemPrompt.set(QStringLiteral("c"));
    EXPECT_THAT(takeWrite(), Pair(QStringLiteral("systemPrompt"), QJsonValue(QStringLiteral("c"))));
    settings.replicateModelVersion.set(QStringLiteral("d"));
    EXPECT_THAT(takeWrite(), Pair(QStringLiteral("replicateModelVersion"), QJsonValue(QStringLiteral("d"))));
    settings.submitMode.set(SubmitMode::ManualSubmit);
    EXPECT_THAT(takeWrite(), Pair(QStringLiteral("submitMode"), QJsonValue(QStringLiteral("manualSubmit"))));
}

TEST_F(SettingsWritingTest, NumbersAndTruthsKeepTheirTypes)
{
    settings.hotkeyKeyCode.set(36);
    EXPECT_THAT(takeWrite(), Pair(QStringLiteral("hotkeyKeyCode"), QJsonValue(36)));
    settings.hotkeyModifiers.set(0x100000);
    EXPECT_THAT(takeWrite(), Pair(QStringLiteral("hotkeyModifiers"), QJsonValue(0x100000)));
    settings.quickDrawModifiers.set(0);
    EXPECT_THAT(takeWrite(), Pair(QStringLiteral("quickDrawModifiers"), QJsonValue(0)));
    settings.quickDrawMiddleMouseEnabled.set(false);
    EXPECT_THAT(takeWrite(), Pair(QStringLiteral("quickDrawMiddleMouseEnabled"), QJsonValue(false)));
    settings.hasCompletedOnboarding.set(true);
    EXPECT_THAT(takeWrite(), Pair(QStringLiteral("hasCompletedOnboarding"), QJsonValue(true)));
}

TEST_F(SettingsWritingTest, TheSelectedTabIsToldButNotStored)
{
    qint64 told = -1;
    const auto subscription = settings.settingsSelectedTab.subscribe([&told](qint64 tab) { told = tab; });
    settings.settingsSelectedTab.set(2);

    EXPECT_EQ(told, 2);
    EXPECT_EQ(settings.settingsSelectedTab.value(), 2);
    EXPECT_THAT(defaults->writes, IsEmpty());
}

TEST_F(SettingsWritingTest, AnEqualValueIsStoredAndToldToo)
{
    int told = 0;
    const auto subscription = settings.selectedProvider.subscribe([&told](const QString&) { ++told; });
    settings.selectedProvider.set(settings.selectedProvider.value());

    EXPECT_THAT(takeWrite(),
                Pair(QStringLiteral("selectedProvider"), QJsonValue(QStringLiteral("anthropic"))));
    EXPECT_EQ(told, 1);
}

TEST_F(SettingsWritingTest, ObserversAreToldBeforeTheValueIsVisibleOrStored)
{
    QString seen;
    QString told;
    bool wasStored = true;
    const auto subscription = settings.anthropicModel.subscribe([&](const QString& next) {
        told = next;
        seen = settings.anthropicModel.value();
        wasStored = !defaults->writes.empty();
    });
    settings.anthropicModel.set(QStringLiteral("new"));

    EXPECT_EQ(told, u"new");
    EXPECT_EQ(seen, u"claude-sonnet-4-6");
    EXPECT_FALSE(wasStored);
}

TEST_F(SettingsWritingTest, AnUnknownModelAssignedLaterIsKept)
{
    settings.openAIModel.set(QStringLiteral("gpt-4o"));

    EXPECT_EQ(settings.openAIModel.value(), u"gpt-4o");
    EXPECT_THAT(takeWrite(), Pair(QStringLiteral("openAIModel"), QJsonValue(QStringLiteral("gpt-4o"))));
}

TEST_F(SettingsWritingTest, SwitchingTheProviderRestoresItsModel)
{
    settings.anthropicModel.set(QStringLiteral("mine"));
    settings.selectedProvider.set(QStringLiteral("openai"));
    settings.openAIModel.set(QStringLiteral("gpt-5.4"));
    settings.selectedProvider.set(QStringLiteral("anthropic"));

    EXPECT_EQ(settings.anthropicModel.value(), u"mine");
    EXPECT_EQ(settings.openAIModel.value(), u"gpt-5.4");
}

TEST_F(SettingsWritingTest, ANewKeyIsUpdatedThenAdded)
{
    settings.keychainWrite(KeychainAccount::OpenAI, QStringLiteral("clé"));

    EXPECT_THAT(keychain->calls,
                ElementsAre(u"update app.velmo.Velmo/apiKey.openai", u"add app.velmo.Velmo/apiKey.openai"));
    EXPECT_EQ(keychain->items.value(item(KeychainAccount::OpenAI)), QByteArray("cl\xC3\xA9"));
}

TEST_F(SettingsWritingTest, AnExistingKeyIsOnlyUpdated)
{
    keychain->items.insert(item(KeychainAccount::Anthropic), "old");
    settings.keychainWrite(KeychainAccount::Anthropic, QStringLiteral("new"));

    EXPECT_THAT(keychain->calls, ElementsAre(u"update app.velmo.Velmo/apiKey.anthropic"));
    EXPECT_EQ(settings.keychainRead(KeychainAccount::Anthropic), QStringLiteral("new"));
}

TEST_F(SettingsWritingTest, NoOtherFailureAddsAKey)
{
    keychain->isAvailable = false;
    settings.keychainWrite(KeychainAccount::Replicate, QStringLiteral("token"));

    EXPECT_THAT(keychain->calls, ElementsAre(u"update app.velmo.Velmo/apiKey.replicate"));
}

TEST_F(SettingsWritingTest, AnEmptyKeyIsStoredAsAnEmptyItem)
{
    keychain->items.insert(item(KeychainAccount::Anthropic), "old");
    settings.keychainWrite(KeychainAccount::Anthropic, QString());

    EXPECT_TRUE(keychain->items.contains(item(KeychainAccount::Anthropic)));
    EXPECT_EQ(settings.keychainRead(KeychainAccount::Anthropic), QString());
}

TEST_F(SettingsWritingTest, TextWithoutAUtf8FormIsNotStored)
{
    settings.keychainWrite(KeychainAccount::Anthropic, QString(QChar(0xD83D)));

    EXPECT_THAT(keychain->calls, IsEmpty());
}

TEST_F(SettingsWritingTest, KeysAreReadEachTime)
{
    EXPECT_EQ(settings.keychainRead(KeychainAccount::Anthropic), std::nullopt);
    keychain->items.insert(item(KeychainAccount::Anthropic), "one");
    EXPECT_EQ(settings.keychainRead(KeychainAccount::Anthropic), QStringLiteral("one"));
    keychain->items.insert(item(KeychainAccount::Anthropic), "two");
    EXPECT_EQ(settings.keychainRead(KeychainAccount::Anthropic), QStringLiteral("two"));
}

TEST_F(SettingsWritingTest, DataThatIsNoTextIsNoKey)
{
    keychain->items.insert(item(KeychainAccount::Anthropic), "\xFF\xFE");
    EXPECT_EQ(settings.keychainRead(KeychainAccount::Anthropic), std::nullopt);
}

TEST_F(SettingsWritingTest, ReadingTheKeyStoreIgnoresTheEnvironment)
{
    environment.anthropicKey.assign(QByteArray("from-environment"));
    EXPECT_EQ(settings.keychainRead(KeychainAccount::Anthropic), std::nullopt);
}

TEST_F(SettingsWritingTest, TheKeyStoreComesBeforeTheEnvironment)
{
    environment.anthropicKey.assign(QByteArray("from-environment"));
    EXPECT_EQ(settings.effectiveKey(KeychainAccount::Anthropic), QStringLiteral("from-environment"));
    keychain->items.insert(item(KeychainAccount::Anthropic), "");
    EXPECT_EQ(settings.effectiveKey(KeychainAccount::Anthropic), QStringLiteral("from-environment"));
    keychain->items.insert(item(KeychainAccount::Anthropic), "stored");
    EXPECT_EQ(settings.effectiveKey(KeychainAccount::Anthropic), QStringLiteral("stored"));
}

TEST_F(SettingsWritingTest, ALineEndIsNoPartOfAKey)
{
    const auto store = [this](const QByteArray& value) {
        keychain->items.insert(item(KeychainAccount::Anthropic), value);
    };
    store(" k \r\n\n");
    EXPECT_EQ(settings.effectiveKey(KeychainAccount::Anthropic), QStringLiteral(" k "));
    EXPECT_EQ(settings.keySource(KeychainAccount::Anthropic), KeySource::Keychain);
    EXPECT_EQ(settings.keychainRead(KeychainAccount::Anthropic), QStringLiteral(" k \r\n\n"));
    store("\r\n");
    EXPECT_EQ(settings.effectiveKey(KeychainAccount::Anthropic), std::nullopt);
    EXPECT_EQ(settings.keySource(KeychainAccount::Anthropic), KeySource::None);
}

TEST_F(SettingsWritingTest, TheSourceOfAKeyIsKnown)
{
    EXPECT_EQ(settings.keySource(KeychainAccount::Anthropic), KeySource::None);
    environment.anthropicKey.assign(QByteArray("from-environment"));
    EXPECT_EQ(settings.keySource(KeychainAccount::Anthropic), KeySource::Environment);
    EXPECT_EQ(settings.keySource(KeychainAccount::OpenAI), KeySource::None);
    keychain->items.insert(item(KeychainAccount::Anthropic), "");
    EXPECT_EQ(settings.keySource(KeychainAccount::Anthropic), KeySource::Environment);
    keychain->items.insert(item(KeychainAccount::Anthropic), "stored");
    EXPECT_EQ(settings.keySource(KeychainAccount::Anthropic), KeySource::Keychain);
    keychain->isAvailable = false;
    EXPECT_EQ(settings.keySource(KeychainAccount::Anthropic), KeySource::Environment);
}

TEST_F(SettingsWritingTest, WhoeverAsksLearnsHowAWriteEnded)
{
    EXPECT_EQ(settings.keychainWrite(KeychainAccount::OpenAI, QStringLiteral("a")),
              Keychain::Status::Success);
    EXPECT_EQ(settings.keychainWrite(KeychainAccount::OpenAI, QStringLiteral("b")),
              Keychain::Status::Success);
    keychain->isAvailable = false;
    EXPECT_EQ(settings.keychainWrite(KeychainAccount::OpenAI, QStringLiteral("c")),
              Keychain::Status::Unavailable);
}

TEST_F(SettingsWritingTest, EachAccountHasItsOwnVariable)
{
    environment.anthropicKey.assign(QByteArray("a"));
    environment.openAIKey.assign(QByteArray("o"));
    environment.replicateToken.assign(QByteArray("r"));

    EXPECT_EQ(settings.effectiveKey(KeychainAccount::Anthropic), QStringLiteral("a"));
    EXPECT_EQ(settings.effectiveKey(KeychainAccount::OpenAI), QStringLiteral("o"));
    EXPECT_EQ(settings.effectiveKey(KeychainAccount::Replicate), QStringLiteral("r"));
}

TEST_F(SettingsWritingTest, ABlankVariableIsNoKey)
{
    EXPECT_EQ(settings.effectiveKey(KeychainAccount::OpenAI), std::nullopt);
    environment.openAIKey.assign(QByteArray(""));
    EXPECT_EQ(settings.effectiveKey(KeychainAccount::OpenAI), std::nullopt);
    environment.openAIKey.assign(QByteArray(" \n"));
    EXPECT_EQ(settings.effectiveKey(KeychainAccount::OpenAI), std::nullopt);
}

TEST_F(SettingsWritingTest, AModelFromTheEnvironmentNeedsAServerFromThere)
{
    settings.openAIModel.set(QStringLiteral("gpt-5.4"));
    environment.openAIModel.assign(QByteArray("local"));
    EXPECT_EQ(settings.effectiveModel(ProviderID::OpenAI), u"gpt-5.4");
    environment.openAIUrl.assign(QByteArray("http://localhost:1/v1"));
    EXPECT_EQ(settings.effectiveModel(ProviderID::OpenAI), u"local");
    EXPECT_EQ(settings.openAIModel.value(), u"gpt-5.4");
    environment.openAIModel.assign(QByteArray(" "));
    EXPECT_EQ(settings.effectiveModel(ProviderID::OpenAI), u"gpt-5.4");
}

TEST_F(SettingsWritingTest, EachProviderHasItsOwnModelVariable)
{
    environment.openAIUrl.assign(QByteArray("http://localhost:1/v1"));
    environment.openAIModel.assign(QByteArray("local"));
    EXPECT_EQ(settings.effectiveModel(ProviderID::Anthropic), u"claude-sonnet-4-6");
    EXPECT_EQ(settings.effectiveModel(QStringLiteral("unknown")), u"claude-sonnet-4-6");
    environment.anthropicUrl.assign(QByteArray("http://localhost:1"));
    environment.anthropicModel.assign(QByteArray("other"));
    EXPECT_EQ(settings.effectiveModel(QStringLiteral("unknown")), u"other");
}

TEST(SharedSettingsTest, IsOneStoreMadeAtItsFirstUse)
{
    const auto defaults = std::make_shared<InMemoryDefaults>();
    SettingsManager::installStores(defaults, std::make_shared<FakeKeychain>());
    EXPECT_THAT(defaults->writes, IsEmpty());
    const auto shared = SettingsManager::shared();

    EXPECT_EQ(defaults->writes.size(), 2U);
    EXPECT_EQ(SettingsManager::shared(), shared);
    EXPECT_EQ(defaults->writes.size(), 2U);
}

TEST_F(SettingsWritingTest, TheEndOfALateWriteIsToldToWhoeverSubscribed)
{
    std::vector<std::pair<QString, Keychain::Status>> told;
    auto subscription = settings.subscribeToLateWrites(
        [&told](const QString& account, Keychain::Status status) { told.emplace_back(account, status); });
    keychain->onLateWrite(KeychainAccount::OpenAI, Keychain::Status::Success);
    EXPECT_THAT(told, ElementsAre(Pair(KeychainAccount::OpenAI, Keychain::Status::Success)));

    subscription.cancel();
    keychain->onLateWrite(KeychainAccount::OpenAI, Keychain::Status::Unavailable);
    EXPECT_EQ(told.size(), 1U);
}

TEST_F(SettingsWritingTest, ALateWriteMayEndAfterTheSettingsAreGone)
{
    int told = 0;
    auto later = std::make_unique<SettingsManager>(defaults, keychain);
    const auto subscription =
        later->subscribeToLateWrites([&told](const QString&, Keychain::Status) { ++told; });
    later.reset();
    keychain->onLateWrite(KeychainAccount::OpenAI, Keychain::Status::Success);
    EXPECT_EQ(told, 0);
}

TEST_F(SettingsWritingTest, TheKeyStoreSaysWhetherItIsThere)
{
    EXPECT_EQ(settings.keychainAvailability(), Keychain::Availability::Available);
    keychain->isAvailable = false;
    EXPECT_EQ(settings.keychainAvailability(), Keychain::Availability::NoService);
}

} // namespace
} // namespace velmo
