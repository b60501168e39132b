#include "core/Console.h"

#include <QByteArray>
#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <mutex>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace velmo::Console {

namespace {

/// Writes to one of the standard streams without ever waiting.
///
/// The descriptor is shared with whoever started the program, so it must not be made non-blocking itself: a
/// pipe or terminal is opened a second time through /proc, a socket takes a flag with each message, and a
/// regular file does not block.
class NonBlockingStream {
public:
    explicit NonBlockingStream(int descriptor)
        : descriptor_(descriptor)
    {
        struct stat status {};
        if (fstat(descriptor, &status) != 0) {
            kind_ = Kind::Closed;
        } else if (S_ISSOCK(status.st_mode)) {
            kind_ = Kind::Socket;
        } else if (S_ISFIFO(status.st_mode) || S_ISCHR(status.st_mode)) {
            const std::string path = "/proc/self/fd/" + std::to_string(descriptor);
            const int own = open(path.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
            // Another user's terminal cannot be opened again; asking before each write is the next best.
            if (own < 0)
                kind_ = Kind::Asked;
            else
                descriptor_ = own;
        }
    }

    void write(const QByteArray& line)
    {
        const std::scoped_lock lock(mutex_);
        // The rest of a line that was cut short is gone; the next one must not continue it.
        const QByteArray text = cutShort_ ? '\n' + line : line;
        const char* data = text.constData();
        qsizetype left = text.size();
        while (left > 0) {
            const ssize_t written = writeSome(data, static_cast<size_t>(left));
            if (written < 0 && errno == EINTR)
                continue;
            if (written <= 0)
                break;
            data += written;
            left -= written;
        }
        if (left < text.size())
            cutShort_ = left > 0;
    }

private:
    enum class Kind { Plain, Asked, Socket, Closed };

    ssize_t writeSome(const char* data, size_t size) const
    {
        switch (kind_) {
        case Kind::Closed:
            return -1;
        case Kind::Socket:
            return send(descriptor_, data, size, MSG_DONTWAIT | MSG_NOSIGNAL);
        case Kind::Asked: {
            pollfd ready{descriptor_, POLLOUT, 0};
            if (poll(&ready, 1, 0) != 1 || (ready.revents & POLLOUT) == 0)
                return -1;
            return ::write(descriptor_, data, size);
        }
        case Kind::Plain:
            return ::write(descriptor_, data, size);
        }
        return -1;
    }

    Kind kind_ = Kind::Plain;
    int descriptor_;
    bool cutShort_ = false;
    std::mutex mutex_;
};

/// Where desktops collect what the programs of a session print.
bool isSessionErrorFile(int descriptor)
{
    std::array<char, PATH_MAX> path{};
    const std::string link = "/proc/self/fd/" + std::to_string(descriptor);
    const ssize_t length = readlink(link.c_str(), path.data(), path.size());
    if (length <= 0)
        return false;
    const QByteArrayView whole(path.data(), length);
    const QByteArrayView name = whole.sliced(whole.lastIndexOf('/') + 1);
    return name.startsWith(".xsession-errors") || name.startsWith("xsession-errors") ||
           name.endsWith("session.log") || whole.contains("/lxsession/");
}

std::atomic<Stream> currentStream{Stream::StandardOutput};

} // namespace

void setStream(Stream stream)
{
    currentStream = stream;
}

void printLine(QByteArrayView line)
{
    // Never destroyed: threads that outlive main() may still print.
    static auto& standardOutput = *new NonBlockingStream(STDOUT_FILENO);
    static auto& standardError = *new NonBlockingStream(STDERR_FILENO);
    const bool toOutput = currentStream == Stream::StandardOutput;
    (toOutput ? standardOutput : standardError).write(line.toByteArray() + '\n');
}

bool isRecord(int descriptor)
{
    struct stat status {};
    if (fstat(descriptor, &status) != 0)
        return false;
    // Programs inherit the variable from whoever was connected to the journal, so it only means this
    // descriptor when it names it. A service whose errors go a way of their own is told about that one alone.
    const QByteArray journal = qgetenv("JOURNAL_STREAM");
    if (journal ==
        QByteArray::number(qulonglong{status.st_dev}) + ':' + QByteArray::number(qulonglong{status.st_ino}))
        return true;
    if (!journal.isEmpty() && S_ISSOCK(status.st_mode))
        return true;
    return S_ISREG(status.st_mode) && isSessionErrorFile(descriptor);
}

} // namespace velmo::Console
