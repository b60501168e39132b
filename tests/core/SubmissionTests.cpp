#include "support/core/SessionTest.h"

#include "core/Text.h"

namespace velmo {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class SubmissionTest : public SessionTest {
protected:
    /// The panel waits for the first question, with a capture of five bytes.
    void reachFirstQuestion()
    {
        drawAndAdvance();
        deliverCapture("first");
        log.takeSession();
    }

    [[nodiscard]] QString promptLength() const
    {
        return QString::number(characterCount(settings->effectiveSystemPrompt()));
    }
};

TEST_F(SubmissionTest, TheFirstTurnIsLoggedLineByLine)
{
    reachFirstQuestion();
    ask(QStringLiteral("What is this?"));
    answer(anthropic, {QStringLiteral("A "), QStringLiteral("cat")});

    EXPECT_THAT(
        log.takeSession(),
        ElementsAre(
            QStringLiteral("Submitting query provider=anthropic model=claude-sonnet-4-6 queryLength=13 "
                           "systemPromptLength=529 screenshotBytes=5"),
            QStringLiteral("Created chat transcript userMessageID=") + uuidText(messages()[1].id) +
                QStringLiteral(" assistantMessageID=") + uuidText(messages()[2].id),
            QStringLiteral("Streaming task started provider=anthropic prefixMessages=1 historyMessages=0 "
                           "messages=1 isFirstTurn=true"),
            QStringLiteral("Streaming task completed responseLength=5")));
}

TEST_F(SubmissionTest, FollowUpsAreLoggedWithTheirCounts)
{
    completeFirstTurn();
    ask(QStringLiteral("Q2"));
    answer(anthropic, {QStringLiteral("A2")});
    QStringList lines = log.takeSession();
    ASSERT_THAT(lines, SizeIs(4));
    EXPECT_EQ(lines[0],
              QStringLiteral("Submitting query provider=anthropic model=claude-sonnet-4-6 queryLength=2 "
                             "systemPromptLength=") +
                  promptLength() + QStringLiteral(" screenshotBytes=5"));
    EXPECT_EQ(lines[2],
              u"Streaming task started provider=anthropic prefixMessages=1 historyMessages=1 messages=3 "
              u"isFirstTurn=false");

    ask(QStringLiteral("Q3"));
    lines = log.takeSession();
    EXPECT_EQ(lines.last(),
              u"Streaming task started provider=anthropic prefixMessages=1 historyMessages=3 messages=5 "
              u"isFirstTurn=false");
}

TEST_F(SubmissionTest, NothingIsLoggedOrSentInsideTheCall)
{
    reachFirstQuestion();
    session->submit(QStringLiteral("Q"));

    EXPECT_EQ(state(), SessionState::Streaming);
    EXPECT_THAT(log.takeSession(), IsEmpty());
    EXPECT_THAT(messages(), SizeIs(1));
    settle();
    EXPECT_THAT(anthropic.requests, SizeIs(1));
}

TEST_F(SubmissionTest, TheOverlayClosesAtOnce)
{
    reachFirstQuestion();
    EXPECT_TRUE(overlay().isVisible);
    session->submit(QStringLiteral("Q"));

    EXPECT_FALSE(overlay().isVisible);
    EXPECT_EQ(overlay().closes, 1);
}

TEST_F(SubmissionTest, ProvidersGetKeyModelPromptAndPicture)
{
    settings->systemPrompt.set(QStringLiteral("  Be kind.\n"));
    reachFirstQuestion();
    ask(QStringLiteral("Q"));

    ASSERT_THAT(anthropic.requests, SizeIs(1));
    EXPECT_THAT(openAI.requests, IsEmpty());
    EXPECT_EQ(anthropic.requests[0].apiKey, u"anthropic-key");
    EXPECT_EQ(anthropic.requests[0].model, u"claude-sonnet-4-6");
    EXPECT_EQ(anthropic.requests[0].systemPrompt, settings->effectiveSystemPrompt());
    EXPECT_TRUE(anthropic.requests[0].systemPrompt.endsWith(u"\n\nBe kind."));
    EXPECT_THAT(sent(anthropic.requests[0]), ElementsAre(u"user: Q <first>"));
}

TEST_F(SubmissionTest, OpenAIGetsItsOwnKeyAndModel)
{
    settings->selectedProvider.set(QStringLiteral("openai"));
    settings->openAIModel.set(QStringLiteral("gpt-5.4-nano"));
    reachFirstQuestion();
    ask(QStringLiteral("Q"));

    ASSERT_THAT(openAI.requests, SizeIs(1));
    EXPECT_THAT(anthropic.requests, IsEmpty());
    EXPECT_EQ(openAI.requests[0].apiKey, u"openai-key");
    EXPECT_EQ(openAI.requests[0].model, u"gpt-5.4-nano");
    const QStringList lines = log.takeSession();
    EXPECT_TRUE(lines[0].startsWith(u"Submitting query provider=openai model=gpt-5.4-nano queryLength=1 "));
    EXPECT_TRUE(lines[2].startsWith(u"Streaming task started provider=openai "));
}

TEST_F(SubmissionTest, AnyOtherProviderWordMeansAnthropic)
{
    settings->selectedProvider.set(QStringLiteral("OpenAI"));
    reachFirstQuestion();
    ask(QStringLiteral("Q"));

    ASSERT_THAT(anthropic.requests, SizeIs(1));
    EXPECT_THAT(openAI.requests, IsEmpty());
    const QStringList lines = log.takeSession();
    EXPECT_TRUE(lines[0].startsWith(u"Submitting query provider=OpenAI model=claude-sonnet-4-6 "));
    EXPECT_TRUE(lines[2].startsWith(u"Streaming task started provider=OpenAI "));
}

TEST_F(SubmissionTest, AnEnvironmentModelIsSentAndLogged)
{
    environment.anthropicUrl.assign(QByteArray("http://localhost:1"));
    environment.anthropicModel.assign(QByteArray("local-model"));
    reachFirstQuestion();
    ask(QStringLiteral("Q"));

    EXPECT_EQ(anthropic.requests.at(0).model, u"local-model");
    EXPECT_TRUE(log.takeSession()[0].startsWith(u"Submitting query provider=anthropic model=local-model "));
    EXPECT_EQ(settings->anthropicModel.value(), u"claude-sonnet-4-6");
}

TEST_F(SubmissionTest, LengthsCountWhatAReaderCounts)
{
    reachFirstQuestion();
    ask(QStringLiteral("a\r\n\U0001F468\u200D\U0001F469\u200D\U0001F467e\u0301"));    // Four characters.
    answer(anthropic, {QStringLiteral("\U0001F1E9"), QStringLiteral("\U0001F1EA!")}); // A flag in two pieces.

    const QStringList lines = log.takeSession();
    EXPECT_THAT(lines.first().toStdString(), testing::HasSubstr(" queryLength=4 "));
    EXPECT_EQ(lines.last(), u"Streaming task completed responseLength=2");
}

TEST_F(SubmissionTest, TheQuestionIsSentAsTyped)
{
    reachFirstQuestion();
    const QString question = QStringLiteral("  {{input}} %1 %L2\nשלום  ");
    ask(question);

    EXPECT_EQ(anthropic.requests.at(0).messages[0].text, question);
    EXPECT_EQ(messages()[1].text, question);
}

TEST_F(SubmissionTest, TheSettingsCountAsTheyWereWhenTheQuestionWasSent)
{
    drawAndAdvance();
    const QString prompt = settings->effectiveSystemPrompt();
    session->submit(QStringLiteral("Q"));
    settle();
    settings->selectedProvider.set(QStringLiteral("openai"));
    settings->anthropicModel.set(QStringLiteral("other"));
    settings->systemPrompt.set(QStringLiteral("other"));
    putKey(KeychainAccount::Anthropic, "other");
    deliverCapture("first");

    ASSERT_THAT(anthropic.requests, SizeIs(1));
    EXPECT_EQ(anthropic.requests[0].apiKey, u"anthropic-key");
    EXPECT_EQ(anthropic.requests[0].model, u"claude-sonnet-4-6");
    EXPECT_EQ(anthropic.requests[0].systemPrompt, prompt);
}

TEST_F(SubmissionTest, PiecesAppearAsTheyArrive)
{
    reachFirstQuestion();
    ask(QStringLiteral("Q"));
    EXPECT_THAT(transcript(), ElementsAre(u"user: <Screenshot first>", u"user: Q", u"assistant…: "));

    anthropic.requests.at(0).answer.push({QStringLiteral("Hel"), QStringLiteral("lo")});
    settle();
    EXPECT_EQ(transcript().last(), u"assistant…: Hello");
    EXPECT_EQ(session->streamedResponse().value(), u"Hello");
    EXPECT_EQ(state(), SessionState::Streaming);

    anthropic.requests.at(0).answer.push({QStringLiteral("!")});
    anthropic.requests.at(0).answer.finish();
    settle();
    EXPECT_EQ(transcript().last(), u"assistant: Hello!");
    EXPECT_EQ(state(), SessionState::Querying);
}

TEST_F(SubmissionTest, EveryPieceIsToldOnItsOwn)
{
    reachFirstQuestion();
    ask(QStringLiteral("Q"));
    QStringList told;
    const auto subscription = session->chatMessages().subscribe([&told](const TranscriptChange& change) {
        if (change.kind == TranscriptChange::Kind::Extended)
            told.append(change.text);
    });
    answer(anthropic, {QStringLiteral("a"), QString(), QStringLiteral("b")});

    EXPECT_THAT(told, ElementsAre(u"a", u"", u"b"));
    EXPECT_EQ(transcript().last(), u"assistant: ab");
}

TEST_F(SubmissionTest, AnEmptyAnswerIsASuccess)
{
    reachFirstQuestion();
    ask(QStringLiteral("Q1"));
    answer(anthropic, {});
    EXPECT_EQ(transcript().last(), u"assistant: ");
    EXPECT_EQ(log.takeSession().last(), u"Streaming task completed responseLength=0");
    EXPECT_EQ(state(), SessionState::Querying);

    ask(QStringLiteral("Q2"));
    EXPECT_THAT(sent(anthropic.requests.at(1)),
                ElementsAre(u"user: Q1 <first>", u"assistant: ", u"user: Q2"));
}

TEST_F(SubmissionTest, TheStreamedTextStartsEmptyForEachQuestion)
{
    completeFirstTurn();
    EXPECT_EQ(session->streamedResponse().value(), u"A1");
    ask(QStringLiteral("Q2"));

    EXPECT_EQ(session->streamedResponse().value(), QString());
}

TEST_F(SubmissionTest, ASecondQuestionWaitsForTheAnswer)
{
    reachFirstQuestion();
    ask(QStringLiteral("Q1"));
    log.takeSession();
    ask(QStringLiteral("Q2"));

    EXPECT_THAT(anthropic.requests, SizeIs(1));
    EXPECT_THAT(log.takeSession(), IsEmpty());
    EXPECT_THAT(messages(), SizeIs(3));
}

TEST_F(SubmissionTest, NothingIsSubmittedWhileDrawing)
{
    session->begin(true);
    log.takeSession();
    ask(QStringLiteral("Q"));

    EXPECT_EQ(state(), SessionState::Drawing);
    EXPECT_TRUE(overlay().isVisible);
    EXPECT_THAT(log.takeSession(), IsEmpty());
}

TEST_F(SubmissionTest, NothingIsSubmittedWithoutSettings)
{
    reachFirstQuestion();
    settings.reset();
    ask(QStringLiteral("Q"));

    EXPECT_EQ(state(), SessionState::Querying);
    EXPECT_TRUE(overlay().isVisible);
    EXPECT_THAT(log.takeSession(), IsEmpty());
}

TEST_F(SubmissionTest, ADictatedMessageTakesTheQuestionInItsPlace)
{
    drawAndAdvance();
    const QUuid pending = session->appendPendingUserMessage(QStringLiteral("Transcribing…"));
    EXPECT_THAT(transcript(), ElementsAre(u"user…: Transcribing…"));
    deliverCapture("first"); // The row of the capture comes after the pending one.
    session->submit(QStringLiteral("spoken"), pending);
    settle();

    EXPECT_THAT(transcript(), ElementsAre(u"user: spoken", u"user: <Screenshot first>", u"assistant…: "));
    EXPECT_EQ(messages()[0].id, pending);
    EXPECT_THAT(sent(anthropic.requests.at(0)), ElementsAre(u"user: spoken <first>"));
    EXPECT_THAT(log.takeSession().join(u'\n').toStdString(),
                testing::HasSubstr("userMessageID=" + uuidText(pending).toStdString() +
                                   " assistantMessageID=" + uuidText(messages()[2].id).toStdString()));
}

TEST_F(SubmissionTest, ADictatedMessageThatIsGoneIsNotBroughtBack)
{
    reachFirstQuestion();
    const QUuid pending = session->appendPendingUserMessage(QStringLiteral("Transcribing…"));
    session->removeAttachmentMessage(pending);
    session->submit(QStringLiteral("spoken"), pending);
    settle();

    EXPECT_THAT(transcript(), ElementsAre(u"user: <Screenshot first>", u"assistant…: "));
    EXPECT_THAT(sent(anthropic.requests.at(0)), ElementsAre(u"user: spoken <first>"));
}

TEST_F(SubmissionTest, AnAnswerWhoseRowIsGoneIsStillKeptForTheModel)
{
    reachFirstQuestion();
    ask(QStringLiteral("Q1"));
    session->removeAttachmentMessage(messages()[0].id); // Rows after it move up.
    anthropic.requests.at(0).answer.push({QStringLiteral("A")});
    settle();
    EXPECT_EQ(transcript().last(), u"assistant…: A");
    session->removeAttachmentMessage(messages()[1].id);
    answer(anthropic, {QStringLiteral("1")});

    EXPECT_THAT(transcript(), ElementsAre(u"user: Q1"));
    EXPECT_EQ(state(), SessionState::Querying);
    ask(QStringLiteral("Q2"));
    EXPECT_THAT(sent(anthropic.requests.at(1)),
                ElementsAre(u"user: Q1 <first>", u"assistant: A1", u"user: Q2"));
}

} // namespace
} // namespace velmo
