#pragma once

#include <sys/eventfd.h>
#include <unistd.h>

namespace velmo {

/// Asks a thread that waits for descriptors to stop, once and for all.
class Interrupt {
public:
    Interrupt() = default;
    Interrupt(const Interrupt&) = delete;
    Interrupt& operator=(const Interrupt&) = delete;
    ~Interrupt() { close(descriptor_); }

    /// Any thread.
    void request() const { eventfd_write(descriptor_, 1); }

    /// Readable from the request on.
    [[nodiscard]] int descriptor() const { return descriptor_; }

private:
    const int descriptor_ = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
};

} // namespace velmo
