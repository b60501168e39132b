#pragma once

#include "platform/x11/X11CaptureServer.h"

#include <memory>
#include <mutex>
#include <vector>

namespace velmo {

/// Connections that capture, each used by one holder at a time, so that captures may overlap and a picture
/// can travel from thread to thread together with the connection that it lives on. Any thread; it outlives
/// what was taken from it.
class X11CapturePool {
public:
    struct GiveBack {
        X11CapturePool* pool = nullptr;
        void operator()(X11CaptureServer* server) const;
    };
    /// Goes back into the pool by itself. A connection that was lost does not.
    using Lease = std::unique_ptr<X11CaptureServer, GiveBack>;

    /// Null when no display answers.
    [[nodiscard]] Lease take();

    /// Opens connections now, until one is at hand for the main thread and one for a worker.
    void keepSpares()
    {
        const Lease first = take();
        const Lease second = take();
    }

private:
    void giveBack(std::unique_ptr<X11CaptureServer> server);

    std::mutex mutex_;
    std::vector<std::unique_ptr<X11CaptureServer>> spare_;
};

} // namespace velmo
