#include "e2e/ProgramDesk.h"
#include "support/app/FirstRun.h"
#include "support/tray/TrayHost.h"
#include "support/tray/TrayTestMain.h"

#include <QLabel>
#include <QProcess>

namespace velmo::test {
namespace {

const QString kAnnotate = QStringLiteral("Annotate Screen");
const QString kChangeHotkey = QStringLiteral("Change Hotkey...");

/// The program in a desktop with a bar, which may come late.
class MenuJob : public ProgramDesk {
protected:
    [[nodiscard]] bool awaitItem()
    {
        return awaitCondition([this] { return !host_.items().isEmpty(); });
    }
    [[nodiscard]] bool awaitState(SessionState state)
    {
        return awaitCondition([&] { return session().state().value() == state; });
    }

    TrayHost host_{buses().sessionAddress()};
};

TEST_F(MenuJob, AnnotateBeginsASession)
{
    startProgram();
    EXPECT_TRUE(awaitLog(QStringLiteral("[Platform] This desktop has no tray yet")));
    ASSERT_TRUE(host_.start());
    ASSERT_TRUE(awaitItem());
    ASSERT_TRUE(host_.choose(kAnnotate));
    ASSERT_TRUE(awaitState(SessionState::Drawing));
    ASSERT_TRUE(awaitCondition(overlayIsUp));
    input_.tap("Escape");
    EXPECT_TRUE(awaitState(SessionState::Idle));
}

TEST_F(MenuJob, ARecordedHotkeyTakesTheFormersPlace)
{
    ASSERT_TRUE(host_.start());
    startProgram();
    ASSERT_TRUE(awaitItem());
    ASSERT_TRUE(host_.choose(kChangeHotkey));
    ASSERT_TRUE(awaitCondition([this] {
        const HotkeyCaptureSheet* sheet = delegate_->menuBarController()->hotkeySheet();
        return sheet != nullptr && sheet->window()->isActiveWindow();
    }));
    input_.chord({"Shift_L", "Super_L", "k"});
    ASSERT_TRUE(awaitLog(QStringLiteral("[Platform] ready"), 2));
    EXPECT_EQ(settings_->hotkeyKeyCode.value(), 40);
    EXPECT_FALSE(delegate_->menuBarController()->hotkeySheet()->window()->isVisible());

    input_.chord({"Control_L", "Alt_L", "space"});
    input_.chord({"Shift_L", "Super_L", "k"});
    ASSERT_TRUE(awaitState(SessionState::Drawing));
    EXPECT_EQ(logCount(QStringLiteral("[Session] Begin annotation session")), 1);
    input_.tap("Escape");
    EXPECT_TRUE(awaitState(SessionState::Idle));
}

TEST_F(MenuJob, TheFormerHotkeyBeginsASessionWhileTheSheetIsOpen)
{
    ASSERT_TRUE(host_.start());
    startProgram();
    ASSERT_TRUE(awaitItem());
    ASSERT_TRUE(host_.choose(kChangeHotkey));
    QWidget& sheet = *delegate_->menuBarController()->hotkeySheet()->window();
    ASSERT_TRUE(awaitCondition([&] { return sheet.isActiveWindow(); }));
    input_.chord({"Control_L", "Alt_L", "space"});
    ASSERT_TRUE(awaitState(SessionState::Drawing));
    EXPECT_EQ(sheet.findChild<QLabel*>()->text(), QStringLiteral("Press your desired key combination..."));
    input_.tap("Escape");
    EXPECT_TRUE(awaitState(SessionState::Idle));
}

TEST(MenuProcess, QuitLeavesNothingRunning)
{
    ASSERT_TRUE(display().startWindowManager());
    completeFirstRun();
    TrayHost host(buses().sessionAddress());
    ASSERT_TRUE(host.start());
    QProcess process;
    process.setStandardOutputFile(QProcess::nullDevice());
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.start(QStringLiteral(VELMO_EXECUTABLE), {QStringLiteral("--background")});
    ASSERT_TRUE(process.waitForStarted());
    ASSERT_TRUE(awaitCondition([&] { return !host.items().isEmpty(); }));
    ASSERT_TRUE(host.choose(QStringLiteral("Quit Velmo")));
    ASSERT_TRUE(awaitCondition([&] { return process.state() == QProcess::NotRunning; }));
    EXPECT_EQ(process.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(process.exitCode(), 0);
    EXPECT_FALSE(host.property(QStringLiteral("Id")).isValid());
    display().stopWindowManager();
}

} // namespace
} // namespace velmo::test
