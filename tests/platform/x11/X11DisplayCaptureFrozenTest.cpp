#include "platform/x11/X11DisplayCapture.h"

#include "CaptureFixture.h"
#include "support/x11/RootBackground.h"
#include "support/x11/SplitMonitors.h"

namespace velmo::test {
namespace {

using X11DisplayCaptureFrozenTest = X11DisplayCaptureTest;

TEST_F(X11DisplayCaptureFrozenTest, ShowsTheMomentBeforeThePanelTookTheKeyboard)
{
    const RootBackground background(RootBackground::Announced::No);
    ASSERT_TRUE(display().startWindowManager());
    const PlainClient back(client({100, 80, 800, 600}, 0x204060));
    const PlainClient front(client({400, 300, 900, 500}, 0x604020));
    const QImage before = settledScreen();
    backend().prepare();
    backend().freeze(displayID_);
    const OwnWindows own(*platform_.windowSurfaces);
    ASSERT_TRUE(own.isComplete());
    static_cast<void>(settledScreen());
    EXPECT_EQ(differingPixels(capture(CaptureMoment::Frozen), before), 0);
    // The window manager has repainted the title bar of the window that lost the keyboard.
    EXPECT_GT(differingPixels(capture(), before), 1000);
}

TEST_F(X11DisplayCaptureFrozenTest, LeavesOutOwnWindowsThatWereThere)
{
    const RootBackground background(RootBackground::Announced::Yes);
    const Scene scene;
    const QImage before = settledScreen();
    backend().prepare();
    auto own = std::make_unique<OwnWindows>(*platform_.windowSurfaces);
    ASSERT_TRUE(own->isComplete());
    static_cast<void>(settledScreen());
    backend().freeze(displayID_);
    own.reset();
    EXPECT_EQ(differingPixels(capture(CaptureMoment::Frozen), before), 0);
    EXPECT_EQ(backend().takeDiagnostics(), QStringList());
}

TEST_F(X11DisplayCaptureFrozenTest, KeepsWhatChangesAndClosesAfterwards)
{
    PlainClient painted(client({100, 80, 500, 400}, 0x204060));
    auto closed = std::make_unique<PlainClient>(client({900, 80, 500, 400}, 0x604020));
    const QImage before = settledScreen();
    backend().prepare();
    backend().freeze(displayID_);
    paintOver(painted, {50, 50, 200, 200}, 0xffee11);
    closed.reset();
    const QImage after = settledScreen();
    ASSERT_EQ(differingPixels(after, before), 200 * 200 + 500 * 400);

    EXPECT_EQ(differingPixels(capture(CaptureMoment::Now), after), 0) << "does not take the frozen picture";
    EXPECT_EQ(differingPixels(capture(CaptureMoment::Frozen), before), 0);
    EXPECT_EQ(differingPixels(capture(CaptureMoment::Frozen), after), 0) << "it is given out once";
}

TEST_F(X11DisplayCaptureFrozenTest, IsReplacedByTheNext)
{
    PlainClient window(client({100, 80, 500, 400}, 0x204060));
    backend().prepare();
    backend().freeze(displayID_);
    paintOver(window, {50, 50, 200, 200}, 0xffee11);
    const QImage second = settledScreen();
    backend().freeze(displayID_);
    paintOver(window, {50, 50, 200, 200}, 0x11eeff);
    EXPECT_EQ(differingPixels(capture(CaptureMoment::Frozen), second), 0);
    EXPECT_EQ(differingPixels(capture(CaptureMoment::Frozen), settledScreen()), 0);
}

TEST_F(X11DisplayCaptureFrozenTest, IsDroppedByRelease)
{
    PlainClient window(client({100, 80, 500, 400}, 0x204060));
    backend().prepare();
    backend().freeze(displayID_);
    paintOver(window, {50, 50, 200, 200}, 0xffee11);
    backend().release();
    backend().prepare();
    EXPECT_EQ(differingPixels(capture(CaptureMoment::Frozen), settledScreen()), 0);
}

TEST_F(X11DisplayCaptureFrozenTest, SurvivesASecondPreparation)
{
    PlainClient window(client({100, 80, 500, 400}, 0x204060));
    const QImage before = settledScreen();
    backend().prepare();
    backend().freeze(displayID_);
    paintOver(window, {50, 50, 200, 200}, 0xffee11);
    backend().prepare();
    EXPECT_EQ(differingPixels(capture(CaptureMoment::Frozen), before), 0);
}

TEST_F(X11DisplayCaptureFrozenTest, KeepsNothingUnlessPrepared)
{
    PlainClient window(client({100, 80, 500, 400}, 0x204060));
    backend().freeze(displayID_);
    paintOver(window, {50, 50, 200, 200}, 0xffee11);
    EXPECT_FALSE(backend().captureDisplay(displayID_, CaptureMoment::Frozen));
    backend().prepare();
    EXPECT_EQ(differingPixels(capture(CaptureMoment::Frozen), settledScreen()), 0);
}

TEST_F(X11DisplayCaptureFrozenTest, BelongsToOneDisplay)
{
    const RootBackground background(RootBackground::Announced::No);
    const SplitMonitors monitors;
    // A part of it is on either.
    PlainClient window(client({700, 300, 600, 400}, 0x204060));
    const QImage before = settledScreen();
    backend().prepare();
    backend().freeze(monitors.east());
    paintOver(window, {0, 0, 600, 400}, 0xffee11);
    const QImage after = settledScreen();
    displayID_ = monitors.west();
    EXPECT_EQ(differingPixels(capture(CaptureMoment::Frozen), after.copy(SplitMonitors::kWest)), 0);
    displayID_ = monitors.east();
    EXPECT_EQ(differingPixels(capture(CaptureMoment::Frozen), before.copy(SplitMonitors::kEast)), 0);
}

TEST_F(X11DisplayCaptureFrozenTest, IsOfTheFirstDisplayWithoutAKnownOne)
{
    const SplitMonitors monitors;
    PlainClient window(client({700, 300, 600, 400}, 0x204060));
    backend().prepare();
    auto content = backend().shareableContent();
    ASSERT_TRUE(content);
    ASSERT_EQ(content.value().displays.front().id, monitors.west());
    displayID_ = monitors.west();
    for (const auto id : {std::optional<quint32>(), std::optional<quint32>(0xffffff)}) {
        const QImage before = settledScreen();
        backend().freeze(id);
        paintOver(window, {0, 0, 600, 400}, id ? 0xffee11 : 0x11eeff);
        ASSERT_NE(differingPixels(settledScreen(), before), 0);
        EXPECT_EQ(differingPixels(capture(CaptureMoment::Frozen), before.copy(SplitMonitors::kWest)), 0);
    }
}

TEST_F(X11DisplayCaptureFrozenTest, ShowsADisplayThatWentMeanwhile)
{
    const RootBackground background(RootBackground::Announced::No);
    backend().prepare();
    QImage before;
    {
        const SplitMonitors monitors;
        before = settledScreen().copy(SplitMonitors::kEast);
        displayID_ = monitors.east();
        backend().freeze(displayID_);
    }
    EXPECT_EQ(differingPixels(capture(CaptureMoment::Frozen), before), 0);
    EXPECT_FALSE(backend().captureDisplay(displayID_, CaptureMoment::Frozen));
}

} // namespace
} // namespace velmo::test
