#pragma once

#include "platform/TrayPresence.h"
#include "platform/x11/X11Connection.h"

class QSocketNotifier;

namespace velmo {

/// The tray that embeds the windows of status items: whoever owns the selection for it. Has a connection of
/// its own; when that is lost, there is no tray any more.
class X11TrayPresence final : public TrayPresence {
public:
    X11TrayPresence();
    X11TrayPresence(const X11TrayPresence&) = delete;
    X11TrayPresence& operator=(const X11TrayPresence&) = delete;
    ~X11TrayPresence() override;

    [[nodiscard]] Kind kind() const override { return Kind::Embedding; }
    [[nodiscard]] State state() const override;
    [[nodiscard]] std::optional<QColor> symbolColor() const override { return symbolColor_; }
    void setChangeHandler(std::function<void()> handler) override { handler_ = std::move(handler); }

private:
    void watch();
    void lookForOwner();
    void readColor();
    void readEvents();

    std::unique_ptr<X11Connection> connection_;
    std::unique_ptr<QSocketNotifier> notifier_;
    xcb_atom_t selection_ = XCB_NONE;
    int selectionEvent_ = -1;
    xcb_window_t owner_ = XCB_NONE;
    std::optional<QColor> symbolColor_;
    std::function<void()> handler_;
};

} // namespace velmo
