#pragma once

#include "core/Clock.h"
#include "platform/linux/BusMessage.h"
#include "platform/linux/BusRequest.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

struct sd_bus;

namespace velmo {

/// A method that other programs may call. Types are those that the library names.
struct BusMethod {
    std::string name;
    std::string arguments;
    std::string results;
};

/// A call that waits for its answer, a rule that listens to signals, or an object that others call.
/// Destroying it ends the waiting, the listening, or the object; its handler is not called after that. It may
/// be destroyed by its own handler.
class BusListener {
public:
    BusListener();
    BusListener(BusListener&&) noexcept;
    BusListener& operator=(BusListener&&) noexcept;
    ~BusListener();

private:
    friend class BusConnection;
    struct State;
    std::unique_ptr<State> state_;
};

/// A connection to a message bus that never waits, neither for the connection to be made nor for an answer.
/// One thread. Connections are not Qt's: making one of those holds up all others of the process for as long
/// as the bus does not answer. Handlers run inside process().
class BusConnection {
public:
    using Handler = std::function<void(BusMessage&)>;

    /// What process() is to be called after.
    struct Wait {
        int descriptor = -1;
        short events = 0; ///< As poll() takes them.
        std::optional<Clock::TimePoint> until;
    };

    /// Where the user's session bus listens: what the environment says, else where systems put it. Empty if
    /// neither is known.
    [[nodiscard]] static std::string sessionAddress();
    /// What is left of an address when only sockets of this computer's count; empty if it names none. Any
    /// other kind may look names up or start programs, and would have to be waited for.
    [[nodiscard]] static std::string localAddress(const std::string& address);

    /// Goes to local sockets only; null if the address names none. Requests may be made at once.
    [[nodiscard]] static std::unique_ptr<BusConnection> open(const std::string& address);
    BusConnection(const BusConnection&) = delete;
    BusConnection& operator=(const BusConnection&) = delete;
    /// Drops what the bus has not taken yet.
    ~BusConnection();

    /// Carries out what has become possible; some of it if it is much. False when the connection is lost.
    [[nodiscard]] bool process();
    [[nodiscard]] Wait nextWait() const;

    enum class RunEnd {
        Done,
        Late,
        Lost,        ///< The connection.
        Interrupted, ///< The descriptor is readable.
    };
    /// Waits, and carries out what becomes possible, until the condition holds; what arrived after that is
    /// left for later. For threads that may wait. The descriptor, if any, ends it.
    [[nodiscard]] RunEnd runUntil(const std::function<bool()>& isDone, Clock::TimePoint end,
                                  int interrupt = -1);

    /// The handler gets the answer, or an error when there is none in time. A
    /// bus that does not read what it is sent gets nothing more, and the handler is not called then.
    [[nodiscard]] BusListener call(const BusRequest& request, std::chrono::microseconds timeout,
                                   Handler handler);
    /// Wants no answer.
    void tell(const BusRequest& request);

    [[nodiscard]] BusListener listen(const std::string& rule, Handler handler);

    /// Offers an object's interface. The handler gets each call of one of its methods, with arguments of the
    /// right types, and answers or refuses it before it returns.
    [[nodiscard]] BusListener serve(const std::string& path, const std::string& interface,
                                    std::vector<BusMethod> methods, Handler handler);

private:
    explicit BusConnection(sd_bus* bus);

    sd_bus* bus_;
};

} // namespace velmo
