#pragma once

#include "platform/linux/FileDescriptor.h"

#include <sys/eventfd.h>

namespace velmo {

/// Asks a thread that waits for descriptors to stop, once and for all.
class Interrupt {
public:
    Interrupt() = default;
    Interrupt(const Interrupt&) = delete;
    Interrupt& operator=(const Interrupt&) = delete;

    /// Any thread.
    void request() const { eventfd_write(descriptor_.get(), 1); }

    /// Readable from the request on.
    [[nodiscard]] int descriptor() const { return descriptor_.get(); }

private:
    const FileDescriptor descriptor_{eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)};
};

} // namespace velmo
