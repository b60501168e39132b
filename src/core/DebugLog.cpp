#include "core/DebugLog.h"

#include "core/Console.h"
#include "core/Identity.h"
#include "core/async/SerialQueue.h"

#include <QDateTime>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace velmo {

namespace {

constexpr mode_t kOwnerOnly = 0600;

/// All file access happens on the queue. Neither is ever destroyed, since any thread may log until the end.
struct Log {
    async::SerialQueue queue{std::string(kApplicationIdentifier) + ".debuglog"};
    QByteArray path = QByteArrayLiteral("/tmp/velmo.log");
};

Log& sharedLog()
{
    static auto& log = *new Log;
    return log;
}

class FileDescriptor {
public:
    explicit FileDescriptor(int descriptor)
        : descriptor_(descriptor)
    {}
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    ~FileDescriptor()
    {
        if (descriptor_ >= 0)
            close(descriptor_);
    }
    [[nodiscard]] int get() const { return descriptor_; }
    [[nodiscard]] bool isValid() const { return descriptor_ >= 0; }

private:
    int descriptor_;
};

bool writeAll(int descriptor, const QByteArray& bytes)
{
    qsizetype written = 0;
    while (written < bytes.size()) {
        const ssize_t count =
            write(descriptor, bytes.constData() + written, static_cast<size_t>(bytes.size() - written));
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return false;
        written += count;
    }
    return true;
}

/// The directory is open to everybody, so the path may hold anything: a link, another user's file, a pipe
/// without a reader. None of them may be written to, and none may block.
int appendLine(const char* path, const QByteArray& line)
{
    struct stat existing {};
    if (lstat(path, &existing) != 0 && errno == ENOENT) {
        const FileDescriptor created(
            open(path, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, kOwnerOnly));
        if (!created.isValid() && errno != EEXIST)
            return errno;
    }
    const FileDescriptor file(open(path, O_WRONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY));
    if (!file.isValid())
        return errno;
    struct stat status {};
    if (fstat(file.get(), &status) != 0)
        return errno;
    if (!S_ISREG(status.st_mode))
        return EINVAL;
    if (status.st_uid != geteuid())
        return EPERM;
    if (lseek(file.get(), 0, SEEK_END) < 0)
        return errno;
    return writeAll(file.get(), line) ? 0 : errno;
}

void replaceByEmptyFile(const QByteArray& path)
{
    struct stat existing {};
    if (lstat(path.constData(), &existing) == 0 && existing.st_uid != geteuid())
        return;
    QByteArray temporary = path + ".XXXXXX";
    const FileDescriptor file(mkostemp(temporary.data(), O_CLOEXEC));
    if (!file.isValid())
        return;
    if (rename(temporary.constData(), path.constData()) != 0)
        unlink(temporary.constData());
}

} // namespace

void DebugLog::log(const QString& category, const QString& message)
{
    const QString time = QDateTime::currentDateTimeUtc().toString(Qt::ISODate);
    const QByteArray line =
        (u'[' + time + QStringLiteral("] [") + category + QStringLiteral("] ") + message).toUtf8();
    Console::printLine(line);
    Log& log = sharedLog();
    log.queue.async([&log, line = line + '\n'] {
        if (const int error = appendLine(log.path.constData(), line); error != 0)
            Console::printLine(QByteArrayLiteral("[DebugLog] Failed to write log file: ") +
                               std::strerror(error));
    });
}

void DebugLog::reset()
{
    Log& log = sharedLog();
    log.queue.sync([&log] { replaceByEmptyFile(log.path); });
}

void DebugLog::flush()
{
    sharedLog().queue.sync([] {});
}

QString DebugLog::logFile()
{
    return QString::fromLocal8Bit(sharedLog().path);
}

void DebugLog::setLogFile(const QString& path)
{
    Log& log = sharedLog();
    log.queue.sync([&log, encoded = path.toLocal8Bit()] { log.path = encoded; });
}

} // namespace velmo
