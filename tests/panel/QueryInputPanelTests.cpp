#include "panel/CardShape.h"
#include "panel/InputPanelTest.h"

#include <QLineEdit>
#include <QPainter>
#include <QScreen>

namespace velmo {
namespace {

TEST_F(InputPanel, OnlyTheCardIsTheWindow)
{
    show();
    EXPECT_EQ(windows.shape, QRegion(panel->cardFrame()));
    panel->animateHeight(300);
    expectGrowthTo(300);
    EXPECT_EQ(windows.shape, QRegion(0, 420, 620, 300));
}

TEST_F(InputPanel, CutsTheCornersOffWithoutACompositor)
{
    windows.composited = false;
    show();
    const QRect frame = panel->cardFrame();
    EXPECT_EQ(windows.shape.boundingRect(), frame);
    for (const QPoint& corner : {frame.topLeft(), frame.topRight(), frame.bottomLeft(), frame.bottomRight()})
        EXPECT_FALSE(windows.shape.contains(corner));
    EXPECT_TRUE(windows.shape.contains(frame.topLeft() + QPoint(18, 0)));
    EXPECT_TRUE(windows.shape.contains(frame.topLeft() + QPoint(0, 18)));
}

TEST_F(InputPanel, EscapeIsCalledOncePerPress)
{
    show();
    EXPECT_TRUE(press(Qt::Key_Escape));
    EXPECT_TRUE(press(Qt::Key_Escape, true));
    EXPECT_EQ(escapes, 1);
    EXPECT_FALSE(press(Qt::Key_F7));
    EXPECT_TRUE(press(Qt::Key_Escape));
    EXPECT_EQ(escapes, 2);
}

TEST_F(InputPanel, FollowsADragAndGrowsFromThere)
{
    show();
    panel->animateHeight(300);
    drag({-33, -71});
    EXPECT_EQ(cardBottomLeft(), kRest + QPoint(-33, -71));
    expectGrowthTo(300);
    EXPECT_EQ(cardBottomLeft(), kRest + QPoint(-33, -71));
}

TEST_F(InputPanel, FollowsADragWhileItComesIn)
{
    panel->enter([] {});
    drag({20, 10});
    EXPECT_TRUE(turnUntil([&] { return panel->windowOpacity() == 1; }));
    EXPECT_EQ(cardBottomLeft(), kRest + QPoint(20, 10));
}

TEST_F(InputPanel, IsNotDraggedByWhatTakesPresses)
{
    auto* field = new QLineEdit(card);
    field->setGeometry(0, 0, 100, 30);
    show();
    drag({-30, -70});
    EXPECT_EQ(cardBottomLeft(), kRest);
    field->setEnabled(false);
    drag({-30, -70});
    EXPECT_EQ(cardBottomLeft(), kRest);
}

TEST_F(InputPanel, AlwaysLeavesSomethingToGrasp)
{
    show();
    panel->animateHeight(720);
    expectGrowthTo(720);
    const QRect screen = QGuiApplication::primaryScreen()->geometry();
    for (const QPoint& by : {QPoint(3000, 0), QPoint(-6000, 0), QPoint(0, 5000), QPoint(0, -9000)}) {
        drag(by);
        // Even when the card is small again.
        const QRect smallest(cardBottomLeft() - QPoint(0, 130), QSize(620, 130));
        const QRect seen = smallest.intersected(screen);
        EXPECT_GE(seen.width(), 40) << by.x() << ',' << by.y();
        EXPECT_GE(seen.height(), 40) << by.x() << ',' << by.y();
    }
}

TEST_F(InputPanel, GivesTheKeyboardBackWhenItHasFadedAway)
{
    show();
    EXPECT_EQ(windows.kept->keeper, panel);
    panel->leaveAndDelete();
    EXPECT_TRUE(panel->isVisible());
    EXPECT_TRUE(windows.kept->returned.isEmpty());
    EXPECT_TRUE(turnUntil([&] { return !windows.kept->returned.isEmpty(); }));
    EXPECT_EQ(windows.kept->returned, (QList<const QWidget*>{panel}));
    EXPECT_EQ(windows.kept->keeper, nullptr);
    EXPECT_TRUE(awaitDeletion(existing));
}

TEST_F(InputPanel, IsGoneAtOnceWithoutACompositor)
{
    windows.composited = false;
    show();
    panel->leaveAndDelete();
    EXPECT_FALSE(panel->isVisible());
    EXPECT_EQ(windows.kept->returned.size(), 1);
}

TEST_F(InputPanel, GivesTheKeyboardBackWhileItStepsAside)
{
    show();
    panel->stepAside();
    EXPECT_FALSE(panel->isVisible());
    EXPECT_EQ(windows.kept->returned.size(), 1);
    panel->takeKeyboard();
    EXPECT_EQ(windows.kept->keeper, nullptr) << "a hidden window takes no keyboard";
    panel->comeBack();
    panel->takeKeyboard();
    EXPECT_EQ(windows.kept->keeper, panel);
    EXPECT_TRUE(panel->isVisible());
}

TEST_F(InputPanel, LeavesTheWindowSystemAloneOnceItLeaves)
{
    show();
    panel->animateHeight(400);
    panel->leaveAndDelete();
    windows.shape = QRegion();
    QEvent screenChange(QEvent::ScreenChangeInternal);
    QApplication::sendEvent(panel, &screenChange);
    EXPECT_TRUE(turnUntil([this] { return !windows.kept->returned.isEmpty(); }));
    EXPECT_TRUE(windows.shape.isEmpty());
}

TEST_F(InputPanel, FadesAsAPictureOfItsCard)
{
    show();
    panel->leaveAndDelete();
    EXPECT_FALSE(card->isVisible());
    EXPECT_FALSE(press(Qt::Key_Escape));
    EXPECT_EQ(escapes, 0);
    EXPECT_TRUE(panel->isVisible());
}

TEST(CardShape, CoversOnlyWholePixels)
{
    EXPECT_EQ(coveredPixels({0, 590, 620, 130}, 1), QRect(0, 590, 620, 130));
    EXPECT_EQ(coveredPixels({0, 590, 620, 130}, 2), QRect(0, 1180, 1240, 260));
    EXPECT_EQ(coveredPixels({0, 590, 620, 130}, 1.5), QRect(0, 885, 930, 195));
    // The upper edge is in the middle of a row of pixels.
    EXPECT_EQ(coveredPixels({0, 590, 620, 130}, 1.25), QRect(0, 738, 775, 162));
}

TEST(CardShape, IsRoundAtItsCorners)
{
    const QRect frame(10, 20, 100, 60);
    const QRegion region = roundedRegion(frame, 18);
    QImage expected(120, 100, QImage::Format_Grayscale8);
    expected.fill(Qt::black);
    QPainter painter(&expected);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(Qt::white);
    painter.drawRoundedRect(frame, 18, 18);
    painter.end();
    for (int y = 0; y < expected.height(); ++y) {
        for (int x = 0; x < expected.width(); ++x) {
            const int covered = qGray(expected.pixel(x, y));
            // What is covered by about half may be on either side.
            if (covered < 80 || covered > 175) {
                EXPECT_EQ(region.contains(QPoint(x, y)), covered > 175) << x << ',' << y;
            }
        }
    }
}

} // namespace
} // namespace velmo
