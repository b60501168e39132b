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

    /// Waits so long at most while somebody else has it; that is EWOULDBLOCK then. 0: it is held. The number
    /// of any other error of the system's comes at once.
    [[nodiscard]] int tryLock(std::chrono::milliseconds patience);

private:
    [[nodiscard]] int tryOnce();

    const QByteArray path_;
    FileDescriptor file_; ///< Invalid while it is not held.
};

} // namespace velmo
