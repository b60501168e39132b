#include "panel/QueryInputPanel.h"

#include "fakes/FakeWindowSurfaces.h"
#include "panel/CardShape.h"
#include "support/core/EventLoop.h"

#include <QApplication>
#include <QLineEdit>
#include <QMouseEvent>
#include <QPainter>
#include <QPointer>
#include <QScreen>
#include <QWindow>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velmo {
namespace {

/// Longer than any animation of the panel.
constexpr std::chrono::milliseconds kAllAnimations{500};
constexpr int kEntranceOffset = 18;

class InputPanel : public testing::Test {
protected:
    InputPanel()
    {
        panel->setCard(card);
        panel->onEscape = [this] { ++escapes; };
    }
    ~InputPanel() override
    {
        if (!existing.isNull())
            panel->leaveAndDelete();
        EXPECT_TRUE(awaitDeletion(existing));
    }

    /// What is deleted later outside of any loop would otherwise wait for one.
    [[nodiscard]] static bool awaitDeletion(const QPointer<QueryInputPanel>& window)
    {
        return turnUntil([&] {
            QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
            return window.isNull();
        });
    }

    void show()
    {
        bool isShown = false;
        panel->enter([&] { isShown = true; });
        panel->takeKeyboard();
        ASSERT_TRUE(turnUntil([&] { return isShown; }));
    }

    [[nodiscard]] int height() const { return panel->cardFrame().height(); }
    /// In the toolkit's global coordinates.
    [[nodiscard]] QPoint cardBottomLeft() const
    {
        const QRect frame = panel->cardFrame().translated(panel->pos());
        return {frame.x(), frame.y() + frame.height()};
    }

    /// Watches the card until it has that height; its bottom edge must stay where it is.
    void expectGrowthTo(int target)
    {
        const QPoint bottom = cardBottomLeft();
        EXPECT_TRUE(turnUntil([&] {
            EXPECT_EQ(cardBottomLeft(), bottom);
            return height() == target;
        })) << height();
    }

    [[nodiscard]] bool press(int key, bool isRepeat = false) const
    {
        QKeyEvent event(QEvent::KeyPress, key, Qt::NoModifier, QString(), isRepeat);
        return QApplication::sendEvent(panel->windowHandle(), &event) && event.isAccepted();
    }

    /// Where the pointer is on the whole desktop, over that point of the panel before it moves.
    void mouse(QEvent::Type type, QPoint global) const
    {
        const QPointF local(global - panel->pos());
        const bool isMove = type == QEvent::MouseMove;
        QMouseEvent event(type, local, local, QPointF(global), isMove ? Qt::NoButton : Qt::LeftButton,
                          type == QEvent::MouseButtonRelease ? Qt::NoButton : Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(panel->windowHandle(), &event);
    }

    void drag(QPoint by) const
    {
        const QPoint from = panel->pos() + panel->cardFrame().topLeft() + QPoint(5, 5);
        mouse(QEvent::MouseButtonPress, from);
        constexpr int kSteps = 4;
        for (int step = 1; step <= kSteps; ++step)
            mouse(QEvent::MouseMove, from + by * step / kSteps);
        mouse(QEvent::MouseButtonRelease, from + by);
    }

    static constexpr QPoint kRest{90, 500};
    FakeWindowSurfaces windows;
    QueryInputPanel* const panel = new QueryInputPanel(kRest, windows);
    const QPointer<QueryInputPanel> existing{panel}; ///< Null once the panel has deleted itself.
    QWidget* card = new QWidget;
    int escapes = 0;
};

TEST_F(InputPanel, ComesInFromBelowAndRestsWhereItWasAsked)
{
    panel->enter([] {});
    EXPECT_EQ(cardBottomLeft(), kRest + QPoint(0, kEntranceOffset));
    EXPECT_EQ(panel->windowOpacity(), 0);
    EXPECT_TRUE(turnUntil([&] { return panel->windowOpacity() == 1; }));
    EXPECT_EQ(cardBottomLeft(), kRest);
    EXPECT_EQ(panel->size(), QSize(620, 738));
    EXPECT_EQ(card->geometry(), panel->cardFrame());
    EXPECT_EQ(windows.withoutShadow, (QList<const QWidget*>{panel}));
}

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

TEST_F(InputPanel, IsClampedToItsLimits)
{
    show();
    panel->animateHeight(5000);
    expectGrowthTo(720);
    panel->animateHeight(40);
    expectGrowthTo(130);
}

TEST_F(InputPanel, IgnoresChangesOfNoMoreThanAPoint)
{
    show();
    panel->animateHeight(131);
    turnFor(kAllAnimations);
    EXPECT_EQ(height(), 130);
    panel->animateHeight(132);
    expectGrowthTo(132);
}

TEST_F(InputPanel, MeasuresChangesFromWhereItIsGoing)
{
    show();
    panel->animateHeight(400);
    EXPECT_TRUE(turnUntil([&] { return height() > 200; }));
    // The same again neither starts over nor stops what goes on.
    panel->animateHeight(400);
    panel->animateHeight(401);
    EXPECT_LT(height(), 400);
    expectGrowthTo(400);
    turnFor(kAllAnimations);
    EXPECT_EQ(height(), 400);
}

TEST_F(InputPanel, TurnsRoundFromWhereItIs)
{
    show();
    panel->animateHeight(600);
    EXPECT_TRUE(turnUntil([&] { return height() > 200; }));
    const int reached = height();
    // Within a point of where it is, but not of where it was going.
    panel->animateHeight(reached);
    expectGrowthTo(reached);
    turnFor(kAllAnimations);
    EXPECT_EQ(height(), reached);
}

TEST_F(InputPanel, GrowsAtOnceWhileNobodyLooks)
{
    panel->animateHeight(300);
    EXPECT_EQ(height(), 300);
    EXPECT_EQ(cardBottomLeft(), kRest);
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
