#include "support/app/LifecycleTest.h"

#include "settings/SettingsRootView.h"

#include <QCoreApplication>
#include <QElapsedTimer>

namespace velmo {
namespace {

TEST_F(LifecycleTest, BeginsItsLogAnewAndListens)
{
    DebugLog::log(QStringLiteral("App"), QStringLiteral("yesterday"));
    launch();
    EXPECT_EQ(log.take().value(0), QStringLiteral("[App] Application did finish launching"));
    EXPECT_TRUE(turnUntil([this] { return log.text().contains(QStringLiteral("[Platform] ready")); }));
    EXPECT_EQ(tap->starts, 1);
    EXPECT_EQ(settingsWindow(), nullptr);
    EXPECT_EQ(onboarding(), nullptr);
}

TEST_F(LifecycleTest, ListensForWhatTheSettingsSay)
{
    settings->hotkeyKeyCode.set(40);
    settings->hotkeyModifiers.set(ModifierFlag::Shift | ModifierFlag::Command);
    settings->quickDrawModifiers.set(ModifierFlag::Control);
    settings->quickDrawMiddleMouseEnabled.set(false);
    launch();
    ASSERT_TRUE(tap->interest.has_value());
    EXPECT_EQ(tap->interest->hotkeyKeyCode, 40);
    EXPECT_EQ(tap->interest->hotkeyModifiers, ModifierFlag::Shift | ModifierFlag::Command);
    EXPECT_EQ(tap->interest->quickDrawModifiers, ModifierFlag::Control);
    EXPECT_FALSE(tap->interest->middleButton);

    settings->hotkeyKeyCode.set(49);
    delegate->restartHotkeyMonitor();
    EXPECT_EQ(tap->interest->hotkeyKeyCode, 49);
    EXPECT_EQ(tap->starts, 2);
}

TEST_F(LifecycleTest, OneMonitorIsEnoughHoweverOftenThePermissionsAreLookedAt)
{
    launch();
    EXPECT_TRUE(delegate->handlePermissionState(false));
    EXPECT_TRUE(delegate->handlePermissionState(true));
    EXPECT_EQ(tap->starts, 1);
    EXPECT_EQ(settingsWindow(), nullptr);
}

TEST_F(LifecycleTest, ALaunchWithoutAPermissionShowsWhichOne)
{
    permissions->screenRecording = false;
    launch();
    EXPECT_EQ(tap->starts, 0);
    ASSERT_NE(settingsWindow(), nullptr);
    EXPECT_TRUE(settingsWindow()->isVisible());
    EXPECT_EQ(settings->settingsSelectedTab.value(), 1);
    EXPECT_TRUE(log.text().contains(QStringLiteral("This desktop does not allow: screenRecording")));
}

TEST_F(LifecycleTest, SomebodyWhoClosesThatWindowIsLeftInPeace)
{
    permissions->accessibility = false;
    launch();
    settingsWindow()->close();
    EXPECT_FALSE(delegate->handlePermissionState(false));
    EXPECT_FALSE(settingsWindow()->isVisible());
    // But one who asks for the overlay is to know why there is none.
    settings->settingsSelectedTab.set(0);
    delegate->requestAnnotation();
    EXPECT_TRUE(settingsWindow()->isVisible());
    EXPECT_EQ(settings->settingsSelectedTab.value(), 1);
    EXPECT_EQ(state(), SessionState::Idle);
}

TEST_F(LifecycleTest, APermissionThatComesStartsTheGesturesWithinTwoTicks)
{
    permissions->accessibility = false;
    launch();
    permissions->accessibility = true;
    EXPECT_TRUE(turnUntil([this] { return tap->starts == 1; }, kTwoTicks));
}

TEST_F(LifecycleTest, APermissionThatGoesEndsGesturesAndSessionWithinTwoTicks)
{
    launch();
    delegate->requestAnnotation();
    ASSERT_EQ(state(), SessionState::Drawing);
    permissions->screenRecording = false;
    EXPECT_TRUE(turnUntil([this] { return state() == SessionState::Idle; }, kTwoTicks));
    EXPECT_GE(tap->stops, 1);
    EXPECT_EQ(settingsWindow(), nullptr);
    permissions->screenRecording = true;
    EXPECT_TRUE(turnUntil([this] { return tap->starts == 2; }, kTwoTicks));
}

TEST_F(LifecycleTest, AskingForTheOverlayWhenAPermissionHasGoneEndsTheSession)
{
    launch();
    delegate->requestAnnotation();
    ASSERT_EQ(state(), SessionState::Drawing);
    permissions->accessibility = false;
    delegate->requestAnnotation();
    EXPECT_EQ(state(), SessionState::Idle);
}

TEST_F(LifecycleTest, AFirstStartIsWelcomedAlsoWhereNothingIsMissing)
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

TEST_F(LifecycleTest, AFirstStartLeadsThroughWhatIsMissingToItsEnd)
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
    ASSERT_TRUE(turnUntil([this] { return tap->starts == 1; }, kTwoTicks));
    ASSERT_TRUE(
        turnUntil([this] { return shown() == OnboardingStep::forPermission(MissingPermission::Microphone); },
                  kTwoTicks));
    onboarding()->contentView()->secondaryButton().click();
    EXPECT_EQ(shown(), OnboardingStep::complete());
    EXPECT_FALSE(settings->hasCompletedOnboarding.value());
    primary();
    EXPECT_TRUE(settings->hasCompletedOnboarding.value());
    EXPECT_EQ(onboarding(), nullptr);
    EXPECT_EQ(tap->starts, 1);
}

TEST_F(LifecycleTest, AFirstStartThatIsClosedComesBackOnlyWhenItIsNeeded)
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

TEST_F(LifecycleTest, NobodyAsksForTheMicrophoneBehindAFirstStartThatIsClosed)
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

TEST_F(LifecycleTest, AskingForTheOverlayDuringAFirstStartBeginsItWhereItCan)
{
    settings->hasCompletedOnboarding.set(false);
    launch();
    onboarding()->window()->close();
    delegate->requestAnnotation();
    EXPECT_EQ(state(), SessionState::Drawing);
    EXPECT_FALSE(onboarding()->window()->isVisible());
}

TEST_F(LifecycleTest, AFirstStartThatEndsWithoutAPermissionShowsWhichOne)
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

TEST_F(LifecycleTest, OnboardingCanBeLookedAtAgain)
{
    launch();
    delegate->showOnboarding();
    turnFor(std::chrono::milliseconds(1200));
    ASSERT_NE(onboarding(), nullptr);
    EXPECT_TRUE(onboarding()->window()->isVisible());
}

TEST_F(LifecycleTest, AnotherStartOpensTheSettings)
{
    launch();
    EXPECT_FALSE(delegate->applicationShouldHandleReopen());
    ASSERT_NE(settingsWindow(), nullptr);
    EXPECT_TRUE(settingsWindow()->isVisible());
    EXPECT_EQ(settingsWindow()->windowTitle(), QStringLiteral("Velmo Settings"));
    EXPECT_EQ(settingsWindow()->size(), QSize(520, 580));
}

TEST_F(LifecycleTest, WithoutATrayAPlainLaunchOpensTheSettings)
{
    tray->become(TrayPresence::State::Absent);
    launch({.opensSettingsWithoutTray = true});
    EXPECT_TRUE(turnUntil([this] { return settingsWindow() && settingsWindow()->isVisible(); }));
}

TEST_F(LifecycleTest, WithoutATrayALaunchInTheBackgroundOpensNothing)
{
    tray->become(TrayPresence::State::Absent);
    launch();
    settle();
    EXPECT_EQ(settingsWindow(), nullptr);
    EXPECT_EQ(log.text().count(QStringLiteral("This desktop has no tray yet")), 1);
}

TEST_F(LifecycleTest, WithoutATrayAFirstStartIsNotCovered)
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

TEST_F(LifecycleTest, TheSettingsSayThatTheHotkeyIsTaken)
{
    const QString problem = QStringLiteral("Ctrl+Alt+Space is held by another program.");
    tap->nextReport = {true, {problem}, {problem}};
    launch();
    delegate->menuBarController()->openSettingsWindow();
    const QString said = QStringLiteral("Ctrl+Alt+Space is taken by another program.");
    EXPECT_TRUE(turnUntil([&] { return shownTexts().contains(said); }));
    EXPECT_EQ(settings->settingsSelectedTab.value(), 0) << "it is no missing permission";

    tap->nextReport = {};
    tap->nextReport.started = true;
    delegate->restartHotkeyMonitor();
    EXPECT_TRUE(turnUntil([&] { return !shownTexts().contains(said); }));
}

TEST_F(LifecycleTest, TheSettingsAndTheLogFollowWhenTheHotkeyBecomesFree)
{
    const QString problem = QStringLiteral("Ctrl+Alt+Space is held by another program.");
    tap->nextReport = {true, {problem}, {problem}};
    launch();
    delegate->menuBarController()->openSettingsWindow();
    const QString said = QStringLiteral("Ctrl+Alt+Space is taken by another program.");
    ASSERT_TRUE(turnUntil([&] { return shownTexts().contains(said); }));

    tap->tell({true, {}, {}});
    EXPECT_TRUE(turnUntil([&] { return !shownTexts().contains(said); }));
    EXPECT_EQ(log.text().count(problem), 1);
    EXPECT_EQ(log.text().count(QStringLiteral("Nothing is held by other programs any more.")), 1);
    EXPECT_EQ(tap->starts, 1) << "the tap goes on";
}

TEST_F(LifecycleTest, GesturesThatCouldNotBeSetUpAreTriedAgainAndExplained)
{
    tap->nextReport = {false, {QStringLiteral("No X display can be reached.")}, {}};
    launch();
    delegate->menuBarController()->openSettingsWindow();
    EXPECT_TRUE(
        turnUntil([this] { return shownTexts().contains(QStringLiteral("No X display can be reached.")); }));
    tap->nextReport = {true, {}, {}};
    EXPECT_TRUE(turnUntil([this] { return tap->starts > 1; }, kTwoTicks));
    EXPECT_TRUE(turnUntil([this] { return log.text().contains(QStringLiteral("[Platform] ready")); }));
    EXPECT_TRUE(
        turnUntil([this] { return !shownTexts().contains(QStringLiteral("No X display can be reached.")); }));
    EXPECT_EQ(log.text().count(QStringLiteral("No X display can be reached.")), 1) << "not every second";
}

TEST_F(LifecycleTest, NothingBeginsAnewOnceTheEndHasBegun)
{
    launch();
    delegate->requestAnnotation();
    ASSERT_EQ(state(), SessionState::Drawing);
    delegate->terminate();
    EXPECT_TRUE(delegate->isTerminating());
    EXPECT_EQ(state(), SessionState::Idle);
    delegate->terminate();
    delegate->requestAnnotation();
    delegate->restartHotkeyMonitor();
    EXPECT_FALSE(delegate->handlePermissionState(true));
    EXPECT_FALSE(delegate->applicationShouldHandleReopen());
    EXPECT_EQ(state(), SessionState::Idle);
    EXPECT_EQ(tap->starts, 1);
    EXPECT_EQ(settingsWindow(), nullptr);
    // The farewell, which a second wish to quit does not cut short.
    QElapsedTimer time;
    time.start();
    QCoreApplication::exec();
    EXPECT_GE(time.elapsed(), 200);
}

TEST_F(LifecycleTest, ANewTriggerWorksAtOnce)
{
    launch();
    delegate->menuBarController()->openSettingsWindow();
    settings->quickDrawMiddleMouseEnabled.set(false);
    EXPECT_TRUE(turnUntil([this] { return tap->starts == 2; }));
    EXPECT_FALSE(tap->interest->middleButton);
}

TEST_F(LifecycleTest, TheEndOfTheProgramIsTheEndOfItsGestures)
{
    launch();
    delegate->applicationWillTerminate();
    EXPECT_EQ(tap->stops, 1);
    permissions->screenRecording = false;
    turnFor(std::chrono::milliseconds(1200));
    EXPECT_FALSE(log.text().contains(QStringLiteral("This desktop does not allow")))
        << "nobody looks any more";
}

} // namespace
} // namespace velmo
