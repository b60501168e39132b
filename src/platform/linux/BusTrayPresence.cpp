#include "platform/linux/BusTrayPresence.h"

#include <QSocketNotifier>
#include <QTimer>
#include <algorithm>
#include <poll.h>
#include <utility>

namespace velmo {
namespace {

const std::string kBus = "org.freedesktop.DBus";
const std::string kWatcher = "org.kde.StatusNotifierWatcher";
const BusRequest kGetOwner{kBus, "/org/freedesktop/DBus", kBus, "GetNameOwner", kWatcher};
const BusRequest kGetHost{kWatcher, "/StatusNotifierWatcher",        "org.freedesktop.DBus.Properties", "Get",
                          kWatcher, "IsStatusNotifierHostRegistered"};
const std::string kHostRule = "type='signal',interface='org.kde.StatusNotifierWatcher',"
                              "member='StatusNotifierHostRegistered'";
const std::string kHostlessRule = "type='signal',interface='org.kde.StatusNotifierWatcher',"
                                  "member='StatusNotifierHostUnregistered'";
const std::string kOwnerRule = "type='signal',sender='org.freedesktop.DBus',interface='org.freedesktop.DBus',"
                               "member='NameOwnerChanged',arg0='org.kde.StatusNotifierWatcher'";

/// A bus that is stopped and goes on later answers then; until that the question stays open.
constexpr std::chrono::hours kAnswerLimit{24};

} // namespace

BusTrayPresence::BusTrayPresence(const std::string& sessionAddress)
    : bus_(BusConnection::open(sessionAddress))
    , timer_(std::make_unique<QTimer>())
{
    if (!bus_) {
        state_ = State::Absent;
        return;
    }
    timer_->setSingleShot(true);
    timer_->callOnTimeout([this] { process(); });
    const int descriptor = bus_->nextWait().descriptor;
    readable_ = std::make_unique<QSocketNotifier>(descriptor, QSocketNotifier::Read);
    writable_ = std::make_unique<QSocketNotifier>(descriptor, QSocketNotifier::Write);
    for (const auto& notifier : {readable_.get(), writable_.get()})
        QObject::connect(notifier, &QSocketNotifier::activated, notifier, [this] { process(); });
    // Listening comes first, so that no change is missed between the answer and the first signal.
    ownerChanges_ = bus_->listen(kOwnerRule, [this](BusMessage& message) {
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
    rearm();
}

BusTrayPresence::~BusTrayPresence() = default;

/// The toolkit takes a watcher without a host for no tray at all, for as long as the process lives.
void BusTrayPresence::askForHost()
{
    hostCall_ = bus_->call(kGetHost, kAnswerLimit, [this](BusMessage& message) {
        become(message.readFlagProperty().value_or(false) ? State::Present : State::Absent);
    });
}

void BusTrayPresence::process()
{
    if (!bus_)
        return;
    if (bus_->process()) {
        rearm();
        return;
    }
    for (const auto& notifier : {readable_.get(), writable_.get()})
        notifier->setEnabled(false);
    timer_->stop();
    hostCall_ = {};
    ownerCall_ = {};
    hostArrivals_ = {};
    hostDepartures_ = {};
    ownerChanges_ = {};
    bus_.reset();
    become(State::Absent);
}

void BusTrayPresence::rearm()
{
    const auto wait = bus_->nextWait();
    writable_->setEnabled((wait.events & POLLOUT) != 0);
    timer_->stop();
    if (!wait.until)
        return;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(*wait.until - Clock::now());
    timer_->start(std::max(left, std::chrono::milliseconds(0)));
}

void BusTrayPresence::become(State state)
{
    if (std::exchange(state_, state) == state || !handler_)
        return;
    // The handler may talk with the desktop for a while, and is not to do so inside of a message.
    QTimer::singleShot(0, timer_.get(), [this] {
        if (handler_)
            handler_();
    });
}

} // namespace velmo
