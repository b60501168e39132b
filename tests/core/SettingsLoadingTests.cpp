// What the settings make of what is stored, at the first launch and after upgrades.

#include "core/SettingsManager.h"
#include "fakes/FakeKeychain.h"
#include "fakes/InMemoryDefaults.h"
#include "support/core/Printing.h"

#include <QJsonArray>
#include <QJsonObject>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

namespace velmo {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

const QString kCurrentVersion =
    QStringLiteral("3ab86df6c8f54c11309d4d1f930ac292bad43ace52d10c80d87eb258b3c9f79c");

class SettingsLoadingTest : public testing::Test {
protected:
    void store(const char* key, const QJsonValue& value) const
    {
        defaults->values.insert(QString::fromLatin1(key), value);
    }

    std::unique_ptr<SettingsManager> load() const
    {
        return std::make_unique<SettingsManager>(defaults, std::make_shared<FakeKeychain>());
    }

    [[nodiscard]] std::vector<InMemoryDefaults::Write> writesTo(const char* key) const
    {
        std::vector<InMemoryDefaults::Write> result;
        for (const auto& write : defaults->writes) {
            if (write.first == QString::fromLatin1(key))
                result.push_back(write);
        }
        return result;
    }

    const std::shared_ptr<InMemoryDefaults> defaults = std::make_shared<InMemoryDefaults>();
};

TEST_F(SettingsLoadingTest, AnEmptyStoreGivesTheDefaults)
{
    const auto settings = load();

    EXPECT_EQ(settings->selectedProvider.value(), u"anthropic");
    EXPECT_EQ(settings->anthropicModel.value(), u"claude-sonnet-4-6");
    EXPECT_EQ(settings->openAIModel.value(), u"gpt-5.4-mini");
    EXPECT_EQ(settings->systemPrompt.value(), u"Shorter answers are generally better than longer.");
    EXPECT_EQ(settings->replicateModelVersion.value(), kCurrentVersion);
    EXPECT_EQ(settings->submitMode.value(), SubmitMode::SingleStroke);
    EXPECT_EQ(settings->hotkeyKeyCode.value(), 49);
    EXPECT_EQ(settings->hotkeyModifiers.value(), 786432);
    EXPECT_EQ(settings->quickDrawModifiers.value(), 1572864);
    EXPECT_TRUE(settings->quickDrawMiddleMouseEnabled.value());
    EXPECT_FALSE(settings->hasCompletedOnboarding.value());
    EXPECT_EQ(settings->settingsSelectedTab.value(), 0);
    EXPECT_EQ(settings->keychainService, u"app.velmo.Velmo");
}

TEST_F(SettingsLoadingTest, TheFirstLaunchStoresExactlyTwoKeys)
{
    load();

    EXPECT_THAT(defaults->writes,
                ElementsAre(Pair(QStringLiteral("openAIModel"), QJsonValue(QStringLiteral("gpt-5.4-mini"))),
                            Pair(QStringLiteral("replicateModelVersion"), QJsonValue(kCurrentVersion))));
}

TEST_F(SettingsLoadingTest, ALaterLaunchStoresNothing)
{
    load();
    defaults->writes.clear();
    load();

    EXPECT_THAT(defaults->writes, IsEmpty());
}

TEST_F(SettingsLoadingTest, StoredChoicesAreKept)
{
    store("selectedProvider", QStringLiteral("openai"));
    store("anthropicModel", QStringLiteral("claude-opus"));
    store("openAIModel", QStringLiteral("gpt-5.4-nano"));
    store("systemPrompt", QStringLiteral(" Be kind. "));
    store("replicateModelVersion", QStringLiteral("0123abc"));
    store("submitMode", QStringLiteral("manualSubmit"));
    store("hotkeyKeyCode", 36);
    store("hotkeyModifiers", 0x20000);
    store("quickDrawModifiers", 0);
    store("quickDrawMiddleMouseEnabled", false);
    store("hasCompletedOnboarding", true);
    store("settingsSelectedTab", 3);
    const auto settings = load();

    EXPECT_EQ(settings->selectedProvider.value(), u"openai");
    EXPECT_EQ(settings->anthropicModel.value(), u"claude-opus");
    EXPECT_EQ(settings->openAIModel.value(), u"gpt-5.4-nano");
    EXPECT_EQ(settings->systemPrompt.value(), u" Be kind. ");
    EXPECT_EQ(settings->replicateModelVersion.value(), u"0123abc");
    EXPECT_EQ(settings->submitMode.value(), SubmitMode::ManualSubmit);
    EXPECT_EQ(settings->hotkeyKeyCode.value(), 36);
    EXPECT_EQ(settings->hotkeyModifiers.value(), 0x20000);
    EXPECT_EQ(settings->quickDrawModifiers.value(), 0);
    EXPECT_FALSE(settings->quickDrawMiddleMouseEnabled.value());
    EXPECT_TRUE(settings->hasCompletedOnboarding.value());
    EXPECT_EQ(settings->settingsSelectedTab.value(), 0) << "the tab is not a stored choice";
    EXPECT_THAT(defaults->writes, IsEmpty());
}

TEST_F(SettingsLoadingTest, ProviderAndAnthropicModelAreNotValidated)
{
    store("selectedProvider", QStringLiteral("somebody else"));
    store("anthropicModel", QString());
    const auto settings = load();

    EXPECT_EQ(settings->selectedProvider.value(), u"somebody else");
    EXPECT_EQ(settings->anthropicModel.value(), QString());
}

TEST_F(SettingsLoadingTest, SupportedOpenAIModelsStay)
{
    EXPECT_THAT(SettingsManager::supportedOpenAIModels(),
                ElementsAre(u"gpt-5.4", u"gpt-5.4-mini", u"gpt-5.4-nano"));
    for (const QString& model : SettingsManager::supportedOpenAIModels()) {
        store("openAIModel", model);
        EXPECT_EQ(load()->openAIModel.value(), model);
        EXPECT_THAT(writesTo("openAIModel"), IsEmpty());
    }
}

TEST_F(SettingsLoadingTest, RetiredAndUnknownOpenAIModelsAreReplacedAndStored)
{
    for (const char* model :
         {"gpt-4o", "gpt-4o-mini", "gpt-4-turbo", "gpt-5", "gpt-5-mini", "gpt-5-nano", "gpt-5.2", "gpt-4.1",
          "gpt-4.1-mini", "unheard-of", "", "GPT-5.4", "gpt-5.4 "}) {
        store("openAIModel", QString::fromLatin1(model));
        defaults->writes.clear();
        EXPECT_EQ(load()->openAIModel.value(), u"gpt-5.4-mini") << model;
        EXPECT_THAT(writesTo("openAIModel"), ElementsAre(Pair(QStringLiteral("openAIModel"),
                                                              QJsonValue(QStringLiteral("gpt-5.4-mini")))));
    }
    EXPECT_EQ(SettingsManager::migratedOpenAIModel(std::nullopt), u"gpt-5.4-mini");
}

TEST_F(SettingsLoadingTest, RetiredSpeechModelsAreReplacedAndStored)
{
    EXPECT_THAT(SettingsManager::legacyReplicateWhisperVersions(),
                ElementsAre(u"4d50797290df275329f202e48c76360b3f22b08d2008d9515f1c718f2982c5c5",
                            u"8099696689d249cf8b122d833c36ac3f75505c666a395ca40ef26f68e7d3d16e"));
    QStringList retired = SettingsManager::legacyReplicateWhisperVersions();
    retired.append(QString());
    for (const QString& version : retired) {
        store("replicateModelVersion", version);
        defaults->writes.clear();
        EXPECT_EQ(load()->replicateModelVersion.value(), kCurrentVersion);
        EXPECT_THAT(writesTo("replicateModelVersion"),
                    ElementsAre(Pair(QStringLiteral("replicateModelVersion"), QJsonValue(kCurrentVersion))));
    }
}

TEST_F(SettingsLoadingTest, AnyOtherWordMeansSingleStroke)
{
    for (const char* word : {"singleStroke", "", "ManualSubmit", "manualSubmit ", "unknown"}) {
        store("submitMode", QString::fromLatin1(word));
        EXPECT_EQ(load()->submitMode.value(), SubmitMode::SingleStroke) << word;
    }
    EXPECT_EQ(rawValue(SubmitMode::SingleStroke), u"singleStroke");
    EXPECT_EQ(rawValue(SubmitMode::ManualSubmit), u"manualSubmit");
}

TEST_F(SettingsLoadingTest, HotkeyValuesOfOtherTypesAreCoerced)
{
    const std::vector<std::pair<QJsonValue, qint64>> cases{{QStringLiteral("36"), 36},
                                                           {QStringLiteral("abc"), 0},
                                                           {true, 1},
                                                           {false, 0},
                                                           {3.7, 3},
                                                           {-3.7, -3},
                                                           {QString(), 0},
                                                           {QStringLiteral(" 12px"), 12},
                                                           {QStringLiteral("-7"), -7},
                                                           {QJsonArray(), 0},
                                                           {QJsonObject(), 0},
                                                           {0, 0},
                                                           {QStringLiteral("0x10"), 0},
                                                           {1e300, std::numeric_limits<qint64>::max()}};
    for (const auto& [stored, expected] : cases) {
        store("hotkeyKeyCode", stored);
        store("hotkeyModifiers", stored);
        const auto settings = load();
        EXPECT_EQ(settings->hotkeyKeyCode.value(), expected) << testing::PrintToString(stored);
        EXPECT_EQ(settings->hotkeyModifiers.value(), expected) << testing::PrintToString(stored);
    }
    store("hotkeyKeyCode", QJsonValue(QJsonValue::Null));
    EXPECT_EQ(load()->hotkeyKeyCode.value(), 49);
}

TEST_F(SettingsLoadingTest, OnlyATrueIntegerCountsForTheChord)
{
    for (const QJsonValue& other :
         {QJsonValue(QStringLiteral("1572864")), QJsonValue(true), QJsonValue(false), QJsonValue(3.7),
          QJsonValue(QJsonArray{1}), QJsonValue(QJsonObject())}) {
        store("quickDrawModifiers", other);
        store("cmdMiddleClickEnabled", false);
        EXPECT_EQ(load()->quickDrawModifiers.value(), 0) << testing::PrintToString(other);
        store("cmdMiddleClickEnabled", true);
        EXPECT_EQ(load()->quickDrawModifiers.value(), 1572864) << testing::PrintToString(other);
    }
}

TEST_F(SettingsLoadingTest, TheEarlierSwitchDecidesOverTheChordOnly)
{
    store("cmdMiddleClickEnabled", false);
    const auto off = load();
    EXPECT_EQ(off->quickDrawModifiers.value(), 0);
    EXPECT_TRUE(off->quickDrawMiddleMouseEnabled.value());

    store("cmdMiddleClickEnabled", true);
    EXPECT_EQ(load()->quickDrawModifiers.value(), 1572864);
    EXPECT_THAT(writesTo("quickDrawModifiers"), IsEmpty());
    EXPECT_THAT(writesTo("cmdMiddleClickEnabled"), IsEmpty());
    EXPECT_EQ(defaults->object(QStringLiteral("cmdMiddleClickEnabled")), QJsonValue(true));
}

TEST_F(SettingsLoadingTest, AStoredChordWinsOverTheEarlierSwitch)
{
    store("cmdMiddleClickEnabled", false);
    store("quickDrawModifiers", 0x20000);
    EXPECT_EQ(load()->quickDrawModifiers.value(), 0x20000);

    store("cmdMiddleClickEnabled", true);
    store("quickDrawModifiers", 0);
    EXPECT_EQ(load()->quickDrawModifiers.value(), 0);
}

TEST_F(SettingsLoadingTest, TruthsOfOtherTypesAreCoerced)
{
    const std::vector<std::pair<QJsonValue, bool>> cases{{0, false},
                                                         {1, true},
                                                         {-2, true},
                                                         {0.5, true},
                                                         {QString(), false},
                                                         {QStringLiteral("NO"), false},
                                                         {QStringLiteral("YES"), true},
                                                         {QStringLiteral("true"), true},
                                                         {QStringLiteral("1"), true},
                                                         {QStringLiteral("0"), false},
                                                         {QJsonArray(), false}};
    for (const auto& [stored, expected] : cases) {
        store("quickDrawMiddleMouseEnabled", stored);
        store("hasCompletedOnboarding", stored);
        const auto settings = load();
        EXPECT_EQ(settings->quickDrawMiddleMouseEnabled.value(), expected) << testing::PrintToString(stored);
        EXPECT_EQ(settings->hasCompletedOnboarding.value(), expected) << testing::PrintToString(stored);
    }
}

TEST_F(SettingsLoadingTest, TextsOfOtherTypesFallBackToTheDefaults)
{
    for (const char* key : {"selectedProvider", "anthropicModel", "openAIModel", "systemPrompt",
                            "replicateModelVersion", "submitMode"})
        store(key, QJsonArray{1});
    const auto settings = load();

    EXPECT_EQ(settings->selectedProvider.value(), u"anthropic");
    EXPECT_EQ(settings->anthropicModel.value(), u"claude-sonnet-4-6");
    EXPECT_EQ(settings->openAIModel.value(), u"gpt-5.4-mini");
    EXPECT_EQ(settings->systemPrompt.value(), u"Shorter answers are generally better than longer.");
    EXPECT_EQ(settings->replicateModelVersion.value(), kCurrentVersion);
    EXPECT_EQ(settings->submitMode.value(), SubmitMode::SingleStroke);
}

} // namespace
} // namespace velmo
