#include "app/KeyInput.h"

#include "core/Text.h"

#include <QByteArray>
#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <optional>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

namespace velmo {

namespace {

/// More than any service's key.
constexpr qsizetype kLongestKey = 16 * 1024;

volatile std::sig_atomic_t caughtSignal = 0;

void remember(int signal)
{
    caughtSignal = signal;
}

/// Signals that would end the program are kept for its destruction, but for the moments of waiting, where
/// they end the wait.
class EndingSignals {
public:
    EndingSignals()
    {
        sigset_t blocked;
        sigemptyset(&blocked);
        struct sigaction action = {};
        action.sa_handler = remember;
        for (size_t index = 0; index < kSignals.size(); ++index) {
            sigaddset(&blocked, kSignals.at(index));
            sigaction(kSignals.at(index), &action, &before_.at(index));
        }
        pthread_sigmask(SIG_BLOCK, &blocked, &mask_);
    }
    EndingSignals(const EndingSignals&) = delete;
    EndingSignals& operator=(const EndingSignals&) = delete;
    ~EndingSignals()
    {
        for (size_t index = 0; index < kSignals.size(); ++index)
            sigaction(kSignals.at(index), &before_.at(index), nullptr);
        pthread_sigmask(SIG_SETMASK, &mask_, nullptr);
        if (caughtSignal != 0)
            raise(caughtSignal);
    }

    /// False when a signal came.
    [[nodiscard]] bool awaitInput() const
    {
        pollfd input{STDIN_FILENO, POLLIN, 0};
        while (caughtSignal == 0) {
            if (ppoll(&input, 1, nullptr, &mask_) >= 0)
                return true;
        }
        return false;
    }

private:
    static constexpr std::array kSignals{SIGINT, SIGTERM, SIGHUP, SIGQUIT};
    std::array<struct sigaction, kSignals.size()> before_{};
    sigset_t mask_{};
};

/// Shows nothing of what is typed, while it lives.
class SilentTerminal {
public:
    explicit SilentTerminal(const QString& prompt)
    {
        termios silent = {};
        if (tcgetattr(STDIN_FILENO, &silent) != 0)
            return;
        before_ = silent;
        silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        // A shell that came back to the front meanwhile would be silent, too.
        silent.c_cc[VSUSP] = _POSIX_VDISABLE;
        tcsetattr(STDIN_FILENO, TCSAFLUSH, &silent);
        say(prompt.toLocal8Bit());
    }
    SilentTerminal(const SilentTerminal&) = delete;
    SilentTerminal& operator=(const SilentTerminal&) = delete;
    ~SilentTerminal()
    {
        if (!before_)
            return;
        tcsetattr(STDIN_FILENO, TCSAFLUSH, &*before_);
        say("\n");
    }

    [[nodiscard]] bool isTerminal() const { return before_.has_value(); }

private:
    static void say(const QByteArray& text)
    {
        static_cast<void>(!write(STDERR_FILENO, text.constData(), static_cast<size_t>(text.size())));
    }

    std::optional<termios> before_;
};

/// Nothing when a signal or an error ended it.
std::optional<QByteArray> readInput(const QString& prompt)
{
    const EndingSignals signals;
    const SilentTerminal terminal(prompt);
    QByteArray bytes;
    std::array<char, 1024> block{};
    while (bytes.size() <= kLongestKey) {
        if (!signals.awaitInput())
            return std::nullopt;
        const ssize_t count = read(STDIN_FILENO, block.data(), block.size());
        if (count < 0 && (errno == EINTR || errno == EAGAIN))
            continue;
        if (count < 0)
            return std::nullopt;
        bytes.append(block.data(), count);
        if (count == 0 || (terminal.isTerminal() && bytes.endsWith('\n')))
            break;
    }
    return bytes;
}

} // namespace

Result<QString, QString> readKey(const QString& prompt)
{
    auto bytes = readInput(prompt);
    if (!bytes)
        return Failure{QStringLiteral("standard input could not be read")};
    if (bytes->size() > kLongestKey)
        return Failure{QStringLiteral("what came from standard input is too long for a key")};
    while (bytes->endsWith('\n') || bytes->endsWith('\r'))
        bytes->chop(1);
    const auto key = decodeUtf8(*bytes);
    // Control characters could not be sent in a request's header.
    const auto isControl = [](QChar character) { return character.category() == QChar::Other_Control; };
    if (!key || std::any_of(key->begin(), key->end(), isControl))
        return Failure{QStringLiteral("a key is one line of text")};
    if (key->isEmpty())
        return Failure{QStringLiteral("there is no key on standard input")};
    return *key;
}

} // namespace velmo
