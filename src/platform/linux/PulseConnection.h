#pragma once

#include "platform/PlatformError.h"
#include "platform/linux/PulsePointers.h"

#include <vector>

namespace velmo {

class PulseLoop;

/// The connection to the sound server, on the loop's thread. It is there as long as somebody uses it or wants
/// it kept; the server is never started by it.
class PulseConnection {
public:
    class User {
    public:
        virtual ~User() = default;
        virtual void onConnected(pa_context& context) = 0;
        /// The user is none any more. Its streams have ended.
        virtual void onDisconnected(const PlatformError& reason) = 0;
    };

    explicit PulseConnection(PulseLoop& loop);
    PulseConnection(const PulseConnection&) = delete;
    PulseConnection& operator=(const PulseConnection&) = delete;
    ~PulseConnection();

    /// Connects now, and keeps the connection until it is lost. It is made again for the next user.
    void keep();
    /// As often as keep().
    void unkeep();

    /// Connects if need be. One of the user's functions may be called at once.
    void add(User& user);
    /// Only its name is looked at. Without any effect for one that is none.
    void remove(User& user);

    /// For a server that does not answer: whoever comes next starts over.
    void giveUp(const PlatformError& reason);

private:
    void connect();
    void onStateChanged();
    void dropIfUnused();
    [[nodiscard]] static PlatformError reasonFor(int error);

    PulseLoop& loop_;
    PulseContextPtr context_;
    std::vector<User*> users_;
    int keepers_ = 0;
};

} // namespace velmo
