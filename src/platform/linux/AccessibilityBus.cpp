#include "platform/linux/AccessibilityBus.h"

namespace velmo {
namespace {

/// Finding out where the bus is includes starting it, for whoever is asked.
constexpr std::chrono::seconds kAddressLimit{10};
/// A bus that ended may come back, and is not worth being busy for meanwhile.
constexpr std::chrono::seconds kRetryAfter{3};

const std::string kName = "org.a11y.Bus";
const BusRequest kGetAddress{kName, "/org/a11y/bus", kName, "GetAddress", std::nullopt};

} // namespace

AccessibilityBus::AccessibilityBus(std::string sessionAddress, Observer observer)
    : sessionAddress_(std::move(sessionAddress))
    , observer_(std::move(observer))
{
    openSession();
}

AccessibilityBus::~AccessibilityBus()
{
    if (bus_)
        observer_.onLost();
}

void AccessibilityBus::process()
{
    processSession();
    if (!bus_ || bus_->process())
        return;
    observer_.onLost();
    bus_.reset();
    retryAt_ = Clock::now() + kRetryAfter;
}

void AccessibilityBus::processSession()
{
    if (session_ && !session_->process())
        closeSession();
    if (!retryAt_ || Clock::now() < *retryAt_)
        return;
    retryAt_.reset();
    if (session_)
        askForAddress();
    else
        openSession();
}

void AccessibilityBus::openSession()
{
    session_ = BusConnection::open(sessionAddress_);
    if (!session_) {
        retryAt_ = Clock::now() + kRetryAfter;
        return;
    }
    ownerChanges_ = session_->listen(ownerRule(kName), [this](BusMessage& message) {
        const auto change = message.readOwnerChange();
        if (change && !change->owner.empty())
            askForAddress();
    });
    askForAddress();
}

void AccessibilityBus::closeSession()
{
    addressCall_ = {};
    ownerChanges_ = {};
    session_.reset();
    retryAt_ = Clock::now() + kRetryAfter;
}

void AccessibilityBus::askForAddress()
{
    if (bus_)
        return;
    addressCall_ = session_->call(kGetAddress, kAddressLimit, [this](BusMessage& message) {
        // Who is nobody yet is announced by the session bus.
        if (message.isFromNobody())
            return;
        if (const auto address = message.readText())
            connectTo(*address);
        else
            retryAt_ = Clock::now() + kRetryAfter;
    });
}

void AccessibilityBus::connectTo(const std::string& address)
{
    bus_ = BusConnection::open(address);
    if (bus_)
        observer_.onConnected(*bus_);
    else
        retryAt_ = Clock::now() + kRetryAfter;
}

std::vector<BusConnection::Wait> AccessibilityBus::nextWaits() const
{
    std::vector<BusConnection::Wait> waits;
    if (session_)
        waits.push_back(session_->nextWait());
    if (bus_)
        waits.push_back(bus_->nextWait());
    if (retryAt_)
        waits.push_back({-1, 0, retryAt_});
    return waits;
}

} // namespace velmo
