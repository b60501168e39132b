#include "platform/x11/X11CapturePool.h"

#include <utility>

namespace velmo {
namespace {

/// One for the frozen picture, one for a worker. More are opened while captures overlap, and closed again.
constexpr std::size_t kMostSpare = 2;

} // namespace

X11CapturePool::Lease X11CapturePool::take()
{
    for (;;) {
        std::unique_ptr<X11CaptureServer> server;
        {
            const std::lock_guard lock(mutex_);
            if (!spare_.empty()) {
                server = std::move(spare_.back());
                spare_.pop_back();
            }
        }
        if (!server)
            return Lease(X11CaptureServer::open().release(), GiveBack{this});
        // Reading is what shows that the display server has gone meanwhile.
        server->connection->discardEvents();
        if (!server->connection->isBroken())
            return Lease(server.release(), GiveBack{this});
    }
}

void X11CapturePool::GiveBack::operator()(X11CaptureServer* server) const
{
    pool->giveBack(std::unique_ptr<X11CaptureServer>(server));
}

void X11CapturePool::giveBack(std::unique_ptr<X11CaptureServer> server)
{
    if (server->connection->isBroken())
        return;
    const std::lock_guard lock(mutex_);
    if (spare_.size() < kMostSpare)
        spare_.push_back(std::move(server));
}

} // namespace velmo
