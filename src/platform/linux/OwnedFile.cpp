#include "platform/linux/OwnedFile.h"

#include <QFile>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <mutex>
#include <set>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace velmo {

namespace {

/// The files that there are. The toolkit ends the program without destroying anything when the display
/// breaks, and even then none of them may stay.
class LivingFiles {
public:
    void add(const OwnedFile& file)
    {
        const std::scoped_lock lock(mutex_);
        files_.insert(&file);
    }
    void remove(const OwnedFile& file)
    {
        const std::scoped_lock lock(mutex_);
        files_.erase(&file);
    }
    void unlinkAll()
    {
        const std::scoped_lock lock(mutex_);
        for (const OwnedFile* file : files_)
            file->unlinkIfInPlace();
    }

    static LivingFiles& instance()
    {
        // Never destroyed: a file of another thread may outlive the end of main().
        static auto* const files = [] {
            std::atexit([] { instance().unlinkAll(); });
            return new LivingFiles;
        }();
        return *files;
    }

private:
    std::mutex mutex_;
    std::set<const OwnedFile*> files_;
};

} // namespace

std::unique_ptr<OwnedFile> OwnedFile::create(const QString& path, int& error)
{
    QByteArray name = QFile::encodeName(path);
    const int descriptor = open(name.constData(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (descriptor < 0) {
        error = errno;
        return nullptr;
    }
    return std::unique_ptr<OwnedFile>(new OwnedFile(std::move(name), descriptor));
}

OwnedFile::OwnedFile(QByteArray path, int descriptor)
    : path_(std::move(path))
    , descriptor_(descriptor)
{
    struct stat status {};
    if (fstat(descriptor_, &status) == 0) {
        device_ = status.st_dev;
        number_ = status.st_ino;
    }
    LivingFiles::instance().add(*this);
}

OwnedFile::~OwnedFile()
{
    close();
    unlinkIfInPlace();
    LivingFiles::instance().remove(*this);
}

void OwnedFile::unlinkIfInPlace() const
{
    if (isInPlace())
        unlink(path_.constData());
}

bool OwnedFile::write(const char* data, size_t size)
{
    while (size > 0 && error_ == 0) {
        const ssize_t written = ::write(descriptor_, data, size);
        if (written >= 0) {
            data += written;
            size -= static_cast<size_t>(written);
        } else if (errno != EINTR) {
            error_ = errno;
        }
    }
    return error_ == 0;
}

qint64 OwnedFile::seek(qint64 offset, int origin)
{
    return lseek(descriptor_, offset, origin);
}

void OwnedFile::close()
{
    if (descriptor_ < 0)
        return;
    // Some file systems learn only here that there was no room.
    if (::close(std::exchange(descriptor_, -1)) != 0 && errno != EINTR && error_ == 0)
        error_ = errno;
}

bool OwnedFile::isInPlace() const
{
    struct stat status {};
    return lstat(path_.constData(), &status) == 0 && status.st_dev == device_ && status.st_ino == number_;
}

} // namespace velmo
