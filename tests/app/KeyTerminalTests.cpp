#include "support/app/KeyTest.h"
#include "support/core/CoreLimit.h"
#include "support/x11/Await.h"

#include <csignal>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

namespace velmo {

/// "velmo key set" where somebody types.
class KeyTerminalTest : public KeyTest {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(keyring.startUnlocked());
        screen_ = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK);
        ASSERT_GE(screen_, 0);
        ASSERT_EQ(grantpt(screen_), 0);
        ASSERT_EQ(unlockpt(screen_), 0);
        terminal_ = open(ptsname(screen_), O_RDWR | O_NOCTTY | O_CLOEXEC);
        ASSERT_GE(terminal_, 0);
    }
    void TearDown() override
    {
        close(terminal_);
        close(screen_);
    }

    /// Starts it and waits for the prompt.
    void startAtPrompt(QProcess& process)
    {
        prepare(process, {QStringLiteral("set"), QStringLiteral("anthropic")});
        startOnTerminal(process);
        awaitPrompt(process);
    }

    /// Starts a shell with job control, where "$velmo" is the command; it tells its words on standard error.
    void startShell(QProcess& process, const QString& commands)
    {
        process.setProcessEnvironment(environment);
        process.setProgram(QStringLiteral("bash"));
        process.setArguments({QStringLiteral("--norc"), QStringLiteral("-ic"),
                              QStringLiteral("velmo='" VELMO_EXECUTABLE "'; exec >&2; ") + commands});
        startOnTerminal(process);
    }

    void startOnTerminal(QProcess& process)
    {
        process.setChildProcessModifier([terminal = terminal_] {
            setsid();
            ioctl(terminal, TIOCSCTTY, 0);
            dup2(terminal, STDIN_FILENO);
        });
        process.setReadChannel(QProcess::StandardError);
        process.start();
    }

    static void awaitPrompt(QProcess& process) { awaitWords(process, "Key for Anthropic: "); }
    static void awaitWords(QProcess& process, const QByteArray& words)
    {
        QByteArray shown;
        while (!shown.contains(words)) {
            ASSERT_TRUE(process.waitForReadyRead(kPatienceMilliseconds)) << shown.toStdString();
            shown += process.readAllStandardError();
        }
    }

    void type(const QByteArray& keys) const
    {
        ASSERT_EQ(write(screen_, keys.constData(), static_cast<size_t>(keys.size())), keys.size());
    }

    [[nodiscard]] bool showsWhatIsTyped() const
    {
        termios state = {};
        return tcgetattr(terminal_, &state) == 0 && (state.c_lflag & ECHO) != 0;
    }

    /// All of it but what the line discipline keeps for itself.
    [[nodiscard]] QByteArray terminalState() const
    {
        termios state = {};
        EXPECT_EQ(tcgetattr(terminal_, &state), 0);
        return QByteArray::number(state.c_lflag) + ' ' + QByteArray::number(state.c_iflag) + ' ' +
               QByteArray::number(state.c_oflag) + ' ' +
               QByteArray(reinterpret_cast<const char*>(state.c_cc), NCCS).toHex();
    }

    /// As a shell sets it that edits its own line.
    void setAsLineEditorsDo() const
    {
        termios state = {};
        ASSERT_EQ(tcgetattr(terminal_, &state), 0);
        state.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
        state.c_iflag &= ~static_cast<tcflag_t>(ICRNL);
        ASSERT_EQ(tcsetattr(terminal_, TCSANOW, &state), 0);
    }

    /// What the terminal has shown of its own.
    [[nodiscard]] QByteArray shown() const
    {
        QByteArray bytes(4096, '\0');
        const ssize_t count = read(screen_, bytes.data(), static_cast<size_t>(bytes.size()));
        return count < 0 ? QByteArray() : bytes.first(count);
    }

private:
    int screen_ = -1;
    int terminal_ = -1;
};

TEST_F(KeyTerminalTest, DoesNotShowWhatIsTyped)
{
    ASSERT_TRUE(showsWhatIsTyped());
    QProcess process;
    startAtPrompt(process);
    EXPECT_FALSE(showsWhatIsTyped());
    type(kKey + '\n');
    EXPECT_EQ(finish(process).exitCode, 0);
    EXPECT_EQ(shown(), "");
    EXPECT_TRUE(showsWhatIsTyped());
    EXPECT_EQ(stored(), kKey);
}

