#include "platform/linux/AtSpiWorker.h"

#include <utility>

namespace velmo {

AtSpiWorker::AtSpiWorker(std::string sessionAddress)
    : bus_(std::move(sessionAddress),
           {[this](BusConnection& bus) { onConnected(bus); }, [this] { onLost(); }})
{}

void AtSpiWorker::lookUp(quint64 number, std::unique_ptr<FocusLookup> lookup)
{
    lookups_[number] = std::move(lookup);
}

void AtSpiWorker::forget(quint64 number)
{
    lookups_.erase(number);
}

void AtSpiWorker::grab(quint64 number, Clock::TimePoint deadline)
{
    const auto lookup = lookups_.find(number);
    if (lookup != lookups_.end())
        grab_ = std::make_unique<FocusGrab>(lookup->second, deadline);
}

void AtSpiWorker::process()
{
    bus_.process();
    for (const auto& [number, lookup] : lookups_)
        lookup->proceed(tracker_.get());
    if (grab_)
        grab_->proceed(tracker_.get());
    if (grab_ && grab_->isOver())
        grab_.reset();
}

std::vector<BusConnection::Wait> AtSpiWorker::nextWaits() const
{
    auto waits = bus_.nextWaits();
    for (const auto& [number, lookup] : lookups_) {
        if (!lookup->isFinished())
            waits.push_back({-1, 0, lookup->deadline()});
    }
    if (grab_)
        waits.push_back({-1, 0, grab_->nextMoment()});
    return waits;
}

void AtSpiWorker::onConnected(BusConnection& bus)
{
    tracker_ = std::make_unique<FocusTracker>(bus, [this](qint32 processID, const BusObject& element) {
        for (const auto& [number, lookup] : lookups_) {
            if (lookup->processID() == processID)
                lookup->onFocus(element);
        }
        if (grab_)
            grab_->onFocus(processID, element);
    });
}

void AtSpiWorker::onLost()
{
    for (const auto& [number, lookup] : lookups_)
        lookup->onBusLost();
    grab_.reset();
    tracker_.reset();
}

} // namespace velmo
