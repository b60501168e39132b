#include "platform/linux/BusNotifier.h"

#include <algorithm>
#include <poll.h>
#include <utility>

namespace velmo {

BusNotifier::BusNotifier(BusConnection& bus, std::function<void()> onLost)
    : bus_(bus)
    , onLost_(std::move(onLost))
    , readable_(bus.nextWait().descriptor, QSocketNotifier::Read)
    , writable_(bus.nextWait().descriptor, QSocketNotifier::Write)
{
    timer_.setSingleShot(true);
    timer_.callOnTimeout([this] { process(); });
    for (QSocketNotifier* notifier : {&readable_, &writable_})
        QObject::connect(notifier, &QSocketNotifier::activated, notifier, [this] { process(); });
    rearm();
}

void BusNotifier::process()
{
    if (bus_.process()) {
        rearm();
        return;
    }
    readable_.setEnabled(false);
    writable_.setEnabled(false);
    timer_.stop();
    // Whoever hears of it may destroy this object, which is not to happen inside of its own call.
    if (onLost_)
        QTimer::singleShot(0, &timer_, std::exchange(onLost_, nullptr));
}

void BusNotifier::rearm()
{
    const auto wait = bus_.nextWait();
    writable_.setEnabled((wait.events & POLLOUT) != 0);
    timer_.stop();
    if (!wait.until)
        return;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(*wait.until - Clock::now());
    timer_.start(std::max(left, std::chrono::milliseconds(0)));
}

} // namespace velmo
