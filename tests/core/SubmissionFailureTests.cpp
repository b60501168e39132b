#include "support/core/SessionTest.h"

namespace velmo {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class SubmissionFailureTest : public SessionTest {
protected:
    void reachFirstQuestion()
    {
        drawAndAdvance();
        deliverCapture("first");
        log.takeSession();
    }

    void fail(StreamFailure failure)
    {
        anthropic.requests.back().answer.fail(std::move(failure));
        settle();
    }

    void forgetKeys() const { keychain->items.clear(); }
};

const QString kNoAnthropicKey = QStringLiteral("Error: No Anthropic API key configured. Add it in Settings.");
const QString kNoOpenAIKey = QStringLiteral("Error: No OpenAI API key configured. Add it in Settings.");

TEST_F(SubmissionFailureTest, AMissingAnthropicKeyIsTold)
{
    forgetKeys();
    reachFirstQuestion();
    ask(QStringLiteral("typed"));

    EXPECT_THAT(transcript(),
                ElementsAre(u"user: <Screenshot first>", QStringLiteral("assistant: ") + kNoAnthropicKey));
    EXPECT_EQ(session->streamedResponse().value(), kNoAnthropicKey);
    EXPECT_EQ(state(), SessionState::Querying);
    EXPECT_THAT(anthropic.requests, IsEmpty());
    const QStringList lines = log.takeSession();
    ASSERT_THAT(lines, SizeIs(2));
    EXPECT_TRUE(lines[0].startsWith(u"Submitting query provider=anthropic "));
    EXPECT_EQ(lines[1], u"Anthropic API key missing");
}

TEST_F(SubmissionFailureTest, AMissingOpenAIKeyIsTold)
{
    settings->selectedProvider.set(QStringLiteral("openai"));
    keychain->items.remove(FakeKeychain::name(settings->keychainService, KeychainAccount::OpenAI));
    reachFirstQuestion();
    ask(QStringLiteral("typed"));

    EXPECT_EQ(transcript().last(), QStringLiteral("assistant: ") + kNoOpenAIKey);
    EXPECT_EQ(session->streamedResponse().value(), kNoOpenAIKey);
    EXPECT_EQ(log.takeSession().last(), u"OpenAI API key missing");
    EXPECT_THAT(openAI.requests, IsEmpty());
    EXPECT_THAT(anthropic.requests, IsEmpty()) << "the other vendor's key does not stand in";
}

TEST_F(SubmissionFailureTest, AnEmptyKeyCountsAsMissing)
{
    putKey(KeychainAccount::Anthropic, "");
    reachFirstQuestion();
    ask(QStringLiteral("typed"));

    EXPECT_EQ(log.takeSession().last(), u"Anthropic API key missing");
}

TEST_F(SubmissionFailureTest, AKeyStoreThatDoesNotAnswerCountsAsMissing)
{
    keychain->isAvailable = false;
    reachFirstQuestion();
    ask(QStringLiteral("typed"));

    EXPECT_EQ(log.takeSession().last(), u"Anthropic API key missing");
}

TEST_F(SubmissionFailureTest, AKeyFromTheEnvironmentServes)
{
    forgetKeys();
    environment.anthropicKey.assign(QByteArray("from-environment"));
    reachFirstQuestion();
    ask(QStringLiteral("Q"));

    ASSERT_THAT(anthropic.requests, SizeIs(1));
    EXPECT_EQ(anthropic.requests[0].apiKey, u"from-environment");
}

TEST_F(SubmissionFailureTest, AfterAMissingKeyTheNextQuestionIsStillTheFirst)
{
    forgetKeys();
    reachFirstQuestion();
    ask(QStringLiteral("lost"));
    putKey(KeychainAccount::Anthropic, "new-key");
    ask(QStringLiteral("Q1"));

    EXPECT_THAT(sent(anthropic.requests.at(0)), ElementsAre(u"user: Q1 <first>"));
    EXPECT_TRUE(log.takeSession().last().endsWith(u" isFirstTurn=true"));
}

TEST_F(SubmissionFailureTest, AMissingKeyLeavesADictatedMessageAsItIs)
{
    forgetKeys();
    reachFirstQuestion();
    const QUuid pending = session->appendPendingUserMessage(QStringLiteral("Transcribing…"));
    session->replaceChatMessage(pending, QStringLiteral("spoken"), false);
    session->submit(QStringLiteral("spoken"), pending);
    settle();

    EXPECT_THAT(transcript(), ElementsAre(u"user: <Screenshot first>", u"user: spoken",
                                          QStringLiteral("assistant: ") + kNoAnthropicKey));
}

TEST_F(SubmissionFailureTest, AMissingKeyWithoutACaptureIsLoggedWithZeroBytes)
{
    forgetKeys();
    drawAndAdvance();
    capture.fail(0, QStringLiteral("none"));
    settle();
    log.takeSession();
    ask(QStringLiteral("Q"));

    EXPECT_TRUE(log.takeSession().first().endsWith(u" screenshotBytes=0"));
}

TEST_F(SubmissionFailureTest, AnErrorWithoutTextStandsAlone)
{
    reachFirstQuestion();
    ask(QStringLiteral("Q1"));
    log.takeSession();
    fail(LLMError::httpError(429, QStringLiteral("{\"error\":\"slow %1 down\"}")));

    const QString text = QStringLiteral("[Error: HTTP error 429: {\"error\":\"slow %1 down\"}]");
    EXPECT_EQ(transcript().last(), QStringLiteral("assistant: ") + text);
    EXPECT_EQ(session->streamedResponse().value(), text);
    EXPECT_EQ(state(), SessionState::Querying);
    EXPECT_THAT(log.takeSession(),
                ElementsAre(u"Streaming task failed error=HTTP error 429: {\"error\":\"slow %1 down\"}"));
}

TEST_F(SubmissionFailureTest, AnErrorAfterSomeTextFollowsABlankLine)
{
    reachFirstQuestion();
    ask(QStringLiteral("Q1"));
    anthropic.requests.at(0).answer.push({QStringLiteral("Some"), QStringLiteral(" text")});
    fail(HttpError{HttpErrorKind::ConnectionLost, QStringLiteral("The connection was lost.")});

    const QString text = QStringLiteral("Some text\n\n[Error: The connection was lost.]");
    EXPECT_EQ(transcript().last(), QStringLiteral("assistant: ") + text);
    EXPECT_EQ(session->streamedResponse().value(), text);
    EXPECT_EQ(log.takeSession().last(), u"Streaming task failed error=The connection was lost.");
}

TEST_F(SubmissionFailureTest, AFailedFirstQuestionStaysTheBeginning)
{
    reachFirstQuestion();
    ask(QStringLiteral("Q1"));
    anthropic.requests.at(0).answer.push({QStringLiteral("partial")});
    fail(LLMError::httpError(500, std::nullopt));
    log.takeSession();
    ask(QStringLiteral("Q2"));

    EXPECT_THAT(sent(anthropic.requests.at(1)), ElementsAre(u"user: Q1 <first>", u"user: Q2"))
        << "a partial answer is no part of the conversation";
    EXPECT_EQ(log.takeSession().last(),
              u"Streaming task started provider=anthropic prefixMessages=1 historyMessages=0 "
              u"messages=2 isFirstTurn=false");
    answer(anthropic, {QStringLiteral("A2")});
    ask(QStringLiteral("Q3"));
    EXPECT_THAT(sent(anthropic.requests.at(2)),
                ElementsAre(u"user: Q1 <first>", u"user: Q2", u"assistant: A2", u"user: Q3"));
}

TEST_F(SubmissionFailureTest, AFailedFollowUpIsGoneWithItsImage)
{
    completeFirstTurn();
    beginAnotherCapture();
    deliverCapture("second");
    ask(QStringLiteral("Q2"));
    fail(LLMError::imageEncodingFailed(QStringLiteral("too big")));
    EXPECT_EQ(transcript().last(), u"assistant: [Error: too big]");
    ask(QStringLiteral("Q3"));

    EXPECT_THAT(sent(anthropic.requests.at(2)),
                ElementsAre(u"user: Q1 <first>", u"assistant: A1", u"user: Q3"));
}

TEST_F(SubmissionFailureTest, AnAdditionalCaptureBeforeTheFirstSentQuestionIsDropped)
{
    forgetKeys();
    reachFirstQuestion();
    ask(QStringLiteral("lost"));
    beginAnotherCapture();
    deliverCapture("additional");
    putKey(KeychainAccount::Anthropic, "new-key");
    ask(QStringLiteral("Q1"));
    EXPECT_THAT(sent(anthropic.requests.at(0)), ElementsAre(u"user: Q1 <first>"));

    answer(anthropic, {QStringLiteral("A1")});
    ask(QStringLiteral("Q2"));
    EXPECT_EQ(sent(anthropic.requests.at(1)).last(), u"user: Q2");
}

TEST_F(SubmissionFailureTest, RemovingTheFirstCaptureStopsAnAdditionalOneThatIsUnderWay)
{
    forgetKeys();
    reachFirstQuestion();
    ask(QStringLiteral("lost"));
    beginAnotherCapture();
    log.takeSession();
    session->removeAttachmentMessage(messages()[0].id);
    EXPECT_FALSE(session->isPreparingCapture().value());
    settle();

    EXPECT_THAT(log.takeSession(),
                ElementsAre(u"Initial capture attachment removed by user", u"Additional capture cancelled"));
    EXPECT_TRUE(capture.requests.at(1)->isCancelled);
    putKey(KeychainAccount::Anthropic, "new-key");
    ask(QStringLiteral("Q1"));
    EXPECT_THAT(sent(anthropic.requests.at(0)), ElementsAre(u"user: Q1"));
}

} // namespace
} // namespace velmo
