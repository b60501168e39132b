#include "support/core/SessionTest.h"

namespace velmo {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class SessionCaptureTest : public SessionTest {};

TEST_F(SessionCaptureTest, AdvancingShowsThePanelAndKeepsTheOverlay)
{
    session->begin(true);
    session->noteDrawingBegan({100, 100});
    session->advanceToQuery();

    EXPECT_EQ(state(), SessionState::Querying);
    EXPECT_TRUE(session->isPreparingCapture().value());
    ASSERT_THAT(panels, SizeIs(1));
    EXPECT_THAT(panel().calls, ElementsAre(u"show"));
    EXPECT_EQ(panel().screen->name, u"Main");
    EXPECT_TRUE(overlay().isVisible);
    EXPECT_TRUE(overlay().isToolbarHidden);
    EXPECT_EQ(overlay().closes, 0);
    EXPECT_THAT(capture.requests, IsEmpty()) << "a task's body never runs inside the call that starts it";
}

TEST_F(SessionCaptureTest, TheScreenIsFrozenBeforeThePanelTakesTheKeyboard)
{
    std::size_t panelsThen = 99;
    bool toolbarThen = false;
    capture.onFreeze = [&] {
        panelsThen = panels.size();
        toolbarThen = !overlay().isToolbarHidden;
    };
    drawAndAdvance();
    EXPECT_THAT(capture.frozen, testing::ElementsAre(std::optional<quint32>(7)));
    EXPECT_EQ(panelsThen, 0U);
    EXPECT_TRUE(toolbarThen) << "nothing has changed yet";
}

TEST_F(SessionCaptureTest, TheWholeRoadIsLoggedInOrder)
{
    drawAndAdvance();
    deliverCapture("12345");
    const QStringList lines = log.takeSession();

    ASSERT_THAT(lines, SizeIs(4));
    EXPECT_EQ(lines[0], u"Begin annotation session showToolbar=true");
    EXPECT_THAT(lines[1].toStdString(),
                testing::MatchesRegex("Locked active screen to Main.* for point=100,100"));
    EXPECT_THAT(lines[2].toStdString(),
                testing::StartsWith("Advancing from drawing to query panel screen=Main"));
    EXPECT_EQ(lines[3], u"Screenshot captured bytes=5");
}

TEST_F(SessionCaptureTest, StrokesAreCroppedToTheScreenWithinTheUnion)
{
    drawAndAdvance();
    EXPECT_THAT(overlay().canvas.renderedAreas, ElementsAre(CanvasRect{1280, 200, 1920, 1080}));
    EXPECT_EQ(capture.requests.at(0)->overlaySize, QSize(12, 7));
    session->cancel();

    session->begin(true);
    session->noteDrawingBegan({-10, 0});
    session->advanceToQuery();
    EXPECT_THAT(overlay().canvas.renderedAreas, ElementsAre(CanvasRect{0, 0, 1280, 1024}));
}

TEST_F(SessionCaptureTest, WithoutAStrokeTheWholeCanvasIsRenderedAndNoDisplayNamed)
{
    session->begin(true);
    session->advanceToQuery();
    settle();

    EXPECT_THAT(overlay().canvas.renderedAreas, ElementsAre(std::nullopt));
    EXPECT_FALSE(panel().screen);
    EXPECT_EQ(capture.requests.at(0)->displayID, std::nullopt);
}

TEST_F(SessionCaptureTest, AScreenWithoutADisplayNumberNamesNoDisplay)
{
    screens.screens = {FakeScreens::screen(QStringLiteral("Odd"), std::nullopt, {0, 0, 800, 600})};
    drawAndAdvance();

    EXPECT_EQ(panel().screen->name, u"Odd");
    EXPECT_EQ(capture.requests.at(0)->displayID, std::nullopt);
}

TEST_F(SessionCaptureTest, ACaptureBecomesAMessageWithAnAttachment)
{
    drawAndAdvance();
    deliverCapture("picture");

    EXPECT_FALSE(session->isPreparingCapture().value());
    ASSERT_THAT(messages(), SizeIs(1));
    const ChatMessage& message = messages()[0];
    EXPECT_EQ(message.role, ChatMessageRole::User);
    EXPECT_EQ(message.text, QString());
    EXPECT_FALSE(message.isStreaming);
    ASSERT_TRUE(message.attachment);
    EXPECT_EQ(message.attachment->title, u"Screenshot");
    EXPECT_EQ(message.attachment->imageData, QByteArray("picture"));
    EXPECT_FALSE(message.attachment->id.isNull());
    EXPECT_NE(message.attachment->id, message.id);
    EXPECT_EQ(state(), SessionState::Querying);
}

TEST_F(SessionCaptureTest, AFailedCaptureLeavesTheQuestionPossible)
{
    drawAndAdvance();
    log.takeSession();
    capture.fail(0, QStringLiteral("no display %1\nreally"));
    settle();

    EXPECT_THAT(log.takeSession(), ElementsAre(u"Capture failed error=no display %1"));
    EXPECT_FALSE(session->isPreparingCapture().value());
    EXPECT_THAT(messages(), IsEmpty());
    EXPECT_EQ(state(), SessionState::Querying);

    ask(QStringLiteral("Q"));
    ASSERT_THAT(anthropic.requests, SizeIs(1));
    EXPECT_THAT(sent(anthropic.requests[0]), ElementsAre(u"user: Q"));
}

TEST_F(SessionCaptureTest, ACaptureThatGivesUpIsLoggedAsCancelled)
{
    drawAndAdvance();
    log.takeSession();
    capture.giveUp(0);
    settle();

    EXPECT_THAT(log.takeSession(), ElementsAre(u"Screenshot capture cancelled"));
    EXPECT_FALSE(session->isPreparingCapture().value());
    EXPECT_THAT(messages(), IsEmpty());
    EXPECT_EQ(state(), SessionState::Querying);
}

TEST_F(SessionCaptureTest, DropsALateCaptureAfterCancel)
{
    drawAndAdvance();
    session->cancel();
    log.takeSession();
    deliverCapture("late");

    EXPECT_THAT(messages(), IsEmpty());
    EXPECT_THAT(log.takeSession(), IsEmpty())
        << "a capture of an older revision says nothing, not even cancelled";
    EXPECT_FALSE(session->isPreparingCapture().value());
    EXPECT_TRUE(capture.requests.at(0)->isCancelled);
}

TEST_F(SessionCaptureTest, DropsALateFailureAfterCancel)
{
    drawAndAdvance();
    capture.fail(0, QStringLiteral("late"));
    session->cancel();
    log.takeSession();
    settle();

    EXPECT_THAT(log.takeSession(), IsEmpty());
}

TEST_F(SessionCaptureTest, ACaptureOfAnEarlierSessionDoesNotEndTheWaitOfTheNext)
{
    drawAndAdvance();
    session->cancel();
    session->begin(true);
    session->advanceToQuery();
    settle();
    capture.succeed(0, "old");
    settle();

    EXPECT_TRUE(session->isPreparingCapture().value());
    EXPECT_THAT(messages(), IsEmpty());
    deliverCapture("new");
    EXPECT_THAT(transcript(), ElementsAre(u"user: <Screenshot new>"));
    EXPECT_FALSE(session->isPreparingCapture().value());
}

TEST_F(SessionCaptureTest, ACaptureCancelledBeforeItsBodyRanIsStoppedToo)
{
    session->begin(true);
    session->advanceToQuery();
    session->cancel();
    settle();

    for (const auto& request : capture.requests)
        EXPECT_TRUE(request->isCancelled);
    EXPECT_THAT(messages(), IsEmpty());
    EXPECT_THAT(log.takeSession().last(), u"Session cancelled and state reset");
}

TEST_F(SessionCaptureTest, AdvancingTwiceCapturesOnce)
{
    drawAndAdvance();
    session->advanceToQuery();
    settle();

    EXPECT_THAT(capture.requests, SizeIs(1));
    EXPECT_THAT(panels, SizeIs(1));
}

TEST_F(SessionCaptureTest, RemovingTheFirstCaptureSendsTheQuestionWithoutIt)
{
    drawAndAdvance();
    deliverCapture("picture");
    log.takeSession();
    session->removeAttachmentMessage(messages()[0].id);

    EXPECT_THAT(messages(), IsEmpty());
    EXPECT_THAT(log.takeSession(), ElementsAre(u"Initial capture attachment removed by user"));
    ask(QStringLiteral("Q"));
    EXPECT_THAT(sent(anthropic.requests.at(0)), ElementsAre(u"user: Q"));
    EXPECT_THAT(log.takeSession().first().toStdString(), testing::EndsWith(" screenshotBytes=0"));
}

TEST_F(SessionCaptureTest, RemovingAnUnknownMessageDoesNothing)
{
    drawAndAdvance();
    deliverCapture("picture");
    log.takeSession();
    session->removeAttachmentMessage(QUuid::createUuid());

    EXPECT_THAT(messages(), SizeIs(1));
    EXPECT_THAT(log.takeSession(), IsEmpty());
}

TEST_F(SessionCaptureTest, RemovingAnyOtherMessageOnlyRemovesIt)
{
    drawAndAdvance();
    deliverCapture("picture");
    const QUuid pending = session->appendPendingUserMessage(QStringLiteral("Transcribing…"));
    log.takeSession();
    session->removeAttachmentMessage(pending);

    EXPECT_THAT(transcript(), ElementsAre(u"user: <Screenshot picture>"));
    EXPECT_THAT(log.takeSession(), IsEmpty());
}

TEST_F(SessionCaptureTest, DestroyingTheSessionStopsItsCapture)
{
    drawAndAdvance();
    log.takeSession();
    session.reset();
    capture.succeed(0, "late");
    settle();

    EXPECT_THAT(log.takeSession(), IsEmpty());
    EXPECT_FALSE(focus.isTracked());
}

} // namespace
} // namespace velmo
