#include "app/KeyInput.h"

#include "app/InputSignals.h"
#include "core/Erase.h"
#include "core/Text.h"

#include <QByteArray>
#include <algorithm>
#include <cerrno>
#include <optional>
#include <string>
#include <termios.h>
#include <unistd.h>

namespace velmo {

namespace {

/// More than any service's key.
constexpr size_t kLongestKey = size_t{16} * 1024;
/// A terminal drops, without a word, what a line has beyond this.
constexpr size_t kLongestLine = 4094;
constexpr size_t kBlock = 1024;
/// In which the rest of what was pasted arrives, and nobody types on.
constexpr int kPasteMilliseconds = 50;

/// Shows nothing of what is typed, while it is silent.
class SilentTerminal {
public:
    explicit SilentTerminal(const InputSignals& signals)
        : signals_(signals)
    {}
    SilentTerminal(const SilentTerminal&) = delete;
    SilentTerminal& operator=(const SilentTerminal&) = delete;
    ~SilentTerminal() { restore(); }

    /// Shows the prompt as well. Does nothing where there is no terminal.
    void silence(const QString& prompt)
    {
        // What another job has set, such as a shell that edits its own line, is not what to come back to.
        termios silent = {};
        if (!signals_.awaitForeground() || tcgetattr(STDIN_FILENO, &silent) != 0)
            return;
        before_ = silent;
        silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        silent.c_lflag |= ICANON;
        silent.c_iflag |= ICRNL;
        tcsetattr(STDIN_FILENO, TCSAFLUSH, &silent);
        say(prompt.toLocal8Bit());
    }

    void restore()
    {
        if (!before_)
            return;
        tcsetattr(STDIN_FILENO, TCSAFLUSH, &*before_);
        before_.reset();
        say("\n");
    }

    [[nodiscard]] bool isTerminal() const { return before_.has_value(); }

    /// Whether more was typed, or pasted, than the line that was read.
    [[nodiscard]] bool hasMore() const
    {
        // A line without an end yet shows only where lines do not matter.
        termios raw = {};
        if (tcgetattr(STDIN_FILENO, &raw) != 0)
            return false;
        raw.c_lflag &= ~static_cast<tcflag_t>(ICANON);
        raw.c_cc[VMIN] = 1;
        raw.c_cc[VTIME] = 0;
        tcsetattr(STDIN_FILENO, TCSANOW, &raw);
        return signals_.awaitInput(kPasteMilliseconds) == InputSignals::Event::Input;
    }

private:
    static void say(const QByteArray& text)
    {
        static_cast<void>(!write(STDERR_FILENO, text.constData(), static_cast<size_t>(text.size())));
    }

    const InputSignals& signals_;
    std::optional<termios> before_;
};

struct KeyBytes {
    // Room from the beginning: growing would leave parts behind.
    KeyBytes() { text.reserve(kLongestKey + 2 * kBlock); }
    KeyBytes(KeyBytes&&) noexcept = default;
    KeyBytes& operator=(KeyBytes&&) = delete;
    ~KeyBytes() { erase(text); }

    /// What there is; the count as read() gives it.
    ssize_t readMore()
    {
        const size_t size = text.size();
        text.resize(size + kBlock);
        const ssize_t count = read(STDIN_FILENO, text.data() + size, kBlock);
        text.resize(size + static_cast<size_t>(std::max<ssize_t>(count, 0)));
        return count;
    }

    std::string text;
};

Result<KeyBytes, QString> readInput(const QString& prompt)
{
    const auto unreadable = Failure{QStringLiteral("standard input could not be read")};
    const auto tooLong = Failure{QStringLiteral("what came from standard input is too long for a key")};
    InputSignals signals;
    SilentTerminal terminal(signals);
    terminal.silence(prompt);
    KeyBytes bytes;
    while (true) {
        const auto event = signals.awaitInput();
        if (event == InputSignals::Event::Ended)
            return unreadable;
        if (event == InputSignals::Event::Suspended) {
            terminal.restore();
            signals.suspend();
            terminal.silence(prompt);
            continue;
        }
        const ssize_t count = bytes.readMore();
        if (count < 0 && (errno == EINTR || errno == EAGAIN))
            continue;
        if (count < 0)
            return unreadable;
        if (bytes.text.size() > kLongestKey)
            return tooLong;
        if (count == 0)
            return bytes;
        if (terminal.isTerminal() && bytes.text.size() > kLongestLine)
            return tooLong;
        if (terminal.isTerminal() && bytes.text.ends_with('\n')) {
            if (terminal.hasMore())
                return Failure{QStringLiteral("a key is one line of text")};
            return bytes;
        }
    }
}

} // namespace

Result<QString, QString> readKey(const QString& prompt)
{
    auto bytes = readInput(prompt);
    if (!bytes)
        return Failure{bytes.error()};
    QByteArrayView text(bytes.value().text);
    while (text.endsWith('\n') || text.endsWith('\r'))
        text.chop(1);
    const auto key = decodeUtf8(text);
    // Control characters could not be sent in a request's header.
    const auto isControl = [](QChar character) { return character.category() == QChar::Other_Control; };
    if (!key || std::any_of(key->begin(), key->end(), isControl))
        return Failure{QStringLiteral("a key is one line of text")};
    if (key->isEmpty())
        return Failure{QStringLiteral("there is no key on standard input")};
    return *key;
}

} // namespace velmo
