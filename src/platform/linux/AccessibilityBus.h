#pragma once

#include "platform/linux/BusConnection.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace velmo {

/// The way to the bus on which applications describe themselves to assistive technologies. The session bus
/// tells where it is; nothing is started for that and nothing switched on, so it may appear at any time, and
/// it may be replaced. One thread; nothing waits.
class AccessibilityBus {
public:
    /// What process() tells.
    struct Observer {
        std::function<void(BusConnection&)> onConnected;
        /// The connection is destroyed after this.
        std::function<void()> onLost;
    };

    AccessibilityBus(std::string sessionAddress, Observer observer);
    AccessibilityBus(const AccessibilityBus&) = delete;
    AccessibilityBus& operator=(const AccessibilityBus&) = delete;
    ~AccessibilityBus();

    void process();
    [[nodiscard]] std::vector<BusConnection::Wait> nextWaits() const;

private:
    void processSession();
    void openSession();
    void closeSession();
    void askForAddress();
    void connectTo(const std::string& address);

    const std::string sessionAddress_;
    const Observer observer_;
    std::unique_ptr<BusConnection> session_;
    BusListener ownerChanges_;
    BusListener addressCall_;
    std::unique_ptr<BusConnection> bus_;
    std::optional<Clock::TimePoint> retryAt_;
};

} // namespace velmo
