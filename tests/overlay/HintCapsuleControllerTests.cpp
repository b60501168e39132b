#include "fakes/FakeScreens.h"
#include "fakes/FakeWindowSurfaces.h"
#include "overlay/HintCapsuleController.h"
#include "support/core/EventLoop.h"

#include <QApplication>
#include <QCursor>
#include <QElapsedTimer>
#include <QLabel>
#include <QScreen>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velmo {
namespace {

/// The toolkit's only screen, split into a left and a right half, with a dock of 50 below the left one.
class HintCapsule : public testing::Test {
protected:
    HintCapsule()
    {
        const QRect all = QGuiApplication::primaryScreen()->geometry();
        const double half = all.width() / 2.0;
        const auto height = static_cast<double>(all.height());
        left = FakeScreens::screen(QStringLiteral("Left"), 1, {0, 0, half, height});
        left.visibleFrame = {0, 50, half, height - 50};
        right = FakeScreens::screen(QStringLiteral("Right"), 2, {half, 0, half, height});
        screens.screens = {left, right};
        screens.mainScreen = left;
        QCursor::setPos(100, 100);
    }

    [[nodiscard]] static QWidget* window()
    {
        const auto widgets = QApplication::topLevelWidgets();
        for (QWidget* widget : widgets) {
            if (widget->size() == HintCapsuleView::kSize)
                return widget;
        }
        return nullptr;
    }

    [[nodiscard]] static QPoint expectedPlace(const Screen& screen)
    {
        const int bottom = QGuiApplication::primaryScreen()->geometry().height();
        return {static_cast<int>(screen.visibleFrame.midX() - 180),
                static_cast<int>(bottom - screen.visibleFrame.minY() - 16 - 40)};
    }

    Screen left;
    Screen right;
    FakeScreens screens;
    FakeWindowSurfaces windows;
    HintCapsuleController capsule{screens, windows};
};

TEST_F(HintCapsule, ComesInSoftlyAboveTheDock)
{
    QElapsedTimer clock;
    clock.start();
    capsule.show();
    ASSERT_TRUE(capsule.isVisible());
    EXPECT_LT(window()->windowOpacity(), 0.5) << "it begins transparent";
    EXPECT_EQ(window()->pos(), expectedPlace(left));
    EXPECT_TRUE(turnUntil([] { return window()->windowOpacity() == 1; }));
    EXPECT_GE(clock.elapsed(), 170);
}

TEST_F(HintCapsule, LeavesSoftlyAndIsGone)
{
    capsule.show();
    ASSERT_TRUE(turnUntil([] { return window()->windowOpacity() == 1; }));
    QElapsedTimer clock;
    clock.start();
    capsule.hide();
    EXPECT_TRUE(capsule.isVisible());
    EXPECT_TRUE(turnUntil([this] { return !capsule.isVisible(); }));
    EXPECT_GE(clock.elapsed(), 110);
}

TEST_F(HintCapsule, MovesToTheScreenUnderThePointerWithoutFadingAgain)
{
    capsule.show();
    ASSERT_TRUE(turnUntil([] { return window()->windowOpacity() == 1; }));
    QCursor::setPos(static_cast<int>(right.frame.midX()), 100);
    capsule.show();
    EXPECT_EQ(window()->windowOpacity(), 1);
    EXPECT_EQ(window()->pos(), expectedPlace(right));
}

TEST_F(HintCapsule, ShownAgainWhileItLeavesItStays)
{
    capsule.show();
    ASSERT_TRUE(turnUntil([] { return window()->windowOpacity() == 1; }));
    capsule.hide();
    ASSERT_TRUE(turnUntil([] { return window()->windowOpacity() < 1; }));
    capsule.show();
    EXPECT_EQ(window()->windowOpacity(), 1);
    QElapsedTimer clock;
    clock.start();
    EXPECT_FALSE(turnUntil([this, &clock] { return !capsule.isVisible() || clock.elapsed() > 200; }) &&
                 !capsule.isVisible())
        << "the old farewell must not take it away";
    EXPECT_EQ(window()->windowOpacity(), 1);
}

TEST_F(HintCapsule, HiddenWhileItComesInItLeavesFromThere)
{
    capsule.show();
    capsule.hide();
    EXPECT_TRUE(turnUntil([this] { return !capsule.isVisible(); }));
}

TEST_F(HintCapsule, HidingAHiddenOneDoesNothing)
{
    capsule.hide();
    EXPECT_FALSE(capsule.isVisible());
    capsule.show();
    capsule.hide();
    capsule.hide();
    EXPECT_TRUE(turnUntil([this] { return !capsule.isVisible(); }));
}

TEST_F(HintCapsule, WithoutACompositorItComesAndGoesAtOnce)
{
    windows.composited = false;
    capsule.show();
    EXPECT_EQ(window()->windowOpacity(), 1);
    EXPECT_FALSE(window()->mask().isEmpty()) << "its corners would be black";
    EXPECT_FALSE(window()->mask().contains(QPoint(0, 0)));
    EXPECT_TRUE(window()->mask().contains(QPoint(180, 20)));
    capsule.hide();
    EXPECT_FALSE(capsule.isVisible());
}

TEST_F(HintCapsule, TakesTheMainScreenAndThenTheFirst)
{
    QCursor::setPos(100, 100);
    screens.screens = {right};
    screens.mainScreen = right;
    capsule.show();
    EXPECT_EQ(window()->pos(), expectedPlace(right)) << "the pointer is on no screen";
    screens.mainScreen.reset();
    const Screen other = FakeScreens::screen(QStringLiteral("Other"), 3, {0, -2000, 700, 600});
    screens.screens = {other, right};
    capsule.show();
    EXPECT_EQ(window()->pos(), expectedPlace(other));
}

TEST_F(HintCapsule, WithoutAnyScreenItStaysAway)
{
    screens.screens.clear();
    screens.mainScreen.reset();
    capsule.show();
    EXPECT_FALSE(capsule.isVisible());
}

TEST_F(HintCapsule, TakesNoClicksAndNoKeys)
{
    capsule.show();
    EXPECT_TRUE(window()->windowFlags().testFlag(Qt::WindowTransparentForInput));
    EXPECT_TRUE(window()->windowFlags().testFlag(Qt::WindowDoesNotAcceptFocus));
    EXPECT_TRUE(window()->testAttribute(Qt::WA_ShowWithoutActivating));
}

TEST_F(HintCapsule, SaysWhatToDo)
{
    const auto* label = window()->findChild<QLabel*>();
    ASSERT_NE(label, nullptr);
    EXPECT_EQ(label->text(), QStringLiteral("Circle area you'd like to ask a question on"));
    EXPECT_EQ(label->font().pixelSize(), 13);
    EXPECT_EQ(label->font().weight(), QFont::Medium);
    EXPECT_LE(label->fontMetrics().horizontalAdvance(label->text()), 360 - 40);
    EXPECT_EQ(windows.withoutShadow, QList<const QWidget*>{window()});
}

} // namespace
} // namespace velmo
