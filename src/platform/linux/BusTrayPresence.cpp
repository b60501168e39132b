#include "platform/linux/BusTrayPresence.h"

#include <utility>

namespace velmo {
namespace {

const std::string kWatcher = "org.kde.StatusNotifierWatcher";
const BusRequest kGetOwner = requestToBus("GetNameOwner", kWatcher);
const BusRequest kGetHost =
    requestForProperty(kWatcher, "/StatusNotifierWatcher", kWatcher, "IsStatusNotifierHostRegistered");
const std::string kHostRule = "type='signal',interface='org.kde.StatusNotifierWatcher',"
                              "member='StatusNotifierHostRegistered'";
const std::string kHostlessRule = "type='signal',interface='org.kde.StatusNotifierWatcher',"
                                  "member='StatusNotifierHostUnregistered'";

/// A bus that is stopped and goes on later answers then; until that the question stays open.
constexpr std::chrono::hours kAnswerLimit{24};

} // namespace

BusTrayPresence::BusTrayPresence(const std::string& sessionAddress)
    : bus_(BusConnection::open(sessionAddress))
{
    if (!bus_) {
        state_ = State::Absent;
        return;
    }
    // Listening comes first, so that no change is missed between the answer and the first signal.
    ownerChanges_ = bus_->listen(ownerRule(kWatcher), [this](BusMessage& message) {
        const auto change = message.readOwnerChange();
        if (!change || change->name != kWatcher)
            return;
        ownerCall_ = {};
        hostCall_ = {};
        if (change->owner.empty())
            become(State::Absent);
        else
            askForHost();
    });
    // Who sends it does not matter, since it only leads to a question.
    hostArrivals_ = bus_->listen(kHostRule, [this](BusMessage&) { askForHost(); });
    hostDepartures_ = bus_->listen(kHostlessRule, [this](BusMessage&) { askForHost(); });
    ownerCall_ = bus_->call(kGetOwner, kAnswerLimit, [this](BusMessage& message) {
        if (message.isError())
            become(State::Absent);
        else
            askForHost();
    });
    notifier_ = std::make_unique<BusNotifier>(*bus_, [this] { forgetBus(); });
}

BusTrayPresence::~BusTrayPresence() = default;

/// The toolkit takes a watcher without a host for no tray at all, for as long as the process lives.
void BusTrayPresence::askForHost()
{
    hostCall_ = bus_->call(kGetHost, kAnswerLimit, [this](BusMessage& message) {
        become(message.readFlagProperty().value_or(false) ? State::Present : State::Absent);
    });
}

void BusTrayPresence::forgetBus()
{
    notifier_.reset();
    hostCall_ = {};
    ownerCall_ = {};
    hostArrivals_ = {};
    hostDepartures_ = {};
    ownerChanges_ = {};
    bus_.reset();
    become(State::Absent);
}

void BusTrayPresence::become(State state)
{
    if (std::exchange(state_, state) == state || !handler_)
        return;
    // The handler may talk with the desktop for a while, and is not to do so inside of a message.
    QTimer::singleShot(0, &later_, [this] {
        if (handler_)
            handler_();
    });
}

} // namespace velmo
