#pragma once

#include "platform/ColorScheme.h"
#include "platform/linux/BusNotifier.h"

#include <QTimer>

namespace velmo {

/// The preference that the desktop's portal tells on the session bus, or that Plasma tells, which changes its
/// colours without a word in some portals. Nothing waits for either. On a desktop the first question
/// starts the portal where the bus knows how, as that of any other program does; elsewhere nothing is
/// started. One that comes later, or comes back, is asked then. What was said last stays when it goes.
class BusColorScheme final : public ColorScheme {
public:
    /// The address of the session bus; empty for none. A portal that has not answered in this time has not
    /// said anything, until it tells of a change.
    explicit BusColorScheme(const std::string& sessionAddress,
                            std::chrono::milliseconds patience = std::chrono::seconds(25));
    BusColorScheme(const BusColorScheme&) = delete;
    BusColorScheme& operator=(const BusColorScheme&) = delete;
    ~BusColorScheme() override;

    [[nodiscard]] Preference preference() const override { return known_; }
    void setChangeHandler(std::function<void()> handler) override { handler_ = std::move(handler); }

private:
    void ask(BusActivation activation);
    void hear(BusMessage& answer);
    void forgetBus();
    void become(Preference portal, Preference plasma);

    std::chrono::milliseconds patience_;
    std::unique_ptr<BusConnection> bus_;
    BusListener ownerChanges_;
    BusListener portalChanges_;
    BusListener plasmaChanges_;
    BusListener question_;
    QTimer later_; ///< Stands for this object where it may be gone on a later turn.
    Preference portal_ = Preference::None;
    Preference plasma_ = Preference::None;
    Preference known_ = Preference::None;
    std::function<void()> handler_;
    std::unique_ptr<BusNotifier> notifier_;
};

} // namespace velmo
