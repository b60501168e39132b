// How the panel's window comes, grows and goes. The animations are asked themselves, not the clock.

#include "panel/InputPanelTest.h"

#include <QVariantAnimation>
#include <array>

namespace velmo {
namespace {

constexpr int kEntranceOffset = 18;

/// A course: how far it is after those shares of its time.
struct Course {
    std::array<double, 5> progress;
};
constexpr std::array<double, 5> kShares{0.1, 0.25, 0.5, 0.75, 0.9};
/// Of the curves with the control points (0, 0) and (0.58, 1), and (0.12, 0.9) and (0.25, 1).
constexpr Course kEaseOut{{0.1606, 0.3781, 0.6846, 0.9065, 0.9830}};
constexpr Course kGrowth{{0.5312, 0.8235, 0.9605, 0.9941, 0.9993}};

class PanelAnimations : public InputPanel {
protected:
    [[nodiscard]] QVariantAnimation& animation(const char* name) const
    {
        return *panel->findChild<QVariantAnimation*>(QLatin1String(name), Qt::FindDirectChildrenOnly);
    }
    [[nodiscard]] QVariantAnimation& entrance() const { return animation("entrance"); }
    [[nodiscard]] QVariantAnimation& resize() const { return animation("resize"); }
    [[nodiscard]] QVariantAnimation& exit() const { return animation("exit"); }

