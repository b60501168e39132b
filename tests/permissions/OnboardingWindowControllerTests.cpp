#include "OnboardingTest.h"

namespace velmo {
namespace {

using testing::ElementsAre;

class Onboarding : public OnboardingTest {
protected:
    void openAll(const QList<MissingPermission>& missing, int index = 0)
    {
        open(OnboardingStep::all(missing), index);
    }
};

TEST_F(Onboarding, LeadsThroughWhatIsMissing)
{
    openAll({});
    EXPECT_EQ(names(controller->steps()), "welcome, complete");
    EXPECT_EQ(view().dotContainer().dots().size(), 2);
    openAll({kAccessibility, kScreen, kMicrophone});
    EXPECT_EQ(names(controller->steps()), "welcome, accessibility, screenRecording, microphone, complete");
    EXPECT_EQ(controller->currentIndex(), 0);
    EXPECT_EQ(title(), "Welcome to Velmo");
}

TEST_F(Onboarding, IsCompleteOnceTheLastPageIsLeft)
{
    openAll({});
    press();
    EXPECT_EQ(title(), "You're All Set!");
    EXPECT_EQ(completions, 0);
    EXPECT_TRUE(controller->window()->isVisible());
    press();
    EXPECT_EQ(completions, 1);
    EXPECT_FALSE(controller->window()->isVisible());
    EXPECT_FALSE(controller->isPolling());
    // What comes afterwards is too late.
    controller->updatePermissions({kAccessibility});
    controller->showWindow();
    EXPECT_FALSE(controller->window()->isVisible());
    EXPECT_EQ(completions, 1);
}

TEST_F(Onboarding, IsCompleteAlsoWhenTheLastPageIsSkipped)
{
    permissions.microphone = MicrophoneStatus::Denied;
    open({OnboardingStep::welcome(), OnboardingStep::forPermission(kMicrophone)}, 1);
    skip();
    EXPECT_EQ(completions, 1);
    EXPECT_FALSE(controller->window()->isVisible());
}

TEST_F(Onboarding, MayBeDroppedByWhoHearsOfItsEnd)
{
    dropsWhenComplete = true;
    openAll({}, 1);
    press();
    settle();
    EXPECT_EQ(completions, 1);
    EXPECT_EQ(controller, nullptr);
}

TEST_F(Onboarding, MovesOnWithinASecondOfAGrant)
{
    openAll({kAccessibility, kScreen, kMicrophone});
    EXPECT_FALSE(controller->isPolling());
    press();
    EXPECT_TRUE(controller->isPolling());
    EXPECT_EQ(controller->findChild<QTimer*>(QStringLiteral("pollTimer"))->intervalAsDuration(),
              std::chrono::seconds(1));
    passSecond();
    EXPECT_EQ(shown(), "accessibility");
    permissions.accessibility = true;
    passSecond();
    EXPECT_EQ(shown(), "screenRecording");
    passSecond();
    EXPECT_EQ(shown(), "screenRecording");
    permissions.screenRecording = true;
    passSecond();
    EXPECT_EQ(shown(), "microphone");
    permissions.microphone = MicrophoneStatus::Authorized;
    passSecond();
    EXPECT_EQ(shown(), "complete");
    EXPECT_FALSE(controller->isPolling());
    EXPECT_EQ(completions, 0);
    EXPECT_THAT(permissions.requests, testing::IsEmpty());
}

TEST_F(Onboarding, OnlyThePageThatIsShownIsLookedAfter)
{
    openAll({kAccessibility, kScreen}, 1);
    permissions.screenRecording = true;
    passSecond();
    EXPECT_EQ(shown(), "accessibility");
}

TEST_F(Onboarding, OpensTheSettingsAndStays)
{
    openAll({kAccessibility, kScreen}, 1);
    press();
    EXPECT_THAT(permissions.requests, ElementsAre(QStringLiteral("open Privacy_Accessibility")));
    EXPECT_EQ(shown(), "accessibility");
    EXPECT_TRUE(controller->isPolling());
    permissions.accessibility = true;
    passSecond();
    permissions.requests.clear();
    press();
    EXPECT_THAT(permissions.requests, ElementsAre(QStringLiteral("request screen recording"),
                                                  QStringLiteral("open Privacy_ScreenCapture")));
    EXPECT_EQ(shown(), "screenRecording");
}

TEST_F(Onboarding, AnExplanationGoesWithItsPage)
{
    permissions.explanation = QStringLiteral("There is none.");
    openAll({kAccessibility, kScreen}, 1);
    press();
    EXPECT_TRUE(view().noteLabel().isVisible());
    permissions.accessibility = true;
    passSecond();
    EXPECT_FALSE(view().noteLabel().isVisible());
}

TEST_F(Onboarding, AnyAnswerAboutTheMicrophoneMovesOn)
{
    for (const auto answer :
         {MicrophoneStatus::Authorized, MicrophoneStatus::Denied, MicrophoneStatus::Restricted}) {
        permissions.microphone = MicrophoneStatus::NotDetermined;
        permissions.requests.clear();
        openAll({kMicrophone}, 1);
        press();
        EXPECT_THAT(permissions.requests, ElementsAre(QStringLiteral("request microphone")));
        EXPECT_EQ(shown(), "microphone");
        permissions.answerMicrophone(answer);
        EXPECT_EQ(shown(), "microphone");
        settle();
        EXPECT_EQ(shown(), "complete");
    }
    EXPECT_EQ(completions, 0);
}

TEST_F(Onboarding, ADeniedMicrophoneIsOpenedInSettingsOrSkipped)
{
    permissions.microphone = MicrophoneStatus::Denied;
    openAll({kMicrophone}, 1);
    press();
    EXPECT_THAT(permissions.requests, ElementsAre(QStringLiteral("open Privacy_Microphone")));
    EXPECT_EQ(shown(), "microphone");
    skip();
    EXPECT_EQ(shown(), "complete");
}

TEST_F(Onboarding, TheMicrophonesPageFollowsWhatIsHeardOfIt)
{
    openAll({kMicrophone}, 1);
    EXPECT_EQ(view().primaryButton().text(), QStringLiteral("Allow Access"));
    EXPECT_FALSE(view().secondaryButton().isVisible());
    permissions.becomeMicrophone(MicrophoneStatus::Denied);
    EXPECT_EQ(view().primaryButton().text(), QStringLiteral("Open System Settings"));
    EXPECT_TRUE(view().secondaryButton().isVisible());
    EXPECT_EQ(shown(), "microphone");
    EXPECT_TRUE(controller->isPolling());
    skip();
    EXPECT_EQ(shown(), "complete");
}

TEST_F(Onboarding, WhatIsHeardOfTheMicrophoneLeavesOtherPagesAlone)
{
    permissions.explanation = QStringLiteral("There is none.");
    open({OnboardingStep::forPermission(kAccessibility), OnboardingStep::forPermission(kMicrophone)});
    press();
    permissions.becomeMicrophone(MicrophoneStatus::Denied);
    EXPECT_EQ(title(), "Accessibility Access");
    EXPECT_TRUE(view().noteLabel().isVisible()) << "the page was not made anew";
    EXPECT_FALSE(view().secondaryButton().isVisible());
    permissions.accessibility = true;
    passSecond();
    skip();
    ASSERT_EQ(completions, 1);
    permissions.becomeMicrophone(MicrophoneStatus::Authorized);
    EXPECT_FALSE(controller->window()->isVisible());
}

TEST_F(Onboarding, AnAnswerOnALaterPageChangesNothing)
{
    openAll({kMicrophone}, 1);
    press();
    press(); // Impatient: asked twice.
    permissions.microphone = MicrophoneStatus::Authorized;
    passSecond();
    ASSERT_EQ(shown(), "complete");
    permissions.answerMicrophone(MicrophoneStatus::Authorized);
    settle();
    EXPECT_EQ(shown(), "complete");
    EXPECT_EQ(completions, 0);
}

TEST_F(Onboarding, AnAnswerAfterTheEndReachesNobody)
{
    open({OnboardingStep::forPermission(kMicrophone)});
    press();
    press();
    permissions.answerMicrophone(MicrophoneStatus::Denied);
    settle();
    EXPECT_EQ(completions, 1);

    open({OnboardingStep::forPermission(kMicrophone)});
    permissions.microphone = MicrophoneStatus::NotDetermined;
    press();
    controller.reset();
    permissions.answerMicrophone(MicrophoneStatus::Authorized);
    settle();
    EXPECT_EQ(completions, 1);
}

TEST_F(Onboarding, OneGrantMovesOnePageInWhicheverOrderItIsHeardOf)
{
    // The timer first.
    openAll({kAccessibility, kScreen, kMicrophone}, 1);
    permissions.accessibility = true;
    passSecond();
    controller->updatePermissions({kScreen, kMicrophone});
    EXPECT_EQ(shown(), "screenRecording");
    EXPECT_EQ(controller->currentIndex(), 1);
    // The monitor first.
    openAll({kAccessibility, kScreen, kMicrophone}, 1);
    controller->updatePermissions({kScreen, kMicrophone});
    EXPECT_EQ(shown(), "screenRecording");
    passSecond();
    EXPECT_EQ(shown(), "screenRecording");
    EXPECT_TRUE(controller->isPolling());
}

TEST_F(Onboarding, PermissionsThatComeOneByOneEndAtTheLastPageWithinTwoTicks)
{
    openAll({kAccessibility, kScreen, kMicrophone}, 1);
    permissions.accessibility = permissions.screenRecording = true;
    permissions.microphone = MicrophoneStatus::Authorized;
    passSecond();
    controller->updatePermissions({});
    EXPECT_EQ(names(controller->steps()), "welcome, complete");
    EXPECT_EQ(shown(), "complete");
    EXPECT_FALSE(controller->isPolling());
    EXPECT_EQ(completions, 0);
}

struct Update {
    QList<OnboardingStep> before;
    int index;
    QList<MissingPermission> missing;
    const char* after;
    int newIndex;
};

TEST_F(Onboarding, KeepsTheShownPageOrTheNearestOne)
{
    const auto all = OnboardingStep::all({kAccessibility, kScreen, kMicrophone});
    const auto screen = OnboardingStep::forPermission(kScreen);
    const auto microphone = OnboardingStep::forPermission(kMicrophone);
    const std::vector<Update> updates{
        // The page is still there.
        {all, 0, {kMicrophone}, "welcome, microphone, complete", 0},
        {all, 2, {kScreen, kMicrophone}, "welcome, screenRecording, microphone, complete", 1},
        {all, 3, {kMicrophone}, "welcome, microphone, complete", 1},
        {all, 4, {}, "welcome, complete", 1},
        {OnboardingStep::all({kMicrophone}),
         1,
         {kAccessibility, kScreen, kMicrophone},
         "welcome, accessibility, screenRecording, microphone, complete",
         3},
        {OnboardingStep::all({}), 1, {kScreen}, "welcome, screenRecording, complete", 2},
        // It is not: the same place, or the last.
        {all, 1, {kScreen, kMicrophone}, "welcome, screenRecording, microphone, complete", 1},
        {all, 2, {kAccessibility, kMicrophone}, "welcome, accessibility, microphone, complete", 2},
        {all, 3, {}, "welcome, complete", 1},
        {all, 1, {}, "welcome, complete", 1},
        // Neither a welcome nor an end is made where there was none.
        {{screen, microphone}, 1, {kAccessibility}, "accessibility", 0},
        {{screen, OnboardingStep::complete()}, 0, {kMicrophone}, "microphone, complete", 0},
        {{OnboardingStep::welcome(), screen}, 1, {}, "welcome", 0},
    };
    for (const Update& update : updates) {
        open(update.before, update.index);
        ASSERT_EQ(controller->currentIndex(), update.index);
        controller->updatePermissions(update.missing);
        EXPECT_EQ(names(controller->steps()), update.after);
        EXPECT_EQ(controller->currentIndex(), update.newIndex) << update.after;
        EXPECT_EQ(view().totalSteps, controller->steps().size());
        EXPECT_EQ(view().currentStepIndex, update.newIndex);
        EXPECT_EQ(view().dotContainer().dots().size(), controller->steps().size());
        const bool isPermission =
            controller->steps().at(update.newIndex).kind() == OnboardingStep::Kind::Permission;
        EXPECT_EQ(controller->isPolling(), isPermission) << update.after;
    }
    EXPECT_EQ(completions, 0);
}

TEST_F(Onboarding, AListThatIsTheSameChangesNothing)
{
    permissions.explanation = QStringLiteral("There is none.");
    openAll({kAccessibility, kScreen}, 1);
    press();
    controller->updatePermissions({kAccessibility, kScreen});
    EXPECT_TRUE(view().noteLabel().isVisible());
}

TEST_F(Onboarding, ClosingStopsTheTimerAndCompletesNothing)
{
    openAll({kAccessibility}, 1);
    controller->close();
    EXPECT_FALSE(controller->isPolling());
    EXPECT_FALSE(controller->window()->isVisible());
    EXPECT_EQ(completions, 0);
}

TEST_F(Onboarding, TheUserMayCloseTheWindowAndFindItAgain)
{
    openAll({kAccessibility, kScreen}, 1);
    const QWidget* contents = &view();
    controller->window()->close();
    EXPECT_FALSE(controller->isPolling());
    EXPECT_EQ(completions, 0);
    // The monitor goes on reporting, and nobody sees it.
    controller->updatePermissions({kScreen});
    EXPECT_FALSE(controller->window()->isVisible());
    EXPECT_FALSE(controller->isPolling());
    controller->showWindow();
    EXPECT_TRUE(controller->window()->isVisible());
    EXPECT_EQ(&view(), contents);
    EXPECT_EQ(title(), "Screen Recording");
    EXPECT_TRUE(controller->isPolling());
}

TEST_F(Onboarding, ShowingItAgainKeepsThePage)
{
    openAll({kAccessibility}, 1);
    controller->showWindow();
    EXPECT_EQ(shown(), "accessibility");
    EXPECT_TRUE(controller->isPolling());
}

} // namespace
} // namespace velmo
