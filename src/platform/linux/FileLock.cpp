#include "platform/linux/FileLock.h"

#include "core/Clock.h"

#include <QFile>
#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <utility>

namespace velmo {

namespace {

constexpr std::chrono::milliseconds kPause{2};
constexpr mode_t kOwnerOnly = 0600;

} // namespace

FileLock::FileLock(const QString& path)
    : path_(QFile::encodeName(path))
{}

FileLock::~FileLock()
{
    // While it is still held: afterwards the file may be somebody else's.
    if (file_.isValid())
        unlink(path_.constData());
}

int FileLock::tryLock(std::chrono::milliseconds patience)
{
    const auto deadline = Clock::now() + patience;
    while (true) {
        const int error = tryOnce();
        const bool mayChange = error == EWOULDBLOCK || error == EINTR;
        if (!mayChange || Clock::now() >= deadline)
            return error;
        std::this_thread::sleep_for(kPause);
    }
}

int FileLock::tryOnce()
{
    // Never through a link, and never waiting for somebody at the other end of a pipe.
    FileDescriptor file(
        open(path_.constData(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, kOwnerOnly));
    struct stat held {};
    if (!file.isValid() || flock(file.get(), LOCK_EX | LOCK_NB) != 0 || fstat(file.get(), &held) != 0)
        return errno;
    struct stat named {};
    // Who held it before has removed the file; then this lock is on one that nobody else will find.
    if (stat(path_.constData(), &named) != 0)
        return errno == ENOENT ? EWOULDBLOCK : errno;
    if (held.st_ino != named.st_ino || held.st_dev != named.st_dev)
        return EWOULDBLOCK;
    file_ = std::move(file);
    return 0;
}

} // namespace velmo
