#include "core/SettingsManager.h"
#include "core/Text.h"
#include "fakes/FakeKeychain.h"
#include "fakes/InMemoryDefaults.h"
#include "support/core/Printing.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velmo {
namespace {

const QString kDefaultPrompt = QStringLiteral("Shorter answers are generally better than longer.");

const QString kFirstEarlier = QStringLiteral(
    "You are a helpful visual assistant. The user has annotated a screenshot to highlight something "
    "specific. Answer concisely and clearly.");
const QString kIntroduction = QStringLiteral(
    "You are given an annotated screenshot of the user's screen. They are asking a contextual question.\n\n");
const QString kQuestionAndStyle = QStringLiteral("Question: {{input}}\n\nBe brief when answering. Do not "
                                                 "tell users about the context that was given to you, that a "
                                                 "spot was highlighted. They already know. Just directly "
                                                 "answer the question. Shorter answers are generally better "
                                                 "than longer ones.");
const QString kSecondEarlier = kIntroduction + kQuestionAndStyle;
const QString kThirdEarlier = kIntroduction +
                              QStringLiteral("There is usually a lot of information on the screen. Do use "
                                             "them to understand the context but focus on the "
                                             "region highlighted in red, this is what the user has put an "
                                             "emphasis on.\n\nThe highlight might not fully "
                                             "cover the elements that are relevant to the task. Consider it "
                                             "a focal point, not an exact mask.\n\n") +
                              kQuestionAndStyle;
const QString kBase = QStringLiteral("You are given an annotated screenshot of the user's screen. The "
                                     "screenshot contains a red marked area, that is "
                                     "where you should place your focus on in order to answer the question. "
                                     "You must not mention the screen capture "
                                     "directly to users. If needed just refer to 'the screen'. That's less "
                                     "technical and contains enough information. "
                                     "You should almost never have to do it. Focus on answering the question "
                                     "asked. All the contextual input is "
                                     "provided for you to give a good answer.");

class SettingsPromptTest : public testing::Test {
protected:
    [[nodiscard]] std::unique_ptr<SettingsManager> load() const
    {
        return std::make_unique<SettingsManager>(defaults, std::make_shared<FakeKeychain>());
    }
    [[nodiscard]] std::unique_ptr<SettingsManager> loadWith(const QString& prompt) const
    {
        defaults->values.insert(QStringLiteral("systemPrompt"), prompt);
        return load();
    }

    const std::shared_ptr<InMemoryDefaults> defaults = std::make_shared<InMemoryDefaults>();
};

TEST_F(SettingsPromptTest, TheTextsHaveTheirKnownLengths)
{
    // A slip in copying a prompt into this test would go unseen otherwise.
    EXPECT_EQ(characterCount(kFirstEarlier), 134);
    EXPECT_EQ(characterCount(kSecondEarlier), 342);
    EXPECT_EQ(characterCount(kThirdEarlier), 651);
    EXPECT_EQ(characterCount(kBase), 478);
}

TEST_F(SettingsPromptTest, EarlierDefaultsBecomeTodaysInMemoryOnly)
{
    for (const QString& earlier : {kFirstEarlier, kSecondEarlier, kThirdEarlier}) {
        EXPECT_EQ(loadWith(earlier)->systemPrompt.value(), kDefaultPrompt);
        EXPECT_EQ(defaults->object(QStringLiteral("systemPrompt")), QJsonValue(earlier));
    }
}

TEST_F(SettingsPromptTest, APromptThatDiffersByOneCharacterIsKept)
{
    for (const QString& earlier : {kFirstEarlier, kSecondEarlier, kThirdEarlier}) {
        for (const QString& edited : {earlier + u' ', u' ' + earlier, earlier.chopped(1), earlier.toUpper()})
            EXPECT_EQ(loadWith(edited)->systemPrompt.value(), edited);
    }
}

TEST_F(SettingsPromptTest, AnEmptyPromptIsKept)
{
    const auto settings = loadWith(QString());
    EXPECT_EQ(settings->systemPrompt.value(), QString());
    EXPECT_EQ(settings->effectiveSystemPrompt(), kBase);
}

TEST_F(SettingsPromptTest, TheDefaultGuidanceFollowsTheBase)
{
    EXPECT_EQ(load()->effectiveSystemPrompt(), kBase + QStringLiteral("\n\n") + kDefaultPrompt);
}

TEST_F(SettingsPromptTest, GuidanceOfWhiteSpaceOnlyCountsAsNone)
{
    for (const char16_t* blank : {u"", u" ", u"\n", u" \t\r\n \n", u"\u00A0\u2003\u2028\u0085"})
        EXPECT_EQ(loadWith(QString::fromUtf16(blank))->effectiveSystemPrompt(), kBase);
}

TEST_F(SettingsPromptTest, GuidanceIsTrimmedForTheModelOnly)
{
    const QString typed = QStringLiteral("\n  Be kind.\n\nAnd  short. \u00A0\n");
    const auto settings = load();
    settings->systemPrompt.set(typed);

    EXPECT_EQ(settings->effectiveSystemPrompt(), kBase + QStringLiteral("\n\nBe kind.\n\nAnd  short."));
    EXPECT_EQ(settings->systemPrompt.value(), typed);
    EXPECT_EQ(defaults->object(QStringLiteral("systemPrompt")), QJsonValue(typed));
}

TEST_F(SettingsPromptTest, AnEarlierDefaultTypedAgainIsTheUsersOwn)
{
    const auto settings = load();
    settings->systemPrompt.set(kFirstEarlier);

    EXPECT_EQ(settings->systemPrompt.value(), kFirstEarlier);
    EXPECT_EQ(settings->effectiveSystemPrompt(), kBase + QStringLiteral("\n\n") + kFirstEarlier);
}

} // namespace
} // namespace velmo
