#include "support/app/KeyTest.h"
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
        process.setChildProcessModifier([terminal = terminal_] {
            setsid();
            ioctl(terminal, TIOCSCTTY, 0);
            dup2(terminal, STDIN_FILENO);
        });
        process.setReadChannel(QProcess::StandardError);
        process.start();
        QByteArray shown;
        while (!shown.contains("Key for Anthropic: ")) {
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
    for (const QByteArray& keys : {QByteArray("sk-\x03"), QByteArray("sk-\x1C")}) {
        QProcess process;
        startAtPrompt(process);
        type(keys);
        finish(process);
        EXPECT_EQ(process.exitStatus(), QProcess::CrashExit) << "it ends by the signal";
        EXPECT_TRUE(showsWhatIsTyped());
    }
    QProcess process;
    startAtPrompt(process);
    process.terminate();
    finish(process);
    EXPECT_TRUE(showsWhatIsTyped());
    EXPECT_EQ(stored(), std::nullopt);
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
