#include "support/app/LifecycleTest.h"

namespace velmo {
namespace {

/// The window of the first start, as the program's life shows it.
using OnboardingLifecycleTest = LifecycleTest;

TEST_F(OnboardingLifecycleTest, AFirstStartIsWelcomedAlsoWhereNothingIsMissing)
{
    settings->hasCompletedOnboarding.set(false);
    launch();
    ASSERT_NE(onboarding(), nullptr);
    EXPECT_EQ(onboarding()->steps(), OnboardingStep::all({}));
    EXPECT_TRUE(onboarding()->window()->isVisible());
    EXPECT_EQ(tap->starts, 1) << "the gestures work behind it";
    // Also when it is looked at again.
    EXPECT_TRUE(delegate->handlePermissionState(false));
    EXPECT_NE(onboarding(), nullptr);
}

TEST_F(OnboardingLifecycleTest, AFirstStartWaitsAMomentForTheMicrophoneSoThatItsDotsAreRight)
{
    settings->hasCompletedOnboarding.set(false);
    permissions->microphone = MicrophoneStatus::NotDetermined;
    launch();
    ASSERT_NE(onboarding(), nullptr);
    EXPECT_EQ(onboarding()->window(), nullptr);
    permissions->becomeMicrophone(MicrophoneStatus::Authorized);
    ASSERT_NE(onboarding()->window(), nullptr);
    EXPECT_TRUE(onboarding()->window()->isVisible());
    EXPECT_EQ(onboarding()->steps(), OnboardingStep::all({}));
    EXPECT_EQ(onboarding()->contentView()->dotContainer().dots().size(), 2);

    onboarding()->window()->close();
    permissions->becomeMicrophone(MicrophoneStatus::Denied);
    EXPECT_FALSE(onboarding()->window()->isVisible()) << "later answers open nothing";
}

TEST_F(OnboardingLifecycleTest, AFirstStartDoesNotWaitLongForTheMicrophone)
{
    settings->hasCompletedOnboarding.set(false);
    permissions->microphone = MicrophoneStatus::NotDetermined;
    launch();
    ASSERT_TRUE(turnUntil([this] { return onboarding()->window() != nullptr; }));
    EXPECT_TRUE(onboarding()->window()->isVisible());
    EXPECT_EQ(onboarding()->steps(), OnboardingStep::all({MissingPermission::Microphone}));
}

TEST_F(OnboardingLifecycleTest, AFirstStartThatBeginsWithADrawingShowsItsWelcomeBelow)
{
    settings->hasCompletedOnboarding.set(false);
    permissions->microphone = MicrophoneStatus::NotDetermined;
    launch();
    delegate->requestAnnotation();
    EXPECT_EQ(state(), SessionState::Drawing);
    ASSERT_NE(onboarding()->window(), nullptr);
    EXPECT_TRUE(onboarding()->window()->isVisible());
    const qsizetype brought = windows->activated.size();
    permissions->becomeMicrophone(MicrophoneStatus::Authorized);
    EXPECT_EQ(windows->activated.size(), brought) << "nothing comes in front of the drawing";
}

TEST_F(OnboardingLifecycleTest, AFirstStartThatEndsBeforeItIsShownStaysAway)
{
    settings->hasCompletedOnboarding.set(false);
    permissions->microphone = MicrophoneStatus::NotDetermined;
    launch();
    delegate->applicationWillTerminate();
    permissions->becomeMicrophone(MicrophoneStatus::Authorized);
    EXPECT_EQ(onboarding()->window(), nullptr);
}

TEST_F(OnboardingLifecycleTest, AFirstStartLeadsThroughWhatIsMissingToItsEnd)
{
    settings->hasCompletedOnboarding.set(false);
    permissions->accessibility = false;
    permissions->microphone = MicrophoneStatus::Denied;
    launch();
    ASSERT_NE(onboarding(), nullptr);
    EXPECT_EQ(onboarding()->steps(),
              OnboardingStep::all({MissingPermission::Accessibility, MissingPermission::Microphone}));
    EXPECT_EQ(tap->starts, 0);
    EXPECT_EQ(settingsWindow(), nullptr);

    primary(); // The welcome.
    EXPECT_EQ(onboarding()->currentIndex(), 1);
    permissions->accessibility = true;
    passSecond();
    EXPECT_EQ(tap->starts, 1);
    EXPECT_EQ(shown(), OnboardingStep::forPermission(MissingPermission::Microphone));
    passSecond();
    EXPECT_EQ(shown(), OnboardingStep::forPermission(MissingPermission::Microphone));
    onboarding()->contentView()->secondaryButton().click();
    EXPECT_EQ(shown(), OnboardingStep::complete());
    EXPECT_FALSE(settings->hasCompletedOnboarding.value());
    primary();
    EXPECT_TRUE(settings->hasCompletedOnboarding.value());
    EXPECT_EQ(onboarding(), nullptr);
    EXPECT_EQ(tap->starts, 1);
}

TEST_F(OnboardingLifecycleTest, AFirstStartThatIsClosedComesBackOnlyWhenItIsNeeded)
{
    settings->hasCompletedOnboarding.set(false);
    permissions->accessibility = false;
    launch();
    onboarding()->window()->close();
    EXPECT_FALSE(delegate->handlePermissionState(false));
    EXPECT_FALSE(onboarding()->window()->isVisible());
    delegate->requestAnnotation();
    EXPECT_TRUE(onboarding()->window()->isVisible());
    EXPECT_FALSE(settings->hasCompletedOnboarding.value());
}

TEST_F(OnboardingLifecycleTest, NobodyAsksForTheMicrophoneBehindAFirstStartThatIsClosed)
{
    settings->hasCompletedOnboarding.set(false);
    launch();
    onboarding()->window()->close();
    const int questions = permissions->microphoneQuestions;
    EXPECT_TRUE(delegate->handlePermissionState(false));
    EXPECT_EQ(permissions->microphoneQuestions, questions);
    permissions->accessibility = false;
    EXPECT_FALSE(delegate->handlePermissionState(false));
    EXPECT_EQ(permissions->microphoneQuestions, questions);

    // What has changed meanwhile is there when it is needed again.
    delegate->requestAnnotation();
    EXPECT_GT(permissions->microphoneQuestions, questions);
    EXPECT_EQ(onboarding()->steps(), OnboardingStep::all({MissingPermission::Accessibility}));
}

TEST_F(OnboardingLifecycleTest, AskingForTheOverlayDuringAFirstStartBeginsItWhereItCan)
{
    settings->hasCompletedOnboarding.set(false);
    launch();
    onboarding()->window()->close();
    delegate->requestAnnotation();
    EXPECT_EQ(state(), SessionState::Drawing);
    EXPECT_FALSE(onboarding()->window()->isVisible());
}

TEST_F(OnboardingLifecycleTest, AFirstStartThatEndsWithoutAPermissionShowsWhichOne)
{
    settings->hasCompletedOnboarding.set(false);
    launch();
    primary();
    ASSERT_EQ(shown(), OnboardingStep::complete());
    permissions->accessibility = false;
    primary();
    EXPECT_EQ(onboarding(), nullptr);
    ASSERT_NE(settingsWindow(), nullptr);
    EXPECT_EQ(settings->settingsSelectedTab.value(), 1);
}

TEST_F(OnboardingLifecycleTest, TheLastPageNamesTheHotkeyAlsoWhenItHasChangedMeanwhile)
{
    const auto line = [this] { return onboarding()->contentView()->hotkeyLabel().text(); };
    settings->hasCompletedOnboarding.set(false);
    launch();
    primary();
    ASSERT_EQ(shown(), OnboardingStep::complete());
    EXPECT_EQ(line(), QStringLiteral("Your hotkey is Ctrl + Alt + Space."));
    settings->hotkeyModifiers.set(static_cast<qint64>(ModifierFlag::Shift | ModifierFlag::Command));
    delegate->restartHotkeyMonitor();
    settle();
    EXPECT_EQ(line(), QStringLiteral("Your hotkey is Shift + Super + Space."));
}

TEST_F(OnboardingLifecycleTest, AHotkeyThatIsTakenIsSaidAndLeavesTheSettings)
{
    const QString problem = QStringLiteral("Ctrl+Alt+Space") + kHeldByAnother;
    tap->nextReport = {true, {problem}, {problem}};
    settings->hasCompletedOnboarding.set(false);
    launch();
    settle();
    primary();
    ASSERT_EQ(shown(), OnboardingStep::complete());
    EXPECT_EQ(onboarding()->contentView()->hotkeyLabel().text(),
              QStringLiteral("Ctrl+Alt+Space is taken by another program.\n"
                             "Choose another one in the settings."));
    primary();
    EXPECT_TRUE(settings->hasCompletedOnboarding.value());
    ASSERT_NE(settingsWindow(), nullptr);
    EXPECT_TRUE(settingsWindow()->isVisible());
}

TEST_F(OnboardingLifecycleTest, OnboardingCanBeLookedAtAgain)
{
    launch();
    delegate->showOnboarding();
    passSecond();
    passSecond();
    ASSERT_NE(onboarding(), nullptr);
    EXPECT_TRUE(onboarding()->window()->isVisible());
}

TEST_F(OnboardingLifecycleTest, WithoutATrayAFirstStartIsNotCovered)
{
    settings->hasCompletedOnboarding.set(false);
    tray->become(TrayPresence::State::Absent);
    launch({.opensSettingsWithoutTray = true});
    settle();
    EXPECT_EQ(settingsWindow(), nullptr);
    ASSERT_NE(onboarding(), nullptr);
    primary();
    ASSERT_EQ(shown(), OnboardingStep::complete());
    primary();
    ASSERT_NE(settingsWindow(), nullptr) << "they come when it is over";
    EXPECT_TRUE(settingsWindow()->isVisible());
}

TEST_F(OnboardingLifecycleTest, WithoutATrayAFirstStartThatIsClosedLeavesTheSettings)
{
    settings->hasCompletedOnboarding.set(false);
    tray->become(TrayPresence::State::Absent);
    launch({.opensSettingsWithoutTray = true});
    settle();
    onboarding()->window()->close();
    settle();
    ASSERT_NE(settingsWindow(), nullptr);
    EXPECT_TRUE(settingsWindow()->isVisible());
    EXPECT_FALSE(settings->hasCompletedOnboarding.value());
}

TEST_F(OnboardingLifecycleTest, ATrayThatIsMissedAfterAFirstStartWasClosedLeavesTheSettings)
{
    settings->hasCompletedOnboarding.set(false);
    launch({.opensSettingsWithoutTray = true});
    onboarding()->window()->close();
    settle();
    EXPECT_EQ(settingsWindow(), nullptr);
    tray->become(TrayPresence::State::Absent);
    EXPECT_TRUE(turnUntil([this] { return settingsWindow() && settingsWindow()->isVisible(); }));
}

TEST_F(OnboardingLifecycleTest, ABarThatComesDuringAFirstStartIsEnough)
{
    settings->hasCompletedOnboarding.set(false);
    tray->become(TrayPresence::State::Absent);
    launch({.opensSettingsWithoutTray = true});
    settle();
    tray->become(TrayPresence::State::Present);
    onboarding()->window()->close();
    settle();
    EXPECT_EQ(settingsWindow(), nullptr);
}

TEST_F(OnboardingLifecycleTest, WithATrayAFirstStartThatIsClosedLeavesNothing)
{
    settings->hasCompletedOnboarding.set(false);
    launch({.opensSettingsWithoutTray = true});
    onboarding()->window()->close();
    settle();
    EXPECT_EQ(settingsWindow(), nullptr);
}

} // namespace
} // namespace velmo
