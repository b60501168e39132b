#include "e2e/ProgramProcess.h"
#include "support/session/SessionManager.h"

namespace velmo::test {
namespace {

/// The program on a desktop whose user logs out.
class SessionEnd : public ProgramProcess {
protected:
    void SetUp() override
    {
        ProgramProcess::SetUp();
        ASSERT_FALSE(manager_.address().isEmpty());
        environment_.insert(QStringLiteral("SESSION_MANAGER"), QString::fromLocal8Bit(manager_.address()));
        // The window system's library waits for the manager, and both are needed for that.
        launch();
        ASSERT_TRUE(awaitCondition(
            [this] { return manager_.hasProgram() && console().contains("[Platform] ready"); }));
    }

    void announceLogOut()
    {
        manager_.announceLogOut();
        ASSERT_TRUE(awaitCondition([this] { return manager_.isReadyForLogOut(); }));
    }

    void expectOrderlyEnd()
    {
        ASSERT_TRUE(awaitCondition(
            [this] { return manager_.hasLost() && process_.state() == QProcess::NotRunning; }));
        EXPECT_EQ(process_.exitStatus(), QProcess::NormalExit);
        EXPECT_EQ(process_.exitCode(), 0);
    }

    SessionManager manager_;
};

TEST_F(SessionEnd, EndsItInOrder)
{
    announceLogOut();
    manager_.endSession();
    expectOrderlyEnd();
    expectDesktopWorks();
}

TEST_F(SessionEnd, EndsItAmidAStroke)
{
    input_.pressButton(kMiddle);
    moveBy(20, 20);
    ASSERT_TRUE(awaitLine("[Session] Locked active screen to"));
    announceLogOut();
    manager_.endSession();
    expectOrderlyEnd();
    input_.releaseButton(kMiddle);
    expectDesktopWorks();
}

TEST_F(SessionEnd, EndsItWithItsPanelAndItsWindowsUp)
{
    QProcess settings;
    settings.setProcessEnvironment(environment_);
    settings.start(QStringLiteral(VELMO_EXECUTABLE), {QStringLiteral("settings")});
    ASSERT_TRUE(awaitCondition([&] { return settings.state() == QProcess::NotRunning; }));
    ASSERT_EQ(settings.exitCode(), 0);
    input_.pressButton(kMiddle);
    moveBy(60, 40);
    ASSERT_TRUE(awaitLine("[Session] Locked active screen to"));
    input_.releaseButton(kMiddle);
    ASSERT_TRUE(awaitLine("[QueryPanel] panel origin="));
    announceLogOut();
    manager_.endSession();
    expectOrderlyEnd();
}

TEST_F(SessionEnd, LeavesItRunningWhenItIsCalledOff)
{
    announceLogOut();
    manager_.cancelLogOut();
    typeAndAwaitTheProgram();
    EXPECT_EQ(process_.state(), QProcess::Running);
    announceLogOut();
    manager_.endSession();
    expectOrderlyEnd();
}

TEST_F(SessionEnd, IsNotFollowedByAStartThatNobodyAskedFor)
{
    // Its autostart entry starts it, where there is one.
    announceLogOut();
    EXPECT_FALSE(manager_.restartsProgram());
    manager_.endSession();
    expectOrderlyEnd();
}

} // namespace
} // namespace velmo::test
