#include "core/CoordinateSpace.h"
#include "overlay/DrawingCanvasView.h"
#include "support/core/SessionTest.h"

namespace velmo {
namespace {

/// A canvas over the test's two screens, with a session that is drawing on it.
class CanvasMouse : public SessionTest {
protected:
    CanvasMouse() { session->begin(true); }

    void drag(CanvasPoint from, CanvasPoint to)
    {
        canvas.mouseDown(from);
        canvas.mouseDragged(to);
    }

    void drawStroke()
    {
        drag({100, 100}, {200, 150});
        canvas.mouseUp();
    }

    std::shared_ptr<DrawingState> drawing = std::make_shared<DrawingState>();
    DrawingCanvasView canvas{unionRect, drawing, *session};
};

TEST_F(CanvasMouse, AReleaseWithoutAPressNeitherFinishesNorSubmits)
{
    canvas.mouseUp();
    settle();
    EXPECT_TRUE(canvas.strokes().empty());
    EXPECT_FALSE(canvas.hasCompletedFirstStroke());
    EXPECT_EQ(state(), SessionState::Drawing);
}

TEST_F(CanvasMouse, ADragWithoutAPressDrawsNothing)
{
    canvas.mouseDragged({100, 100});
    EXPECT_FALSE(canvas.currentStroke());
}

TEST_F(CanvasMouse, TheFirstStrokeSubmitsOnALaterTurn)
{
    drawStroke();
    EXPECT_EQ(state(), SessionState::Drawing) << "not within the release itself";
    settle();
    EXPECT_EQ(state(), SessionState::Querying);
    EXPECT_TRUE(canvas.hasCompletedFirstStroke());
}

TEST_F(CanvasMouse, InManualModeStrokesAreCollected)
{
    settings->submitMode.set(SubmitMode::ManualSubmit);
    drawStroke();
    drawStroke();
    settle();
    EXPECT_EQ(state(), SessionState::Drawing);
    EXPECT_EQ(canvas.strokes().size(), 2U);
}

TEST_F(CanvasMouse, ALaterStrokeNeverSubmitsWhateverTheMode)
{
    settings->submitMode.set(SubmitMode::ManualSubmit);
    drawStroke();
    settle();
    settings->submitMode.set(SubmitMode::SingleStroke);
    drawStroke();
    settle();
    EXPECT_EQ(state(), SessionState::Drawing);
}

TEST_F(CanvasMouse, WithoutSettingsTheFirstStrokeSubmits)
{
    settings->submitMode.set(SubmitMode::ManualSubmit);
    settings.reset();
    drawStroke();
    settle();
    EXPECT_EQ(state(), SessionState::Querying);
}

TEST_F(CanvasMouse, APressOutsideOfDrawingDrawsNothing)
{
    session->noteDrawingBegan({100, 100});
    session->advanceToQuery();
    drawStroke();
    EXPECT_TRUE(canvas.strokes().empty());
    EXPECT_FALSE(canvas.currentStroke());
}

TEST_F(CanvasMouse, ASecondPressBeforeTheSubmissionIsNotRenderedAndItsReleaseIsIgnored)
{
    drawStroke();
    canvas.mouseDown({300, 300});
    settle();
    ASSERT_EQ(state(), SessionState::Querying);
    canvas.mouseDragged({400, 400});
    canvas.mouseUp();
    EXPECT_EQ(canvas.strokes().size(), 1U);
    ASSERT_TRUE(canvas.currentStroke());
    EXPECT_EQ(canvas.currentStroke()->path.size(), 1);
}

TEST_F(CanvasMouse, APressWithoutMovementIsAStrokeThatCannotBeSeen)
{
    canvas.mouseDown({100, 100});
    canvas.mouseUp();
    ASSERT_EQ(canvas.strokes().size(), 1U);
    EXPECT_EQ(canvas.strokes().front().path.size(), 1);
    const QImage image = canvas.renderToImage(std::nullopt);
    EXPECT_EQ(image, [&] {
        QImage empty(image.size(), image.format());
        empty.fill(Qt::transparent);
        return empty;
    }());
    settle();
    EXPECT_EQ(state(), SessionState::Querying);
}

TEST_F(CanvasMouse, TellsTheSessionWhereOnTheScreensTheStrokeBegan)
{
    canvas.mouseDown({100, 150});
    canvas.mouseUp();
    EXPECT_TRUE(log.text().contains(QStringLiteral("for point=-1180,-50")));
}

TEST_F(CanvasMouse, EveryPointIsAVertex)
{
    canvas.mouseDown({0, 0});
    std::vector<QPointF> expected{QPointF(0, unionRect.height)};
    for (int i = 1; i <= 500; ++i) {
        const CanvasPoint point{i * 0.25, i % 3 * 0.5};
        canvas.mouseDragged(point);
        expected.push_back(topDownFromCanvas(point, unionRect.height));
    }
    canvas.mouseDragged({125, 0});
    canvas.mouseDragged({125, 0});
    ASSERT_TRUE(canvas.currentStroke());
    const QPolygonF& path = canvas.currentStroke()->path;
    EXPECT_EQ(path.size(), 503);
    EXPECT_EQ(std::vector<QPointF>(path.begin(), path.begin() + 501), expected);
}

TEST_F(CanvasMouse, AStrokeKeepsTheColourItBeganWith)
{
    settings->submitMode.set(SubmitMode::ManualSubmit);
    drag({100, 100}, {150, 100});
    drawing->selectedColor.set(StrokeColor::Blue);
    canvas.mouseDragged({200, 100});
    canvas.mouseUp();
    drawStroke();
    ASSERT_EQ(canvas.strokes().size(), 2U);
    EXPECT_EQ(canvas.strokes()[0].color, StrokeColor::Red);
    EXPECT_EQ(canvas.strokes()[1].color, StrokeColor::Blue);
    const QImage image = canvas.renderToImage(std::nullopt);
    EXPECT_EQ(image.pixelColor(190, static_cast<int>(unionRect.height) - 100), QColor(Qt::red));
}

TEST_F(CanvasMouse, TheTextToolDrawsFreehandToo)
{
    drawing->selectedTool.set(DrawingTool::Text);
    drawStroke();
    EXPECT_EQ(canvas.strokes().size(), 1U);
}

TEST_F(CanvasMouse, ThePointerIsThePenWhileDrawingAndAfterAStroke)
{
    int changes = 0;
    canvas.onCursorChange = [&] { ++changes; };
    EXPECT_TRUE(canvas.showsPenCursor()) << "the session is drawing";
    drawStroke();
    EXPECT_EQ(changes, 1);
    settle();
    ASSERT_EQ(state(), SessionState::Querying);
    EXPECT_TRUE(canvas.showsPenCursor()) << "a stroke has begun";
    canvas.clearDrawingCursor();
    EXPECT_FALSE(canvas.showsPenCursor());
    EXPECT_EQ(changes, 2);
}

TEST_F(CanvasMouse, WithoutAStrokeThePointerIsAnArrowOnceDrawingIsOver)
{
    session->noteDrawingBegan({100, 100});
    session->advanceToQuery();
    EXPECT_FALSE(canvas.showsPenCursor());
}

TEST_F(CanvasMouse, ACanvasThatGoesTakesItsPendingSubmissionWithIt)
{
    {
        DrawingCanvasView shortLived(unionRect, drawing, *session);
        shortLived.mouseDown({1, 1});
        shortLived.mouseUp();
    }
    settle();
    EXPECT_EQ(state(), SessionState::Drawing);
}

} // namespace
} // namespace velmo
