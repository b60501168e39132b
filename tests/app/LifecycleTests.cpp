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
    passSecond();
    EXPECT_EQ(tap->starts, 0);
    permissions->accessibility = true;
    passSecond();
    EXPECT_EQ(tap->starts, 1);
    passSecond();
    EXPECT_EQ(tap->starts, 1);
}

TEST_F(LifecycleTest, APermissionThatGoesEndsGesturesAndSessionWithinTwoTicks)
{
    launch();
    delegate->requestAnnotation();
    ASSERT_EQ(state(), SessionState::Drawing);
    permissions->screenRecording = false;
    EXPECT_EQ(state(), SessionState::Drawing) << "nobody has looked yet";
    passSecond();
    EXPECT_EQ(state(), SessionState::Idle);
    EXPECT_GE(tap->stops, 1);
    EXPECT_EQ(settingsWindow(), nullptr);
    passSecond();
    EXPECT_EQ(tap->starts, 1);
    permissions->screenRecording = true;
    passSecond();
    EXPECT_EQ(tap->starts, 2);
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

TEST_F(LifecycleTest, TheSettingsSayWhichOtherGesturesAreTaken)
{
    const QString chord = QStringLiteral("Alt+Super+left button is held by another program.");
    const QString middle = QStringLiteral("Middle button is held by another program.");
    tap->nextReport = {true, {chord, middle}, {}, {chord}, {middle}};
    launch();
    delegate->menuBarController()->openSettingsWindow();
    EXPECT_TRUE(turnUntil([&] {
        return shownTexts().contains(QStringLiteral("Alt+Super+left button is taken by another program.")) &&
               shownTexts().contains(QStringLiteral("Middle button is taken by another program."));
    }));
    tap->tell({true, {}, {}});
    EXPECT_TRUE(turnUntil(
        [&] { return shownTexts().filter(QStringLiteral("is taken by another program")).isEmpty(); }));
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
    passSecond();
    EXPECT_GT(tap->starts, 1);
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
    EXPECT_FALSE(delegate->permissionMonitor().isActive()) << "nobody looks any more";
}

} // namespace
} // namespace velmo
