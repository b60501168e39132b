#include "platform/linux/BusConnection.h"

#include <systemd/sd-bus.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdlib>
#include <poll.h>
#include <sstream>
#include <string_view>
#include <utility>

namespace velmo {
namespace {

/// A bus that left this many messages unread has stopped, or is stopped.
constexpr uint64_t kMostUnsent = 64;
/// Messages between two looks at whatever else the thread has to do.
constexpr int kMostAtOnce = 64;

struct MessageRelease {
    void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};
using Message = std::unique_ptr<sd_bus_message, MessageRelease>;

Message newCall(sd_bus* bus, const BusRequest& request)
{
    sd_bus_message* message = nullptr;
    if (sd_bus_message_new_method_call(bus, &message, request.destination.c_str(), request.path.c_str(),
                                       request.interface.c_str(), request.member.c_str()) < 0)
        return nullptr;
    Message owner(message);
    sd_bus_message_set_auto_start(message, request.activation == BusActivation::IfNeeded ? 1 : 0);
    if (request.isSensitive && sd_bus_message_sensitive(message) < 0)
        return nullptr;
    for (const auto& argument : {request.argument, request.secondArgument}) {
        if (argument && sd_bus_message_append_basic(message, SD_BUS_TYPE_STRING, argument->c_str()) < 0)
            return nullptr;
    }
    if (request.writeArguments && request.writeArguments(message) < 0)
        return nullptr;
    return owner;
}

/// A path as it is written in an address.
std::string escaped(const std::string& path)
{
    constexpr std::string_view kPlain = "-_/.\\*";
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::string result;
    for (const char character : path) {
        const auto byte = static_cast<unsigned char>(character);
        const bool isWord = byte < 0x80 && std::isalnum(byte) != 0;
        if (isWord || kPlain.find(character) != std::string_view::npos)
            result += character;
        else
            result += {'%', kDigits.at(byte >> 4U), kDigits.at(byte & 0xFU)};
    }
    return result;
}

bool takesMore(sd_bus* bus)
{
    uint64_t unsent = 0;
    return sd_bus_get_n_queued_write(bus, &unsent) >= 0 && unsent < kMostUnsent;
}

} // namespace

struct BusListener::State {
    explicit State(BusConnection::Handler function)
        : handler(std::make_shared<BusConnection::Handler>(std::move(function)))
    {}
    State(const State&) = delete;
    State& operator=(const State&) = delete;
    ~State() { sd_bus_slot_unref(slot); }

    static int deliver(sd_bus_message* message, void* state, sd_bus_error*)
    {
        // Kept, because the handler may destroy the listener.
        const auto handler = static_cast<State*>(state)->handler;
        BusMessage arrived(message);
        (*handler)(arrived);
        return 0;
    }

    /// A call that was not reported as dealt with would be answered a second time.
    static int deliverCall(sd_bus_message* message, void* state, sd_bus_error*)
    {
        deliver(message, state, nullptr);
        return 1;
    }

