// Questions that meet a capture under way, and submissions that are overtaken by the end of their session.

#include "support/core/SessionTest.h"

namespace velmo {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class SubmissionWaitTest : public SessionTest {};

TEST_F(SubmissionWaitTest, AQuestionWaitsForTheFirstCaptureAndCarriesIt)
{
    drawAndAdvance();
    log.takeSession();
    ask(QStringLiteral("Q"));
    EXPECT_EQ(state(), SessionState::Streaming);
    EXPECT_FALSE(overlay().isVisible);
    EXPECT_THAT(anthropic.requests, IsEmpty());
    EXPECT_THAT(log.takeSession(), IsEmpty());
    EXPECT_THAT(messages(), IsEmpty());

    deliverCapture("first");
    EXPECT_THAT(transcript(), ElementsAre(u"user: <Screenshot first>", u"user: Q", u"assistant…: "));
    EXPECT_THAT(sent(anthropic.requests.at(0)), ElementsAre(u"user: Q <first>"));
    const QStringList lines = log.takeSession();
    ASSERT_THAT(lines, SizeIs(4));
    EXPECT_EQ(lines[0], u"Screenshot captured bytes=5");
    EXPECT_TRUE(lines[1].endsWith(u" screenshotBytes=5"));
}

TEST_F(SubmissionWaitTest, AQuestionInTheSameTurnAsTheAdvanceWaitsToo)
{
    session->begin(true);
    session->advanceToQuery();
    session->submit(QStringLiteral("Q"));
    settle();
    EXPECT_THAT(anthropic.requests, IsEmpty());
    deliverCapture("first");

    EXPECT_THAT(sent(anthropic.requests.at(0)), ElementsAre(u"user: Q <first>"));
}

TEST_F(SubmissionWaitTest, AFailedCaptureSendsTheQuestionWithoutAnImage)
{
    drawAndAdvance();
    ask(QStringLiteral("Q"));
    log.takeSession();
    capture.fail(0, QStringLiteral("no display"));
    settle();

    EXPECT_THAT(sent(anthropic.requests.at(0)), ElementsAre(u"user: Q"));
    EXPECT_FALSE(anthropic.requests[0].messages[0].imageData);
    const QStringList lines = log.takeSession();
    EXPECT_EQ(lines[0], u"Capture failed error=no display");
    EXPECT_TRUE(lines[1].endsWith(u" screenshotBytes=0"));
}

TEST_F(SubmissionWaitTest, ACaptureThatGivesUpSendsTheQuestionWithoutAnImage)
{
    drawAndAdvance();
    ask(QStringLiteral("Q"));
    capture.giveUp(0);
    settle();

    EXPECT_THAT(sent(anthropic.requests.at(0)), ElementsAre(u"user: Q"));
}

TEST_F(SubmissionWaitTest, ADictatedRowBeforeTheCaptureKeepsItsPlace)
{
    drawAndAdvance();
    const QUuid pending = session->appendPendingUserMessage(QStringLiteral("Transcribing…"));
    session->submit(QStringLiteral("spoken"), pending);
    settle();
    EXPECT_THAT(transcript(), ElementsAre(u"user…: Transcribing…"));
    deliverCapture("first");

    EXPECT_THAT(transcript(), ElementsAre(u"user: spoken", u"user: <Screenshot first>", u"assistant…: "));
}

TEST_F(SubmissionWaitTest, AQuestionCancelledWhileItWaitsEndsWithoutALine)
{
    drawAndAdvance();
    ask(QStringLiteral("Q"));
    log.takeSession();
    session->cancel();
    settle();
    capture.succeed(0, "late");
    settle();

    EXPECT_THAT(log.takeSession(), ElementsAre(u"Session cancelled and state reset"));
    EXPECT_THAT(messages(), IsEmpty());
    EXPECT_THAT(anthropic.requests, IsEmpty());
    EXPECT_EQ(state(), SessionState::Idle);
}

TEST_F(SubmissionWaitTest, AQuestionCancelledInTheSameTurnIsNeverSent)
{
    drawAndAdvance();
    deliverCapture("first");
    log.takeSession();
    session->submit(QStringLiteral("Q"));
    session->cancel();
    settle();

    EXPECT_THAT(log.takeSession(), ElementsAre(u"Session cancelled and state reset"));
    EXPECT_THAT(anthropic.requests, IsEmpty());
    EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(SubmissionWaitTest, AQuestionOfAnEndedSessionIsNotSentInTheNext)
{
    drawAndAdvance();
    ask(QStringLiteral("old"));
    session->cancel();
    drawAndAdvance();
    deliverCapture("new");
    capture.succeed(0, "old");
    settle();

    EXPECT_THAT(anthropic.requests, IsEmpty());
    EXPECT_THAT(transcript(), ElementsAre(u"user: <Screenshot new>"));
    EXPECT_EQ(state(), SessionState::Querying);
}

TEST_F(SubmissionWaitTest, AQuestionDuringAnAdditionalCaptureGoesWithoutIt)
{
    completeFirstTurn();
    beginAnotherCapture();
    ask(QStringLiteral("Q2"));
    ASSERT_THAT(anthropic.requests, SizeIs(2)) << "only the first capture is awaited";
    EXPECT_EQ(sent(anthropic.requests[1]).last(), u"user: Q2");

    deliverCapture("second");
    answer(anthropic, {QStringLiteral("A2")});
    ask(QStringLiteral("Q3"));
    EXPECT_EQ(sent(anthropic.requests.at(2)).last(), u"user: Q3 <second>");
}

TEST_F(SubmissionWaitTest, WithoutAFirstCaptureAFollowUpWaitsForTheAdditionalOne)
{
    drawAndAdvance();
    capture.fail(0, QStringLiteral("none"));
    settle();
    ask(QStringLiteral("Q1"));
    answer(anthropic, {QStringLiteral("A1")});
    beginAnotherCapture();
    log.takeSession();
    ask(QStringLiteral("Q2"));
    EXPECT_THAT(anthropic.requests, SizeIs(1));

    deliverCapture("second");
    EXPECT_THAT(sent(anthropic.requests.at(1)),
                ElementsAre(u"user: Q1", u"assistant: A1", u"user: Q2 <second>"));
    EXPECT_EQ(log.takeSession().first(), u"Additional capture complete bytes=6");
}

TEST_F(SubmissionWaitTest, WithoutAFirstCaptureAFirstQuestionTakesTheAdditionalOne)
{
    keychain->items.clear();
    drawAndAdvance();
    capture.fail(0, QStringLiteral("none"));
    settle();
    ask(QStringLiteral("lost"));
    putKey(KeychainAccount::Anthropic, "new-key");
    beginAnotherCapture();
    log.takeSession();
    ask(QStringLiteral("Q1"));
    deliverCapture("additional");

    EXPECT_THAT(sent(anthropic.requests.at(0)), ElementsAre(u"user: Q1 <additional>"));
    EXPECT_TRUE(log.takeSession().at(1).endsWith(u" screenshotBytes=10"));
}

TEST_F(SubmissionWaitTest, ScreenshotBytesAreTheFirstCapturesAlsoWithAnAdditionalOne)
{
    completeFirstTurn();
    beginAnotherCapture();
    deliverCapture("a longer picture");
    log.takeSession();
    ask(QStringLiteral("Q2"));

    EXPECT_TRUE(log.takeSession().first().endsWith(u" screenshotBytes=5"));
}

TEST_F(SubmissionWaitTest, PiecesOfACancelledAnswerNeverShow)
{
    drawAndAdvance();
    deliverCapture("first");
    ask(QStringLiteral("Q"));
    anthropic.requests.at(0).answer.push({QStringLiteral("old ")});
    settle();
    session->cancel();
    session->begin(true);
    session->advanceToQuery();
    anthropic.requests.at(0).answer.push({QStringLiteral("pieces")});
    settle();
    deliverCapture("second");
    anthropic.requests.at(0).answer.finish();
    settle();

    EXPECT_THAT(transcript(), ElementsAre(u"user: <Screenshot second>"));
    EXPECT_EQ(session->streamedResponse().value(), QString());
    EXPECT_EQ(state(), SessionState::Querying);

    ask(QStringLiteral("new"));
    answer(anthropic, {QStringLiteral("new answer")});
    EXPECT_THAT(transcript(),
                ElementsAre(u"user: <Screenshot second>", u"user: new", u"assistant: new answer"));
    EXPECT_THAT(sent(anthropic.requests.at(1)), ElementsAre(u"user: new <second>"));
}

TEST_F(SubmissionWaitTest, PiecesThatWereOnTheirWayAtTheCancelNeverShow)
{
    drawAndAdvance();
    deliverCapture("first");
    ask(QStringLiteral("Q"));
    log.takeSession();
    anthropic.requests.at(0).answer.push({QStringLiteral("posted")});
    anthropic.requests.at(0).answer.finish();
    session->cancel();
    QStringList told;
    const auto subscription = session->streamedResponse().subscribe(
        [&told](const TextChange& change) { told.append(change.text); });
    settle();

    EXPECT_THAT(told, IsEmpty());
    EXPECT_THAT(messages(), IsEmpty());
    EXPECT_THAT(log.takeSession(),
                ElementsAre(u"Session cancelled and state reset", u"Streaming task cancelled"));
}

TEST_F(SubmissionWaitTest, AnErrorOfACancelledAnswerSaysNothing)
{
    drawAndAdvance();
    deliverCapture("first");
    ask(QStringLiteral("Q"));
    session->cancel();
    settle();
    log.takeSession();
    anthropic.requests.at(0).answer.fail(LLMError::httpError(500, std::nullopt));
    settle();

    EXPECT_THAT(log.takeSession(), IsEmpty());
    EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(SubmissionWaitTest, DestroyingTheSessionDuringAnAnswerIsSilent)
{
    drawAndAdvance();
    deliverCapture("first");
    ask(QStringLiteral("Q"));
    log.takeSession();
    session.reset();
    anthropic.requests.at(0).answer.push({QStringLiteral("late")});
    anthropic.requests.at(0).answer.finish();
    settle();

    EXPECT_THAT(log.takeSession(), IsEmpty());
}

} // namespace
} // namespace velmo
