#include "platform/linux/PulseConnection.h"

#include "platform/linux/PulseLibrary.h"
#include "platform/linux/PulseLoop.h"

#include <algorithm>
#include <utility>

namespace velmo {

PulseConnection::PulseConnection(PulseLoop& loop)
    : loop_(loop)
{}

PulseConnection::~PulseConnection() = default;

void PulseConnection::keep()
{
    ++keepers_;
    if (!context_)
        connect();
}

void PulseConnection::unkeep()
{
    --keepers_;
    dropIfUnused();
}

void PulseConnection::add(User& user)
{
    users_.push_back(&user);
    if (!context_)
        connect();
    else if (pa_context_get_state(context_.get()) == PA_CONTEXT_READY)
        user.onConnected(*context_);
}

void PulseConnection::remove(User& user)
{
    if (std::erase(users_, &user) > 0)
        dropIfUnused();
}

void PulseConnection::giveUp(const PlatformError& reason)
{
    context_.reset();
    for (User* user : std::exchange(users_, {}))
        user->onDisconnected(reason);
}

void PulseConnection::connect()
{
    if (loop_.api() == nullptr) {
        giveUp({PlatformError::Kind::Unsupported, pulseLibrary.absence()});
        return;
    }
    context_.reset(pa_context_new(loop_.api(), "Velmo"));
    if (!context_) {
        giveUp(reasonFor(PA_ERR_INTERNAL));
        return;
    }
    pa_context_set_state_callback(
        context_.get(),
        [](pa_context*, void* self) { static_cast<PulseConnection*>(self)->onStateChanged(); }, this);
    // Some failures change the state, others only show here.
    if (pa_context_connect(context_.get(), nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0 && context_)
        giveUp(reasonFor(pa_context_errno(context_.get())));
}

void PulseConnection::onStateChanged()
{
    switch (pa_context_get_state(context_.get())) {
    case PA_CONTEXT_READY:
        // A user may go, and others with it, while it is told.
        for (User* user : std::vector(users_)) {
            if (context_ && std::find(users_.begin(), users_.end(), user) != users_.end())
                user->onConnected(*context_);
        }
        break;
    case PA_CONTEXT_FAILED:
    case PA_CONTEXT_TERMINATED:
        giveUp(reasonFor(pa_context_errno(context_.get())));
        break;
    default:
        break;
    }
}

void PulseConnection::dropIfUnused()
{
    if (keepers_ == 0 && users_.empty())
        context_.reset();
}

PlatformError PulseConnection::reasonFor(int error)
{
    switch (error) {
    case PA_ERR_ACCESS:
    case PA_ERR_AUTHKEY:
        return {PlatformError::Kind::Denied, QStringLiteral("The sound server refuses access.")};
    case PA_ERR_TIMEOUT:
        return {PlatformError::Kind::Failed, QStringLiteral("The sound server does not answer.")};
    default:
        return {PlatformError::Kind::Unsupported, QStringLiteral("There is no sound server.")};
    }
}

} // namespace velmo
