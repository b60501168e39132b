#pragma once

#include "platform/linux/FileDescriptor.h"

#include <QString>
#include <chrono>

namespace velmo {

/// A lock between processes, by a file that is there while somebody holds it. The system gives it back when
/// its holder dies, at whatever moment. Any thread; one thread at a time.
class FileLock {
public:
    explicit FileLock(const QString& path);
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;
    /// Gives it back.
    ~FileLock();

    /// Waits so long at most. False: somebody else has it, or there can be no such file.
    [[nodiscard]] bool tryLock(std::chrono::milliseconds patience);

private:
    [[nodiscard]] bool tryOnce();

    const QByteArray path_;
    FileDescriptor file_; ///< Invalid while it is not held.
};

} // namespace velmo