TEST_F(KeyTerminalTest, TheTerminalIsAsItWasAfterGivingUp)
{
    const QByteArray before = terminalState();
    for (const QByteArray& keys : {QByteArray("sk-\x03"), QByteArray("sk-\x1C")}) {
        QProcess process;
        startAtPrompt(process);
        ASSERT_NE(terminalState(), before);
        type(keys);
        finish(process);
        EXPECT_EQ(process.exitStatus(), QProcess::CrashExit) << "it ends by the signal";
        EXPECT_EQ(terminalState(), before);
    }
    for (const int signal : {SIGTERM, SIGHUP, SIGALRM, SIGUSR1, SIGUSR2}) {
        QProcess process;
        startAtPrompt(process);
        ASSERT_NE(terminalState(), before);
        kill(static_cast<pid_t>(process.processId()), signal);
        EXPECT_EQ(finish(process).exitCode, signal);
        EXPECT_EQ(process.exitStatus(), QProcess::CrashExit) << "it ends by the signal";
        EXPECT_EQ(terminalState(), before);
    }
    EXPECT_EQ(stored(), std::nullopt);
}

TEST_F(KeyTerminalTest, ASignalThatIsIgnoredStaysSo)
{
    QProcess process;
    startShell(process, QStringLiteral("trap '' HUP; exec $velmo key set anthropic"));
    awaitPrompt(process);
    kill(static_cast<pid_t>(process.processId()), SIGHUP);
    type(kKey + '\n');
    EXPECT_EQ(finish(process).exitCode, 0);
    EXPECT_EQ(stored(), kKey);
}

TEST_F(KeyTerminalTest, WaitsInTheBackgroundForTheTerminal)
{
    setAsLineEditorsDo();
    QProcess process;
    startShell(process,
               QStringLiteral("$velmo key set anthropic & until [ \"$(jobs -s)\" ]; do sleep 0.01; done; "
                              "stty sane <&0; fg"));
    awaitPrompt(process);
    type(kKey + '\r');
    EXPECT_EQ(finish(process).exitCode, 0);
    EXPECT_EQ(stored(), kKey);
    EXPECT_TRUE(showsWhatIsTyped());
}

TEST_F(KeyTerminalTest, AStateThatALineEditorLeftIsNoneToReadAKeyIn)
{
    setAsLineEditorsDo();
    QProcess process;
    startAtPrompt(process);
    type(kKey + '\r');
    EXPECT_EQ(finish(process).exitCode, 0);
    EXPECT_EQ(stored(), kKey);
}

TEST_F(KeyTerminalTest, ASuspendedCommandLeavesTheTerminalToTheShell)
{
    QProcess process;
    startShell(process, QStringLiteral("$velmo key set anthropic; stty -a <&0; echo stopped; fg"));
    awaitPrompt(process);
    type("half of a k\x1A");
    QByteArray told;
    while (!told.contains("stopped\n")) {
        ASSERT_TRUE(process.waitForReadyRead(kPatienceMilliseconds)) << told.toStdString();
        told += process.readAllStandardError();
    }
    EXPECT_TRUE(told.contains(" echo ")) << told.toStdString();
    if (!told.contains("Key for Anthropic: "))
        awaitPrompt(process);
    EXPECT_FALSE(showsWhatIsTyped());
    type(kKey + '\n');
    EXPECT_EQ(finish(process).exitCode, 0);
    EXPECT_EQ(stored(), kKey);
    EXPECT_TRUE(showsWhatIsTyped());
}

TEST_F(KeyTerminalTest, WhatATerminalWouldCutOffIsRefused)
{
    QProcess process;
    startAtPrompt(process);
    type(QByteArray(5000, 'k') + '\n');
    EXPECT_EQ(finish(process).exitCode, 2);
    EXPECT_EQ(stored(), std::nullopt);
}

TEST_F(KeyTerminalTest, SeveralLinesAreNoKeyHereEither)
{
    for (const QByteArray& rest : {QByteArray("second\n"), QByteArray("without an end")}) {
        QProcess process;
        startAtPrompt(process);
        type(kKey + '\n' + rest);
        const KeyResult result = finish(process);
        EXPECT_EQ(result.exitCode, 2);
        EXPECT_TRUE(showsWhatIsTyped());
    }
    EXPECT_EQ(stored(), std::nullopt);
}

TEST_F(KeyTerminalTest, NoMemoryIsLeftInAFileWhenItCrashes)
{
    QProcess process;
    if (!test::allowCoreDumps(process))
        GTEST_SKIP() << "nothing may be left here by anybody";
    startAtPrompt(process);
    const rlimit limit = test::coreLimitOf(process.processId());
    // At nothing, programs that collect crashes would still get it.
    EXPECT_EQ(limit.rlim_cur, 1U);
    EXPECT_EQ(limit.rlim_max, 1U);
    type("\x03");
    finish(process);
}

TEST_F(KeyTerminalTest, AnEndOfInputIsNoKey)
{
    QProcess process;
    startAtPrompt(process);
    type("\x04");
    EXPECT_EQ(finish(process).exitCode, 2);
    EXPECT_TRUE(showsWhatIsTyped());
    EXPECT_EQ(stored(), std::nullopt);
}

} // namespace velmo
