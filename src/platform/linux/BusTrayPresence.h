#pragma once

#include "platform/TrayPresence.h"
#include "platform/linux/BusConnection.h"
#include "platform/linux/PlasmaBarColor.h"

class QSocketNotifier;
class QTimer;

namespace velmo {

/// The tray that status items are announced to over the session bus. Nothing waits for the bus, and nothing
/// is started on it. A bus that is lost does not come back within a session, so there is no tray from then
/// on.
class BusTrayPresence final : public TrayPresence {
public:
    /// The address of the session bus; empty for none.
    explicit BusTrayPresence(const std::string& sessionAddress);
    BusTrayPresence(const BusTrayPresence&) = delete;
    BusTrayPresence& operator=(const BusTrayPresence&) = delete;
    ~BusTrayPresence() override;

    [[nodiscard]] Kind kind() const override { return Kind::Bus; }
    [[nodiscard]] State state() const override { return state_; }
    [[nodiscard]] std::optional<QColor> symbolColor() const override { return plasmaBarColor(); }
    void setChangeHandler(std::function<void()> handler) override { handler_ = std::move(handler); }

private:
    void askForHost();
    void process();
    void rearm();
    void become(State state);

    std::unique_ptr<BusConnection> bus_;
    BusListener ownerChanges_;
    BusListener hostArrivals_;
    BusListener hostDepartures_;
    BusListener ownerCall_;
    BusListener hostCall_;
    std::unique_ptr<QSocketNotifier> readable_;
    std::unique_ptr<QSocketNotifier> writable_;
    std::unique_ptr<QTimer> timer_;
    State state_ = State::Unknown;
    std::function<void()> handler_;
};

} // namespace velmo
