#include "support/core/SessionTest.h"

namespace velmo {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class SessionGestureTest : public SessionTest {};

TEST_F(SessionGestureTest, TheStrokeBeginsOnALaterTurn)
{
    session->beginWithDraw({10, 20});
    EXPECT_FALSE(overlay().canvas.current);

    settle();
    ASSERT_TRUE(overlay().canvas.current);
    EXPECT_THAT(*overlay().canvas.current, ElementsAre(CanvasPoint{1290, 220}));
}

TEST_F(SessionGestureTest, TheStrokeFixesTheScreen)
{
    session->beginWithDraw({-100, 20});
    EXPECT_THAT(log.takeSession(), SizeIs(1));
    settle();

    const QStringList lines = log.takeSession();
    ASSERT_THAT(lines, SizeIs(1));
    EXPECT_THAT(lines[0].toStdString(), testing::StartsWith("Locked active screen to Left"));
    EXPECT_THAT(lines[0].toStdString(), testing::EndsWith(" for point=-100,20"));
}

TEST_F(SessionGestureTest, DragsExtendTheStroke)
{
    session->beginWithDraw({10, 20});
    settle();
    session->continueDraw({30, 40});
    session->continueDraw({-1280, -200});

    EXPECT_THAT(*overlay().canvas.current,
                ElementsAre(CanvasPoint{1290, 220}, CanvasPoint{1310, 240}, CanvasPoint{0, 0}));
}

TEST_F(SessionGestureTest, ADragThatOvertakesTheScheduledStartBeginsTheStroke)
{
    session->beginWithDraw({10, 20});
    session->continueDraw({30, 40});
    settle();

    ASSERT_TRUE(overlay().canvas.current);
    EXPECT_THAT(*overlay().canvas.current, ElementsAre(CanvasPoint{1290, 220}, CanvasPoint{1310, 240}));
    EXPECT_THAT(overlay().canvas.finished, IsEmpty());
}

TEST_F(SessionGestureTest, AReleaseThatOvertakesTheScheduledStartFinishesTheStroke)
{
    session->beginWithDraw({10, 20});
    session->continueDraw({30, 40});
    session->endMiddleDraw();
    EXPECT_EQ(state(), SessionState::Querying);
    settle();

    EXPECT_FALSE(overlay().canvas.current) << "a late start must not leave a stroke that never ends";
    ASSERT_THAT(overlay().canvas.finished, SizeIs(1));
    EXPECT_THAT(overlay().canvas.finished[0], ElementsAre(CanvasPoint{1290, 220}, CanvasPoint{1310, 240}));
}

TEST_F(SessionGestureTest, AReleaseWithoutADragFinishesTheScheduledStroke)
{
    session->beginWithDraw({10, 20});
    session->endMiddleDraw();
    settle();

    EXPECT_EQ(state(), SessionState::Querying);
    EXPECT_THAT(overlay().canvas.finished, SizeIs(1));
    EXPECT_FALSE(overlay().canvas.current);
}

TEST_F(SessionGestureTest, CancellingBeforeTheScheduledStartDrawsNothing)
{
    session->beginWithDraw({10, 20});
    session->cancel();
    settle();

    EXPECT_FALSE(overlay().canvas.current);
    EXPECT_THAT(overlay().canvas.finished, IsEmpty());
}

TEST_F(SessionGestureTest, AStartOfACancelledSessionDrawsNothingInTheNext)
{
    session->beginWithDraw({10, 20});
    session->cancel();
    session->begin(true);
    settle();
    session->continueDraw({30, 40});

    ASSERT_THAT(overlays, SizeIs(2));
    EXPECT_FALSE(overlays[0]->canvas.current);
    EXPECT_FALSE(overlays[1]->canvas.current);
}

TEST_F(SessionGestureTest, AStartAfterTheDrawingIsOverDrawsNothing)
{
    session->beginWithDraw({10, 20});
    session->advanceToQuery();
    settle();

    EXPECT_EQ(state(), SessionState::Querying);
    EXPECT_FALSE(overlay().canvas.current);
}

TEST_F(SessionGestureTest, ReleasingTheStrokeAdvancesInSingleStrokeMode)
{
    session->beginWithDraw({10, 20});
    settle();
    session->endMiddleDraw();

    EXPECT_EQ(state(), SessionState::Querying);
    EXPECT_THAT(panels, SizeIs(1));
}

TEST_F(SessionGestureTest, ReleasingTheStrokeKeepsDrawingInManualMode)
{
    settings->submitMode.set(SubmitMode::ManualSubmit);
    session->beginWithDraw({10, 20});
    settle();
    session->endMiddleDraw();

    EXPECT_EQ(state(), SessionState::Drawing);
    EXPECT_THAT(overlay().canvas.finished, SizeIs(1));
    EXPECT_THAT(panels, IsEmpty());
}

TEST_F(SessionGestureTest, ReleasingTheStrokeAdvancesWhenTheSettingsAreGone)
{
    settings->submitMode.set(SubmitMode::ManualSubmit);
    session->beginWithDraw({10, 20});
    settle();
    settings.reset();
    session->endMiddleDraw();

    EXPECT_EQ(state(), SessionState::Querying);
}

TEST_F(SessionGestureTest, ASecondStrokeNeverAdvances)
{
    settings->submitMode.set(SubmitMode::ManualSubmit);
    session->beginWithDraw({10, 20});
    settle();
    session->endMiddleDraw();
    settings->submitMode.set(SubmitMode::SingleStroke);
    overlay().canvas.beginStroke({1, 1});
    session->endMiddleDraw();

    EXPECT_THAT(overlay().canvas.finished, SizeIs(2));
    EXPECT_EQ(state(), SessionState::Drawing);
}

TEST_F(SessionGestureTest, AReleaseWithoutAStrokeDoesNotAdvance)
{
    session->begin(true);
    session->endMiddleDraw();

    EXPECT_EQ(state(), SessionState::Drawing);
}

TEST_F(SessionGestureTest, DragsAndReleasesAfterTheDrawingAreIgnored)
{
    drawAndAdvance();
    overlay().canvas.beginStroke({1, 1}); // A fast second press, while the overlay is still up.
    session->continueDraw({50, 50});
    session->endMiddleDraw();

    EXPECT_THAT(*overlay().canvas.current, ElementsAre(CanvasPoint{1, 1}));
    EXPECT_THAT(overlay().canvas.finished, IsEmpty());
    EXPECT_EQ(state(), SessionState::Querying);
    EXPECT_THAT(capture.requests, SizeIs(1));
}

TEST_F(SessionGestureTest, AnOverlayWithoutACanvasIsTolerated)
{
    overlaysHaveCanvas = false;
    session->beginWithDraw({10, 20});
    settle();
    session->continueDraw({30, 40});
    session->endMiddleDraw();
    EXPECT_EQ(state(), SessionState::Drawing);

    session->advanceToQuery();
    settle();
    EXPECT_EQ(capture.requests.at(0)->overlaySize, QSize(0, 0));
    EXPECT_EQ(capture.requests.at(0)->displayID, std::optional<quint32>(7))
        << "the screen is fixed all the same";
}

TEST_F(SessionGestureTest, AnAdditionalCaptureByAGestureBeginsItsStrokeOnALaterTurn)
{
    completeFirstTurn();
    session->beginAdditionalCaptureWithDraw({10, 20});
    EXPECT_FALSE(overlay().showToolbar);
    EXPECT_FALSE(overlay().canvas.current);
    settle();

    ASSERT_TRUE(overlay().canvas.current);
    EXPECT_THAT(*overlay().canvas.current, ElementsAre(CanvasPoint{1290, 220}));
    session->endMiddleDraw();
    EXPECT_EQ(state(), SessionState::Querying);
}

TEST_F(SessionGestureTest, ARefusedAdditionalCaptureLeavesNoStrokeOnTheOldOverlay)
{
    drawAndAdvance();
    session->beginAdditionalCaptureWithDraw({10, 20});
    settle();
    EXPECT_FALSE(overlay().canvas.current);

    session->cancel();
    session->beginAdditionalCaptureWithDraw({10, 20});
    settle();
    EXPECT_EQ(state(), SessionState::Idle);
    EXPECT_THAT(overlays, SizeIs(1));
}

TEST_F(SessionGestureTest, AnAdditionalCaptureByAGestureDuringAFirstDrawingIsRefused)
{
    session->begin(true);
    session->beginAdditionalCaptureWithDraw({10, 20});
    settle();

    EXPECT_FALSE(overlay().canvas.current);
    EXPECT_EQ(log.takeSession().last(),
              u"beginAdditionalCapture ignored state=drawing hasPanel=false hasOverlay=true");
}

TEST_F(SessionGestureTest, CancellingAnAdditionalCaptureDropsItsScheduledStroke)
{
    completeFirstTurn();
    session->beginAdditionalCaptureWithDraw({10, 20});
    session->cancel();
    session->beginAdditionalCapture(true);
    settle();

    EXPECT_FALSE(overlay().canvas.current);
}

} // namespace
} // namespace velmo
