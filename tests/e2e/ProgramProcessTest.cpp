#include "e2e/ProgramProcess.h"
#include "core/DebugLog.h"
#include "support/core/CoreLimit.h"

#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace velmo::test {
namespace {

TEST_F(ProgramProcess, KilledAmidAStrokeItLeavesAWorkingDesktop)
{
    launchAndAwait();
    holdChord();
    input_.pressButton(kLeft);
    ASSERT_TRUE(awaitLine("[Session] Locked active screen to"));
    moveBy(40, 40);
    process_.kill();
    ASSERT_TRUE(process_.waitForFinished());
    input_.releaseButton(kLeft);
    releaseChord();
    expectDesktopWorks();
}

TEST_F(ProgramProcess, KilledWhileAPressIsHeldBackItLeavesAWorkingDesktop)
{
    launchAndAwait();
    input_.pressButton(kMiddle);
    input_.tap("v");
    ASSERT_TRUE(awaitLine("[HotkeyMonitor] keyDown passthrough — keyCode=9"));
    process_.kill();
    ASSERT_TRUE(process_.waitForFinished());
    input_.releaseButton(kMiddle);
    expectDesktopWorks();
}

TEST_F(ProgramProcess, ToldToEndAmidAStrokeItEndsAndLeavesAWorkingDesktop)
{
    launchAndAwait();
    input_.pressButton(kMiddle);
    moveBy(20, 20);
    ASSERT_TRUE(awaitLine("[Session] Locked active screen to"));
    process_.terminate();
    ASSERT_TRUE(process_.waitForFinished());
    EXPECT_EQ(process_.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(process_.exitCode(), 0);
    input_.releaseButton(kMiddle);
    expectDesktopWorks();
}

class ToldToEnd : public ProgramProcess, public testing::WithParamInterface<int> {};

INSTANTIATE_TEST_SUITE_P(Signals, ToldToEnd, testing::Values(SIGTERM, SIGINT, SIGHUP),
                         [](const auto& param) { return std::string(sigabbrev_np(param.param)); });

TEST_P(ToldToEnd, BySignalItEndsInOrder)
{
    // Whoever runs the tests may have these ignored, and the program would leave it at that.
    process_.setChildProcessModifier([] { std::signal(GetParam(), SIG_DFL); });
    launchAndAwait();
    kill(static_cast<pid_t>(process_.processId()), GetParam());
    ASSERT_TRUE(process_.waitForFinished());
    EXPECT_EQ(process_.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(process_.exitCode(), 0);
    expectDesktopWorks();
}

TEST_F(ProgramProcess, ToldToEndWithItsPanelUpItGivesTheKeyboardBackFirst)
{
    ASSERT_TRUE(display().startCompositor());
    launchAndAwait();
    input_.pressButton(kMiddle);
    moveBy(60, 40);
    ASSERT_TRUE(awaitLine("[Session] Locked active screen to"));
    input_.releaseButton(kMiddle);
    ASSERT_TRUE(awaitLine("[QueryPanel] panel origin="));
    ASSERT_TRUE(awaitCondition([this] { return !client_->hasFocus(); }));
    process_.terminate();
    ASSERT_TRUE(process_.waitForFinished());
    EXPECT_EQ(process_.exitCode(), 0);
    EXPECT_TRUE(awaitCondition([this] { return client_->hasFocus(); }));
    display().stopCompositor();
    expectDesktopWorks();
}

TEST_F(ProgramProcess, NoMemoryIsLeftInAFileWhenItCrashes)
{
    if (!allowCoreDumps(process_))
        GTEST_SKIP() << "nothing may be left here by anybody";
    launchAndAwait();
    // At nothing, programs that collect crashes would still get it.
    EXPECT_EQ(coreLimitOf(process_.processId()).rlim_cur, 1U);
}

TEST_F(ProgramProcess, TellsEachCombinationThatAnotherProgramHolds)
{
    startMonitor();
    launchAndAwait();
    for (const char* sentence : {"[Platform] Ctrl+Alt+Space is held by another program.",
                                 "[Platform] Alt+Super+left button is held by another program.",
                                 "[Platform] Alt+Shift+Super+left button is held by another program.",
                                 "[Platform] Middle button is held by another program."})
        EXPECT_EQ(console().count(sentence), 1) << sentence;

    input_.chord({"Control_L", "Alt_L", "space"});
    EXPECT_TRUE(awaitTold("activate")) << "what the first one holds stays its own";
    settle();
    EXPECT_EQ(console().count("Begin annotation session"), 0);
}

TEST_F(ProgramProcess, NamesPassedKeysOnAConsole)
{
    launchAndAwait();
    typeAndAwaitTheProgram();
    EXPECT_EQ(console().count("[HotkeyMonitor] keyDown passthrough — keyCode=9\n"), 1);
}

TEST_F(ProgramProcess, NamesNoPassedKeysInTheJournal)
{
    QFile file(console_);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    struct stat status {};
    ASSERT_EQ(fstat(file.handle(), &status), 0);
    environment_.insert(QStringLiteral("JOURNAL_STREAM"),
                        QString::number(status.st_dev) + u':' + QString::number(status.st_ino));
    launchAndAwait();
    typeAndAwaitTheProgram();
    EXPECT_EQ(console().count("keyCode"), 0);
}

TEST_F(ProgramProcess, AJournalThatIsSomebodyElsesDoesNotMatter)
{
    environment_.insert(QStringLiteral("JOURNAL_STREAM"), QStringLiteral("1:1"));
    launchAndAwait();
    typeAndAwaitTheProgram();
    EXPECT_EQ(console().count("keyCode=9\n"), 1);
}

TEST_F(ProgramProcess, NamesNoPassedKeysInASessionsErrorFile)
{
    console_ = folder_.filePath(QStringLiteral(".xsession-errors"));
    launchAndAwait();
    typeAndAwaitTheProgram();
    EXPECT_EQ(console().count("keyCode"), 0);
}

TEST_F(ProgramProcess, NamesNoPassedKeysInTheBackground)
{
    launchAndAwait({QStringLiteral("--background")});
    typeAndAwaitTheProgram();
    EXPECT_EQ(console().count("keyCode"), 0);
}

TEST_F(ProgramProcess, WorksOnWhenNobodyReadsItsConsole)
{
    console_ = folder_.filePath(QStringLiteral("pipe"));
    const QByteArray path = QFile::encodeName(console_);
    ASSERT_EQ(mkfifo(path.constData(), 0600), 0);
    const int reader = open(path.constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    ASSERT_GE(reader, 0);
    const int size = fcntl(reader, F_SETPIPE_SZ, 4096);
    ASSERT_GT(size, 0);
    QFile::remove(DebugLog::logFile()); // It may be of an earlier run.
    launch();
    const auto awaitLog = [](const char* text) {
        return awaitCondition([text] {
            QFile log(DebugLog::logFile());
            return log.open(QIODevice::ReadOnly) && log.readAll().contains(text);
        });
    };
    ASSERT_TRUE(awaitLog("[Platform] ready"));
    for (int key = 0; key < 300; ++key)
        input_.tap("v");
    input_.chord({"Control_L", "Alt_L", "space"});
    EXPECT_TRUE(awaitLog("[Session] Begin annotation session"));
    int waiting = 0;
    ASSERT_EQ(ioctl(reader, FIONREAD, &waiting), 0);
    EXPECT_GT(waiting, size - 200) << "the pipe was full";
    close(reader);
}

} // namespace
} // namespace velmo::test
