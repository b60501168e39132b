#pragma once

#include "platform/linux/AccessibilityBus.h"
#include "platform/linux/FocusGrab.h"
#include "platform/linux/FocusLookup.h"
#include "platform/linux/FocusTracker.h"

#include <QtGlobal>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace velmo {

/// Everything about elements and their focus that happens on the bus thread. Lookups have numbers that
/// whoever asks for them gives out. One thread; nothing waits.
class AtSpiWorker {
public:
    explicit AtSpiWorker(std::string sessionAddress);
    AtSpiWorker(const AtSpiWorker&) = delete;
    AtSpiWorker& operator=(const AtSpiWorker&) = delete;

    void lookUp(quint64 number, std::unique_ptr<FocusLookup> lookup);
    void forget(quint64 number);
    /// In place of an earlier one that is still under way.
    void grab(quint64 number, Clock::TimePoint deadline);

    /// Does what there is to do now.
    void process();
    /// What to call process() after.
    [[nodiscard]] std::vector<BusConnection::Wait> nextWaits() const;

private:
    void onConnected(BusConnection& bus);
    void onLost();

    std::map<quint64, std::shared_ptr<FocusLookup>> lookups_;
    std::unique_ptr<FocusTracker> tracker_; ///< While there is a bus.
    std::unique_ptr<FocusGrab> grab_;
    AccessibilityBus bus_; ///< Last: it tells of its end.
};

} // namespace velmo
