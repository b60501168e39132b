#include "support/core/SessionTest.h"

namespace velmo {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class SessionCancelTest : public SessionTest {};

TEST_F(SessionCancelTest, EndsADrawing)
{
    session->begin(true);
    session->noteDrawingBegan({100, 100});
    log.takeSession();
    session->cancel();

    EXPECT_EQ(state(), SessionState::Idle);
    EXPECT_FALSE(overlay().isVisible);
    EXPECT_EQ(overlay().closes, 1);
    EXPECT_THAT(log.takeSession(), ElementsAre(u"Session cancelled and state reset"));
    settle();
    EXPECT_TRUE(overlay().isDestroyed);
}

TEST_F(SessionCancelTest, EndsAQuestionWithBothWindows)
{
    drawAndAdvance();
    deliverCapture("picture");
    session->cancel();

    EXPECT_EQ(state(), SessionState::Idle);
    EXPECT_FALSE(overlay().isVisible);
    EXPECT_FALSE(panel().isVisible);
    EXPECT_EQ(panel().calls.last(), u"close");
    EXPECT_THAT(messages(), IsEmpty());
    EXPECT_FALSE(session->isPreparingCapture().value());
    settle();
    EXPECT_TRUE(overlay().isDestroyed);
    EXPECT_TRUE(panel().isDestroyed);
}

TEST_F(SessionCancelTest, KeepsWindowsAliveDuringTheCallThatEndsThem)
{
    drawAndAdvance();
    session->cancel();

    EXPECT_FALSE(overlay().isDestroyed) << "the call often comes from one of the window's own events";
    EXPECT_FALSE(panel().isDestroyed);
}

TEST_F(SessionCancelTest, EndsAnAnswer)
{
    drawAndAdvance();
    deliverCapture("picture");
    ask(QStringLiteral("Q"));
    anthropic.requests.at(0).answer.push({QStringLiteral("part")});
    settle();
    ASSERT_EQ(session->streamedResponse().value(), u"part");
    log.takeSession();
    session->cancel();

    EXPECT_EQ(state(), SessionState::Idle);
    EXPECT_THAT(messages(), IsEmpty());
    EXPECT_EQ(session->streamedResponse().value(), QString());
    EXPECT_THAT(log.takeSession(), ElementsAre(u"Session cancelled and state reset"));
    settle();
    EXPECT_THAT(log.takeSession(), ElementsAre(u"Streaming task cancelled"));
    EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(SessionCancelTest, ActsWhileIdleToo)
{
    session->cancel();
    session->cancel();

    EXPECT_EQ(state(), SessionState::Idle);
    EXPECT_THAT(log.takeSession(),
                ElementsAre(u"Session cancelled and state reset", u"Session cancelled and state reset"));
}

TEST_F(SessionCancelTest, TellsOfIdleLastOfAll)
{
    drawAndAdvance();
    deliverCapture("picture");
    bool wasEmpty = false;
    bool wasPreparing = true;
    const auto subscription = session->state().subscribe([&](SessionState next) {
        wasEmpty = next == SessionState::Idle && messages().isEmpty();
        wasPreparing = session->isPreparingCapture().value();
    });
    session->cancel();

    EXPECT_TRUE(wasEmpty);
    EXPECT_FALSE(wasPreparing);
}

TEST_F(SessionCancelTest, TheNextSessionStartsAfresh)
{
    completeFirstTurn();
    session->cancel();
    drawAndAdvance();
    EXPECT_EQ(state(), SessionState::Querying);
    EXPECT_THAT(messages(), IsEmpty());
    deliverCapture("other");
    ask(QStringLiteral("Other"));

    EXPECT_THAT(sent(anthropic.requests.back()), ElementsAre(u"user: Other <other>"));
    EXPECT_THAT(transcript(), ElementsAre(u"user: <Screenshot other>", u"user: Other", u"assistant…: "));
}

TEST_F(SessionCancelTest, AFailedFirstQuestionDoesNotReachTheNextSession)
{
    drawAndAdvance();
    deliverCapture("picture");
    ask(QStringLiteral("Q1"));
    anthropic.requests.at(0).answer.fail(LLMError::httpError(500, std::nullopt));
    settle();
    session->cancel();
    drawAndAdvance();
    capture.fail(1, QStringLiteral("none"));
    settle();
    ask(QStringLiteral("Q2"));

    EXPECT_THAT(sent(anthropic.requests.at(1)), ElementsAre(u"user: Q2"));
}

TEST_F(SessionCancelTest, APendingImageIsNotOverwrittenByTheNextSession)
{
    completeFirstTurn();
    beginAnotherCapture();
    deliverCapture("second");
    session->cancel();
    keychain->items.clear(); // So that a question gives way to captures without being sent.
    drawAndAdvance();
    deliverCapture("first");
    ask(QStringLiteral("lost"));
    log.takeSession();
    beginAnotherCapture();
    deliverCapture("third");

    EXPECT_THAT(log.takeSession(),
                ElementsAre(u"Begin additional capture", testing::_, u"Additional capture complete bytes=5"));
}

TEST_F(SessionCancelTest, PendingDictationGoesWithTheSession)
{
    drawAndAdvance();
    const QUuid pending = session->appendPendingUserMessage(QStringLiteral("Transcribing…"));
    session->cancel();
    session->replaceChatMessage(pending, QStringLiteral("late words"), false);

    EXPECT_THAT(messages(), IsEmpty());
}

class SessionHintTest : public SessionTest {};

TEST_F(SessionHintTest, HidesThePanelAndBringsItBack)
{
    completeFirstTurn();
    session->hideChatForHint();
    EXPECT_FALSE(panel().isVisible);

    panel().calls.clear();
    session->restoreChatAfterHint();
    EXPECT_TRUE(panel().isVisible);
    EXPECT_THAT(panel().calls, ElementsAre(u"front", u"focusInput"));
    EXPECT_EQ(focus.ownActivations, 1);
}

TEST_F(SessionHintTest, HidesOnceAndRestoresOnce)
{
    completeFirstTurn();
    panel().calls.clear();
    session->hideChatForHint();
    session->hideChatForHint();
    EXPECT_THAT(panel().calls, ElementsAre(u"hide"));

    session->restoreChatAfterHint();
    session->restoreChatAfterHint();
    EXPECT_THAT(panel().calls, ElementsAre(u"hide", u"front", u"focusInput"));
}

TEST_F(SessionHintTest, RestoringWithoutHidingDoesNothing)
{
    completeFirstTurn();
    panel().calls.clear();
    session->restoreChatAfterHint();

    EXPECT_THAT(panel().calls, IsEmpty());
}

TEST_F(SessionHintTest, AHiddenPanelIsNotHiddenForTheHint)
{
    completeFirstTurn();
    panel().isVisible = false;
    panel().calls.clear();
    session->hideChatForHint();
    session->restoreChatAfterHint();

    EXPECT_THAT(panel().calls, IsEmpty());
}

TEST_F(SessionHintTest, ThePanelStaysWhileAnAnswerArrives)
{
    completeFirstTurn();
    ask(QStringLiteral("Q2"));
    panel().calls.clear();
    session->hideChatForHint();

    EXPECT_TRUE(panel().isVisible);
    EXPECT_THAT(panel().calls, IsEmpty());
}

TEST_F(SessionHintTest, ACaptureThatBeganMeanwhileKeepsThePanelHidden)
{
    completeFirstTurn();
    session->hideChatForHint();
    session->beginAdditionalCapture(false);
    session->restoreChatAfterHint();
    EXPECT_FALSE(panel().isVisible);

    // The flag is spent: coming back to the question, nothing is restored a second time.
    session->cancel();
    panel().calls.clear();
    session->restoreChatAfterHint();
    EXPECT_THAT(panel().calls, IsEmpty());
}

TEST_F(SessionHintTest, WindowsGoLaterButWithTheSessionAtTheLatest)
{
    drawAndAdvance();
    const auto shown = overlays.back();
    session->cancel();
    EXPECT_FALSE(shown->isDestroyed) << "the call may come from one of its own events";
    session.reset();
    EXPECT_TRUE(shown->isDestroyed);
}

TEST_F(SessionHintTest, ThePanelStaysWhileTheFirstOverlayIsUp)
{
    drawAndAdvance();
    session->hideChatForHint();
    EXPECT_TRUE(panel().isVisible) << "nothing could bring it back";
    session->restoreChatAfterHint();
    EXPECT_TRUE(panel().isVisible);
}

TEST_F(SessionHintTest, CancellingForgetsThatThePanelWasHidden)
{
    completeFirstTurn();
    session->hideChatForHint();
    session->cancel();
    completeFirstTurn();
    panel().calls.clear();
    session->restoreChatAfterHint();

    EXPECT_THAT(panel().calls, IsEmpty());
}

} // namespace
} // namespace velmo
