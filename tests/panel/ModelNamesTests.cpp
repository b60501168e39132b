#include "panel/ModelNames.h"
#include "support/core/SessionTest.h"

namespace velmo {
namespace {

TEST(ModelNames, KnownModelsHaveNamesAndOthersAreShownAsTheyAre)
{
    const std::vector<std::pair<QString, QString>> names{
        {QStringLiteral("claude-opus-4-6"), QStringLiteral("Opus 4.6")},
        {QStringLiteral("claude-sonnet-4-6"), QStringLiteral("Sonnet 4.6")},
        {QStringLiteral("claude-haiku-4-5-20251001"), QStringLiteral("Haiku 4.5")},
        {QStringLiteral("gpt-5.4"), QStringLiteral("GPT-5.4")},
        {QStringLiteral("gpt-5.4-mini"), QStringLiteral("GPT-5.4 mini")},
        {QStringLiteral("gpt-5.4-nano"), QStringLiteral("GPT-5.4 nano")},
        {QStringLiteral("llama-local"), QStringLiteral("llama-local")},
        {QString(), QString()},
    };
    for (const auto& [model, name] : names)
        EXPECT_EQ(modelDisplayName(model), name);
}

class ModelPillTitle : public SessionTest {};

TEST_F(ModelPillTitle, NamesTheSelectedProvidersModel)
{
    settings->anthropicModel.set(QStringLiteral("claude-opus-4-6"));
    settings->openAIModel.set(QStringLiteral("gpt-5.4-mini"));
    settings->selectedProvider.set(ProviderID::Anthropic);
    EXPECT_EQ(modelPillTitle(*settings), QStringLiteral("Opus 4.6"));
    settings->selectedProvider.set(ProviderID::OpenAI);
    EXPECT_EQ(modelPillTitle(*settings), QStringLiteral("GPT-5.4 mini"));
}

TEST_F(ModelPillTitle, TakesAnyOtherProviderForOpenAI)
{
    settings->openAIModel.set(QStringLiteral("gpt-5.4-nano"));
    settings->selectedProvider.set(QStringLiteral("somebody"));
    EXPECT_EQ(modelPillTitle(*settings), QStringLiteral("GPT-5.4 nano"));
}

TEST_F(ModelPillTitle, InvitesToConfigureWithoutAnyKey)
{
    putKey(KeychainAccount::Anthropic, QByteArray());
    keychain->items.remove(FakeKeychain::name(QStringLiteral("app.velmo.Velmo"), KeychainAccount::OpenAI));
    EXPECT_EQ(modelPillTitle(*settings), QStringLiteral("Configure API keys"));
    putKey(KeychainAccount::OpenAI, QByteArrayLiteral("key"));
    EXPECT_NE(modelPillTitle(*settings), QStringLiteral("Configure API keys"));
}

} // namespace
} // namespace velmo
