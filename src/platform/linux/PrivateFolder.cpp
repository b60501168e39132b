#include "platform/linux/PrivateFolder.h"

#include "core/Identity.h"
#include "core/Text.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

namespace velmo {
namespace {

constexpr mode_t kOwnerOnly = 0700;
constexpr mode_t kOthers = S_IRWXG | S_IRWXO;
constexpr mode_t kOthersWrite = S_IWGRP | S_IWOTH;

/// Whether it is the user's, and nobody else can put anything into it.
bool isTrustworthy(const QByteArray& folder)
{
    struct stat status {};
    return !folder.isEmpty() && stat(folder.constData(), &status) == 0 && S_ISDIR(status.st_mode) &&
           status.st_uid == geteuid() && (status.st_mode & kOthersWrite) == 0;
}

} // namespace

Result<PrivateFolder, QString> PrivateFolder::open(const QByteArray& runtimeFolder,
                                                   const QByteArray& temporaryFolder)
{
    if (isTrustworthy(runtimeFolder))
        return openIn(runtimeFolder, kApplicationIdentifier);
    return openIn(temporaryFolder, QByteArray(kApplicationIdentifier) + '-' + QByteArray::number(geteuid()));
}

Result<PrivateFolder, QString> PrivateFolder::openIn(const QByteArray& parent, const QByteArray& name)
{
    const QByteArray path = parent + '/' + name;
    const auto failure = [&path](const QString& reason) {
        return Failure{QStringLiteral("The folder ") + QString::fromLocal8Bit(path) +
                       QStringLiteral(" cannot be used: ") + reason};
    };
    if (mkdir(path.constData(), kOwnerOnly) != 0 && errno != EEXIST)
        return failure(systemErrorText(errno));
    FileDescriptor descriptor(::open(path.constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    struct stat status {};
    if (!descriptor.isValid() || fstat(descriptor.get(), &status) != 0)
        return failure(systemErrorText(errno));
    if (status.st_uid != geteuid())
        return failure(QStringLiteral("it belongs to somebody else"));
    if ((status.st_mode & kOthers) != 0)
        return failure(QStringLiteral("others may enter it"));
    // Whoever clears temporary files away leaves a folder alone that somebody holds like this.
    flock(descriptor.get(), LOCK_SH | LOCK_NB);
    return PrivateFolder(std::move(descriptor));
}

std::string PrivateFolder::pathOf(const std::string& name) const
{
    return "/proc/self/fd/" + std::to_string(descriptor_.get()) + '/' + name;
}

} // namespace velmo
