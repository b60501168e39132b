#pragma once

#include "platform/TrayPresence.h"
#include "platform/linux/BusNotifier.h"
#include "platform/linux/PlasmaBarColor.h"

#include <QTimer>

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
    [[nodiscard]] bool mayCome() const override { return bus_ != nullptr; }
    [[nodiscard]] std::optional<QColor> symbolColor() const override { return plasmaBarColor(); }
    void setChangeHandler(std::function<void()> handler) override { handler_ = std::move(handler); }

private:
    void askForHost();
    void forgetBus();
    void become(State state);

    std::unique_ptr<BusConnection> bus_;
    BusListener ownerChanges_;
    BusListener hostArrivals_;
    BusListener hostDepartures_;
    BusListener ownerCall_;
    BusListener hostCall_;
    QTimer later_; ///< Stands for this object where it may be gone on a later turn.
    State state_ = State::Unknown;
    std::function<void()> handler_;
    std::unique_ptr<BusNotifier> notifier_;
    PlasmaBarWatch plasmaBar_{[this] {
        if (handler_)
            handler_();
    }};
};

} // namespace velmo