    static void expectCourse(const QVariantAnimation& animation, const Course& course)
    {
        for (std::size_t index = 0; index < kShares.size(); ++index) {
            EXPECT_NEAR(animation.easingCurve().valueForProgress(kShares.at(index)),
                        course.progress.at(index), 0.002)
                << kShares.at(index);
        }
    }
    static void finish(QVariantAnimation& animation) { animation.setCurrentTime(animation.duration()); }
    /// Grows by itself no further, since nothing turns the loop.
    void growHalfwayTo(int target) const
    {
        panel->animateHeight(target);
        ASSERT_EQ(resize().state(), QAbstractAnimation::Running);
        resize().setCurrentTime(100);
    }
};

TEST_F(PanelAnimations, TheEntranceTakes260MillisecondsAndEasesOut)
{
    EXPECT_EQ(entrance().duration(), 260);
    EXPECT_EQ(entrance().startValue(), QVariant(0.0));
    EXPECT_EQ(entrance().endValue(), QVariant(1.0));
    expectCourse(entrance(), kEaseOut);
}

TEST_F(PanelAnimations, TheHeightTakes320MillisecondsAndIsFastAtFirst)
{
    EXPECT_EQ(resize().duration(), 320);
    expectCourse(resize(), kGrowth);
    show();
    panel->animateHeight(330);
    EXPECT_EQ(resize().startValue(), QVariant(130.0));
    EXPECT_EQ(resize().endValue(), QVariant(330.0));
    for (std::size_t index = 0; index < kShares.size(); ++index) {
        resize().setCurrentTime(static_cast<int>(320 * kShares.at(index)));
        EXPECT_NEAR(height(), 130 + 200 * kGrowth.progress.at(index), 1) << kShares.at(index);
        EXPECT_EQ(cardBottomLeft(), kRest);
        EXPECT_EQ(card->geometry(), panel->cardFrame());
    }
}

TEST_F(PanelAnimations, TheExitTakes150MillisecondsFromTheOpacityThatThereIs)
{
    panel->enter([] {});
    entrance().setCurrentTime(130);
    const double reached = panel->windowOpacity();
    ASSERT_GT(reached, 0);
    ASSERT_LT(reached, 1);
    panel->leaveAndDelete();
    EXPECT_EQ(entrance().state(), QAbstractAnimation::Stopped);
    EXPECT_EQ(exit().duration(), 150);
    EXPECT_EQ(exit().startValue(), QVariant(reached));
    EXPECT_EQ(exit().endValue(), QVariant(0.0));
    EXPECT_EQ(exit().state(), QAbstractAnimation::Running);
    EXPECT_EQ(panel->windowOpacity(), reached);
    exit().setCurrentTime(75);
    EXPECT_LT(panel->windowOpacity(), reached);
    EXPECT_GT(panel->windowOpacity(), 0);
}

TEST_F(PanelAnimations, WithoutACompositorTheExitTakesNoTime)
{
    windows.composited = false;
    show();
    panel->leaveAndDelete();
    EXPECT_EQ(exit().duration(), 0);
}

TEST_F(PanelAnimations, ComesInFromBelowAndRestsWhereItWasAsked)
{
    bool isShown = false;
    panel->enter([&] { isShown = true; });
    EXPECT_EQ(cardBottomLeft(), kRest + QPoint(0, kEntranceOffset));
    EXPECT_EQ(panel->windowOpacity(), 0);
    for (std::size_t index = 0; index < kShares.size(); ++index) {
        entrance().setCurrentTime(static_cast<int>(260 * kShares.at(index)));
        const double progress = kEaseOut.progress.at(index);
        // The toolkit keeps opacities in 255 steps.
        EXPECT_NEAR(panel->windowOpacity(), progress, 0.01);
        EXPECT_NEAR(cardBottomLeft().y(), kRest.y() + kEntranceOffset * (1 - progress), 0.6);
        EXPECT_EQ(cardBottomLeft().x(), kRest.x());
    }
    EXPECT_FALSE(isShown);
    finish(entrance());
    EXPECT_TRUE(isShown);
    EXPECT_EQ(panel->windowOpacity(), 1);
    EXPECT_EQ(cardBottomLeft(), kRest);
    EXPECT_EQ(panel->size(), QSize(620, 738));
    EXPECT_EQ(card->geometry(), panel->cardFrame());
    EXPECT_EQ(windows.withoutShadow, (QList<const QWidget*>{panel}));
}

TEST_F(PanelAnimations, ArrivesByItself)
{
    panel->enter([] {});
    panel->animateHeight(300);
    EXPECT_TRUE(turnUntil([this] {
        return entrance().state() == QAbstractAnimation::Stopped &&
               resize().state() == QAbstractAnimation::Stopped;
    }));
    EXPECT_EQ(panel->windowOpacity(), 1);
    EXPECT_EQ(height(), 300);
    EXPECT_EQ(cardBottomLeft(), kRest);
}

TEST_F(PanelAnimations, HeightsAreClampedToTheirLimits)
{
    show();
    struct Case {
        int asked;
        double planned;
    };
    for (const Case& step : {Case{5000, 720}, Case{721, 720}, Case{40, 130}, Case{-1, 130}, Case{719, 719}}) {
        panel->animateHeight(step.asked);
        EXPECT_EQ(resize().endValue(), QVariant(step.planned)) << step.asked;
        finish(resize());
        EXPECT_EQ(height(), step.planned) << step.asked;
    }
}

TEST_F(PanelAnimations, ChangesOfNoMoreThanAPointStartNothing)
{
    show();
    struct Case {
        int asked;
        bool moves;
    };
    for (const Case& step :
         {Case{130, false}, Case{131, false}, Case{40, false}, Case{129, false}, Case{132, true}}) {
        panel->animateHeight(step.asked);
        EXPECT_EQ(resize().state() == QAbstractAnimation::Running, step.moves) << step.asked;
        EXPECT_EQ(height(), 130) << step.asked;
    }
    finish(resize());
    for (const Case& step : {Case{132, false}, Case{133, false}, Case{131, false}, Case{130, true}}) {
        panel->animateHeight(step.asked);
        EXPECT_EQ(resize().state() == QAbstractAnimation::Running, step.moves) << step.asked;
        EXPECT_EQ(height(), 132) << step.asked;
    }
}

TEST_F(PanelAnimations, ChangesAreMeasuredFromWhereItIsGoing)
{
    show();
    growHalfwayTo(400);
    const int reached = height();
    ASSERT_GT(reached, 200);
    ASSERT_LT(reached, 400);
    // The same again neither starts over nor stops what goes on.
    for (const int same : {400, 401, 399}) {
        panel->animateHeight(same);
        EXPECT_EQ(resize().state(), QAbstractAnimation::Running) << same;
        EXPECT_EQ(resize().currentTime(), 100) << same;
        EXPECT_EQ(resize().startValue(), QVariant(130.0)) << same;
        EXPECT_EQ(resize().endValue(), QVariant(400.0)) << same;
    }
    EXPECT_EQ(height(), reached);
    finish(resize());
    EXPECT_EQ(height(), 400);
}

TEST_F(PanelAnimations, TurnsRoundFromWhereItIs)
{
    show();
    growHalfwayTo(600);
    const int reached = height();
    const double exactly = resize().currentValue().toDouble();
    // Within a point of where it is, but not of where it was going.
    panel->animateHeight(reached);
    EXPECT_EQ(resize().state(), QAbstractAnimation::Running);
    EXPECT_EQ(resize().currentTime(), 0);
    EXPECT_EQ(resize().startValue(), QVariant(exactly));
    EXPECT_EQ(resize().endValue(), QVariant(static_cast<double>(reached)));
    EXPECT_EQ(height(), reached) << "nothing jumps";
    finish(resize());
    EXPECT_EQ(height(), reached);
}

TEST_F(PanelAnimations, GrowsAtOnceWhileNobodyLooks)
{
    panel->animateHeight(300);
    EXPECT_EQ(resize().state(), QAbstractAnimation::Stopped);
    EXPECT_EQ(height(), 300);
    EXPECT_EQ(cardBottomLeft(), kRest);
}

TEST_F(PanelAnimations, AHeightThatIsAskedForWhileItLeavesTouchesNothing)
{
    show();
    growHalfwayTo(400);
    panel->leaveAndDelete();
    EXPECT_EQ(resize().state(), QAbstractAnimation::Stopped);
    const QRect frame = panel->cardFrame();
    windows.shape = QRegion();
    for (const int height : {130, 400, 600}) {
        panel->animateHeight(height);
        EXPECT_EQ(resize().state(), QAbstractAnimation::Stopped) << height;
        EXPECT_EQ(panel->cardFrame(), frame) << height;
    }
    EXPECT_TRUE(turnUntil([this] { return !windows.kept->returned.isEmpty(); }));
    ASSERT_FALSE(existing.isNull()) << "it is deleted by the next turn";
    // Hidden, a height would be taken at once.
    panel->animateHeight(600);
    EXPECT_EQ(panel->cardFrame(), frame);
    EXPECT_TRUE(windows.shape.isEmpty());
}

} // namespace
} // namespace velmo