    std::vector<BusMethod> methods;     ///< For an object.
    std::vector<sd_bus_vtable> offered; ///< The same in the library's words.
    std::shared_ptr<BusConnection::Handler> handler;
    sd_bus_slot* slot = nullptr;
};

BusListener::BusListener() = default;
BusListener::BusListener(BusListener&&) noexcept = default;
BusListener& BusListener::operator=(BusListener&&) noexcept = default;
BusListener::~BusListener() = default;

std::string BusConnection::sessionAddress()
{
    if (const char* address = std::getenv("DBUS_SESSION_BUS_ADDRESS"); address != nullptr && *address != 0)
        return address;
    const char* folder = std::getenv("XDG_RUNTIME_DIR");
    return folder == nullptr || *folder == 0 ? std::string() : "unix:path=" + escaped(folder) + "/bus";
}

std::string BusConnection::localAddress(const std::string& address)
{
    std::string local;
    std::istringstream alternatives(address);
    for (std::string one; std::getline(alternatives, one, ';');) {
        if (one.starts_with("unix:path=") || one.starts_with("unix:abstract="))
            local += (local.empty() ? "" : ";") + one;
    }
    return local;
}

std::unique_ptr<BusConnection> BusConnection::open(const std::string& address)
{
    const std::string local = localAddress(address);
    if (local.empty())
        return nullptr;
    sd_bus* bus = nullptr;
    if (sd_bus_new(&bus) < 0)
        return nullptr;
    std::unique_ptr<BusConnection> connection(new BusConnection(bus));
    if (sd_bus_set_address(bus, local.c_str()) < 0 || sd_bus_set_bus_client(bus, 1) < 0 ||
        sd_bus_start(bus) < 0)
        return nullptr;
    return connection;
}

BusConnection::BusConnection(sd_bus* bus)
    : bus_(bus)
{}

BusConnection::~BusConnection()
{
    sd_bus_close_unref(bus_);
}

bool BusConnection::process()
{
    for (int count = 0; count < kMostAtOnce; ++count) {
        const int result = sd_bus_process(bus_, nullptr);
        if (result < 0 || sd_bus_is_open(bus_) <= 0)
            return false;
        if (result == 0)
            break;
    }
    return true;
}

BusConnection::RunEnd BusConnection::runUntil(const std::function<bool()>& isDone, Clock::TimePoint end,
                                              int interrupt)
{
    using std::chrono::ceil;
    using std::chrono::milliseconds;
    while (!isDone()) {
        const int result = sd_bus_process(bus_, nullptr);
        if (result < 0 || sd_bus_is_open(bus_) <= 0)
            return RunEnd::Lost;
        if (result > 0)
            continue;
        const auto now = Clock::now();
        if (now >= end)
            return RunEnd::Late;
        const Wait wait = nextWait();
        const auto wakeUp = std::max(std::min(wait.until.value_or(end), end), now);
        // Who waits for a person needs no more than a look at the clock once in a while.
        const auto limit = std::min<milliseconds>(ceil<milliseconds>(wakeUp - now), std::chrono::minutes(1));
        std::array descriptors{pollfd{wait.descriptor, wait.events, 0}, pollfd{interrupt, POLLIN, 0}};
        poll(descriptors.data(), descriptors.size(), static_cast<int>(limit.count()));
        if (descriptors.at(1).revents != 0)
            return RunEnd::Interrupted;
    }
    return RunEnd::Done;
}

BusConnection::Wait BusConnection::nextWait() const
{
    Wait wait{sd_bus_get_fd(bus_), static_cast<short>(std::max(sd_bus_get_events(bus_), 0)), std::nullopt};
    uint64_t until = UINT64_MAX;
    if (sd_bus_get_timeout(bus_, &until) >= 0 && until != UINT64_MAX)
        wait.until = Clock::TimePoint(std::chrono::microseconds(until));
    return wait;
}

BusListener BusConnection::call(const BusRequest& request, std::chrono::microseconds timeout, Handler handler)
{
    BusListener listener;
    const Message message = takesMore(bus_) ? newCall(bus_, request) : nullptr;
    if (!message)
        return listener;
    listener.state_ = std::make_unique<BusListener::State>(std::move(handler));
    // Zero would stand for the library's own idea of a timeout.
    const auto limit = static_cast<uint64_t>(std::max<int64_t>(timeout.count(), 1));
    sd_bus_call_async(bus_, &listener.state_->slot, message.get(), &BusListener::State::deliver,
                      listener.state_.get(), limit);
    return listener;
}

void BusConnection::tell(const BusRequest& request)
{
    const Message message = takesMore(bus_) ? newCall(bus_, request) : nullptr;
    if (message && sd_bus_message_set_expect_reply(message.get(), 0) >= 0)
        sd_bus_send(bus_, message.get(), nullptr);
}

BusListener BusConnection::listen(const std::string& rule, Handler handler)
{
    BusListener listener;
    listener.state_ = std::make_unique<BusListener::State>(std::move(handler));
    sd_bus_add_match_async(bus_, &listener.state_->slot, rule.c_str(), &BusListener::State::deliver, nullptr,
                           listener.state_.get());
    return listener;
}

BusListener BusConnection::serve(const std::string& path, const std::string& interface,
                                 std::vector<BusMethod> methods, Handler handler)
{
    BusListener listener;
    listener.state_ = std::make_unique<BusListener::State>(std::move(handler));
    auto& state = *listener.state_;
    state.methods = std::move(methods);
    state.offered.push_back(SD_BUS_VTABLE_START(0));
    // Whoever may speak on the user's own bus may call.
    for (const BusMethod& method : state.methods)
        state.offered.push_back(SD_BUS_METHOD(method.name.c_str(), method.arguments.c_str(),
                                              method.results.c_str(), &BusListener::State::deliverCall,
                                              SD_BUS_VTABLE_UNPRIVILEGED));
    state.offered.push_back(SD_BUS_VTABLE_END);
    sd_bus_add_object_vtable(bus_, &state.slot, path.c_str(), interface.c_str(), state.offered.data(),
                             &state);
    return listener;
}

} // namespace velmo
