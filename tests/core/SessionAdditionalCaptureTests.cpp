#include "support/core/SessionTest.h"

namespace velmo {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class AdditionalCaptureTest : public SessionTest {};

TEST_F(AdditionalCaptureTest, IsRefusedBeforeTheFirstQuestion)
{
    drawAndAdvance();
    deliverCapture("first");
    log.takeSession();
    session->beginAdditionalCapture(true);

    EXPECT_EQ(state(), SessionState::Querying);
    EXPECT_THAT(overlays, SizeIs(1));
    EXPECT_TRUE(panel().isVisible);
    EXPECT_THAT(log.takeSession(),
                ElementsAre(u"beginAdditionalCapture ignored state=querying hasPanel=true hasOverlay=true"));
}

TEST_F(AdditionalCaptureTest, IsRefusedInEveryOtherState)
{
    session->beginAdditionalCapture(true);
    EXPECT_THAT(log.takeSession(),
                ElementsAre(u"beginAdditionalCapture ignored state=idle hasPanel=false hasOverlay=false"));

    session->begin(true);
    log.takeSession();
    session->beginAdditionalCapture(true);
    EXPECT_THAT(log.takeSession(),
                ElementsAre(u"beginAdditionalCapture ignored state=drawing hasPanel=false hasOverlay=true"));

    session->advanceToQuery();
    settle();
    deliverCapture("first");
    ask(QStringLiteral("Q1"));
    log.takeSession();
    session->beginAdditionalCapture(true);
    EXPECT_THAT(
        log.takeSession(),
        ElementsAre(u"beginAdditionalCapture ignored state=streaming hasPanel=true hasOverlay=false"));
    EXPECT_EQ(state(), SessionState::Streaming);
}

TEST_F(AdditionalCaptureTest, HidesThePanelAndShowsANewOverlay)
{
    completeFirstTurn();
    session->beginAdditionalCapture(true);

    EXPECT_EQ(state(), SessionState::Drawing);
    EXPECT_FALSE(panel().isVisible);
    ASSERT_THAT(overlays, SizeIs(2));
    EXPECT_TRUE(overlay().isVisible);
    EXPECT_TRUE(overlay().showToolbar);
    EXPECT_THAT(log.takeSession(), ElementsAre(u"Begin additional capture"));
}

TEST_F(AdditionalCaptureTest, CompletingItBringsThePanelBackAndCaptures)
{
    completeFirstTurn();
    session->beginAdditionalCapture(true);
    session->noteDrawingBegan({-10, 0});
    panel().calls.clear();
    log.takeSession();
    session->advanceToQuery();

    EXPECT_EQ(state(), SessionState::Querying);
    EXPECT_FALSE(overlay().isVisible);
    EXPECT_EQ(overlay().closes, 1);
    EXPECT_THAT(panel().calls, ElementsAre(u"front", u"focusInput"));
    EXPECT_EQ(focus.ownActivations, 1);
    EXPECT_TRUE(session->isPreparingCapture().value());
    EXPECT_THAT(log.takeSession(), IsEmpty());
    settle();
    EXPECT_TRUE(overlay().isDestroyed);

    ASSERT_THAT(capture.requests, SizeIs(2));
    EXPECT_EQ(capture.requests[1]->displayID, std::optional<quint32>(9)) << "the screen is chosen anew";
    EXPECT_THAT(overlay().canvas.renderedAreas, ElementsAre(CanvasRect{0, 0, 1280, 1024}));
    EXPECT_THAT(panels, SizeIs(1));
    EXPECT_EQ(panel().screen->name, u"Main") << "the panel stays where it is";

    deliverCapture("second");
    EXPECT_FALSE(session->isPreparingCapture().value());
    EXPECT_THAT(transcript(), ElementsAre(u"user: <Screenshot first>", u"user: Q1", u"assistant: A1",
                                          u"user: <Screenshot second>"));
    EXPECT_THAT(log.takeSession(), ElementsAre(u"Additional capture complete bytes=6"));
}

TEST_F(AdditionalCaptureTest, TheScreenIsFrozenBeforeThePanelComesBack)
{
    completeFirstTurn();
    bool panelThen = true;
    int closesThen = 99;
    capture.onFreeze = [&] {
        panelThen = panel().isVisible;
        closesThen = overlay().closes;
    };
    beginAnotherCapture();
    EXPECT_EQ(capture.frozen.size(), 2U);
    EXPECT_FALSE(panelThen);
    EXPECT_EQ(closesThen, 0);
    EXPECT_TRUE(panel().isVisible);
}

TEST_F(AdditionalCaptureTest, TheWholeSessionCanBeEndedFromOutside)
{
    completeFirstTurn();
    session->beginAdditionalCapture(true);
    session->end();
    EXPECT_EQ(state(), SessionState::Idle);
    EXPECT_TRUE(messages().isEmpty());
    settle();
    EXPECT_TRUE(panel().isDestroyed);
    EXPECT_TRUE(overlay().isDestroyed);
    EXPECT_THAT(log.takeSession(),
                testing::IsSupersetOf({QStringLiteral("Cancel additional capture"),
                                       QStringLiteral("Session cancelled and state reset")}));
    session->end();
    EXPECT_TRUE(log.takeSession().isEmpty()) << "nothing to end, nothing to say";
}

TEST_F(AdditionalCaptureTest, GoesWithTheNextQuestionOnly)
{
    completeFirstTurn();
    beginAnotherCapture();
    deliverCapture("second");
    ask(QStringLiteral("Q2"));
    answer(anthropic, {QStringLiteral("A2")});
    ask(QStringLiteral("Q3"));

    EXPECT_THAT(sent(anthropic.requests.at(1)),
                ElementsAre(u"user: Q1 <first>", u"assistant: A1", u"user: Q2 <second>"));
    EXPECT_THAT(sent(anthropic.requests.at(2)),
                ElementsAre(u"user: Q1 <first>", u"assistant: A1", u"user: Q2 <second>", u"assistant: A2",
                            u"user: Q3"));
}

TEST_F(AdditionalCaptureTest, OnlyTheLatestOfTwoIsSent)
{
    completeFirstTurn();
    beginAnotherCapture();
    deliverCapture("second");
    beginAnotherCapture();
    log.takeSession();
    deliverCapture("third!");

    EXPECT_THAT(log.takeSession(),
                ElementsAre(u"Additional capture overwrote a prior pending image — only the latest "
                            u"will be sent to the LLM",
                            u"Additional capture complete bytes=6"));
    EXPECT_THAT(transcript(), ElementsAre(u"user: <Screenshot first>", u"user: Q1", u"assistant: A1",
                                          u"user: <Screenshot second>", u"user: <Screenshot third!>"));
    ask(QStringLiteral("Q2"));
    EXPECT_EQ(sent(anthropic.requests.at(1)).last(), u"user: Q2 <third!>");
}

TEST_F(AdditionalCaptureTest, RemovingAnOverwrittenOneLeavesTheLatestPending)
{
    completeFirstTurn();
    beginAnotherCapture();
    deliverCapture("second");
    beginAnotherCapture();
    deliverCapture("third");
    log.takeSession();
    session->removeAttachmentMessage(messages()[3].id);
    EXPECT_THAT(log.takeSession(), IsEmpty());

    ask(QStringLiteral("Q2"));
    EXPECT_EQ(sent(anthropic.requests.at(1)).last(), u"user: Q2 <third>");
}

TEST_F(AdditionalCaptureTest, RemovingTheLatestDoesNotBringBackTheOneBefore)
{
    completeFirstTurn();
    beginAnotherCapture();
    deliverCapture("second");
    beginAnotherCapture();
    deliverCapture("third");
    log.takeSession();
    session->removeAttachmentMessage(messages()[4].id);

    EXPECT_THAT(log.takeSession(), ElementsAre(u"Additional capture attachment removed by user"));
    ask(QStringLiteral("Q2"));
    EXPECT_EQ(sent(anthropic.requests.at(1)).last(), u"user: Q2");
}

TEST_F(AdditionalCaptureTest, ARowWhoseImageWasSentIsOnlyRemovedFromTheChat)
{
    completeFirstTurn();
    beginAnotherCapture();
    deliverCapture("second");
    ask(QStringLiteral("Q2"));
    answer(anthropic, {QStringLiteral("A2")});
    log.takeSession();
    session->removeAttachmentMessage(messages()[3].id);
    session->removeAttachmentMessage(messages()[0].id);
    EXPECT_THAT(log.takeSession(), IsEmpty());
    EXPECT_THAT(transcript(), ElementsAre(u"user: Q1", u"assistant: A1", u"user: Q2", u"assistant: A2"));

    ask(QStringLiteral("Q3"));
    EXPECT_THAT(sent(anthropic.requests.at(2)),
                ElementsAre(u"user: Q1 <first>", u"assistant: A1", u"user: Q2 <second>", u"assistant: A2",
                            u"user: Q3"));
}

TEST_F(AdditionalCaptureTest, AFailureLeavesTheEarlierPendingImage)
{
    completeFirstTurn();
    beginAnotherCapture();
    deliverCapture("second");
    beginAnotherCapture();
    log.takeSession();
    capture.fail(2, QStringLiteral("gone"));
    settle();

    EXPECT_THAT(log.takeSession(), ElementsAre(u"Additional capture failed error=gone"));
    EXPECT_FALSE(session->isPreparingCapture().value());
    ask(QStringLiteral("Q2"));
    EXPECT_EQ(sent(anthropic.requests.at(1)).last(), u"user: Q2 <second>");
}

TEST_F(AdditionalCaptureTest, ASupersededCaptureLeavesTheNewOnePreparing)
{
    completeFirstTurn();
    beginAnotherCapture();
    session->beginAdditionalCapture(true);
    log.takeSession();
    session->advanceToQuery();
    settle();

    EXPECT_THAT(log.takeSession(), ElementsAre(u"Additional capture cancelled"));
    EXPECT_TRUE(capture.requests.at(1)->isCancelled);
    EXPECT_FALSE(capture.requests.at(2)->isCancelled);
    EXPECT_TRUE(session->isPreparingCapture().value()) << "the newer capture is still under way";

    deliverCapture("newer");
    EXPECT_FALSE(session->isPreparingCapture().value());
    EXPECT_EQ(transcript().last(), u"user: <Screenshot newer>");
    EXPECT_THAT(log.takeSession(), ElementsAre(u"Additional capture complete bytes=5"));
}

TEST_F(AdditionalCaptureTest, AResultThatIsOvertakenByANewerCaptureIsDropped)
{
    completeFirstTurn();
    beginAnotherCapture();
    session->beginAdditionalCapture(true);
    log.takeSession();
    capture.succeed(1, "overtaken"); // Posted, not yet delivered.
    session->advanceToQuery();
    settle();

    EXPECT_THAT(log.takeSession(), ElementsAre(u"Additional capture cancelled"));
    EXPECT_THAT(transcript(), SizeIs(3));
    EXPECT_TRUE(session->isPreparingCapture().value());
}

TEST_F(AdditionalCaptureTest, CancellingItKeepsTheChat)
{
    completeFirstTurn();
    session->beginAdditionalCapture(true);
    session->noteDrawingBegan({-10, 0});
    log.takeSession();
    panel().calls.clear();
    session->cancel();

    EXPECT_EQ(state(), SessionState::Querying);
    EXPECT_THAT(log.takeSession(), ElementsAre(u"Cancel additional capture"));
    EXPECT_FALSE(overlay().isVisible);
    EXPECT_THAT(panel().calls, ElementsAre(u"front", u"focusInput"));
    EXPECT_EQ(focus.ownActivations, 1);
    EXPECT_THAT(messages(), SizeIs(3));
    EXPECT_THAT(capture.requests, SizeIs(1));

    ask(QStringLiteral("Q2"));
    EXPECT_THAT(sent(anthropic.requests.at(1)),
                ElementsAre(u"user: Q1 <first>", u"assistant: A1", u"user: Q2"));
}

TEST_F(AdditionalCaptureTest, CancellingTheDrawingLeavesAnEarlierCaptureRunning)
{
    completeFirstTurn();
    beginAnotherCapture();
    session->beginAdditionalCapture(true);
    session->cancel();

    EXPECT_TRUE(session->isPreparingCapture().value());
    deliverCapture("second");
    EXPECT_EQ(transcript().last(), u"user: <Screenshot second>");
    ask(QStringLiteral("Q2"));
    EXPECT_EQ(sent(anthropic.requests.at(1)).last(), u"user: Q2 <second>");
}

TEST_F(AdditionalCaptureTest, ASecondCancelEndsTheSession)
{
    completeFirstTurn();
    session->beginAdditionalCapture(true);
    session->cancel();
    session->cancel();

    EXPECT_EQ(state(), SessionState::Idle);
    EXPECT_FALSE(panel().isVisible);
    EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(AdditionalCaptureTest, ACaptureAfterTheSessionEndedIsDropped)
{
    completeFirstTurn();
    beginAnotherCapture();
    session->cancel();
    log.takeSession();
    deliverCapture("late");

    EXPECT_THAT(messages(), IsEmpty());
    EXPECT_THAT(log.takeSession(), IsEmpty());
}

TEST_F(AdditionalCaptureTest, APendingImageDoesNotReachTheNextSession)
{
    completeFirstTurn();
    beginAnotherCapture();
    deliverCapture("second");
    session->cancel();
    completeFirstTurn();
    ask(QStringLiteral("Q2"));

    EXPECT_EQ(sent(anthropic.requests.back()).last(), u"user: Q2");
}

} // namespace
} // namespace velmo
