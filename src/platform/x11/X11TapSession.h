#pragma once

#include "platform/EventTap.h"
#include "platform/x11/X11Connection.h"
#include "platform/x11/X11HotkeyGrab.h"
#include "platform/x11/X11KeyboardLayout.h"

#include <atomic>
#include <functional>
#include <memory>
#include <optional>

namespace velmo {

/// One run of the event tap, from reserving the keys to giving them back. Lives on the tap's thread, save for
/// the two flags that others set.
class X11TapSession {
public:
    struct Controls {
        int stopDescriptor = -1;                  ///< Readable once the tap shall end.
        const std::atomic<bool>& ownKeyboardHeld; ///< A window of this program has grabbed the keyboard.
        std::function<void(const QStringList&)>
            onProblems; ///< A new keyboard map could not be served in full.
    };

    X11TapSession(const TapInterest& interest, EventTap::Handler handler, Controls controls);
    ~X11TapSession();

    /// Connects and reserves. When the report says that nothing started, there is nothing to run.
    [[nodiscard]] EventTap::StartReport setUp();

    /// Reports events until the stop descriptor becomes readable: true. False when the display went away.
    [[nodiscard]] bool run();

private:
    void selectEvents() const;
    void handle(const xcb_generic_event_t& event);
    void handleInput(const xcb_ge_generic_event_t& event);
    void handleKeyboard(const xcb_generic_event_t& event);
    void handleHotkeyPress(const xcb_ge_generic_event_t& event);
    void handleRawKeyPress(const xcb_ge_generic_event_t& event);
    void updateFlags(quint32 state);
    void updateLayout();
    void report(TapEvent::Type type, int keyCode);
    [[nodiscard]] PixelPoint pointerLocation() const;
    [[nodiscard]] bool stopRequested() const;

    TapInterest interest_;
    EventTap::Handler handler_;
    Controls controls_;
    std::unique_ptr<X11Connection> connection_;
    quint8 inputOpcode_ = 0;
    quint8 keyboardEvent_ = 0;
    X11KeyboardLayout layout_;
    std::optional<X11HotkeyGrab> hotkey_;
    quint64 flags_ = 0;
    bool layoutChanged_ = false;
};

} // namespace velmo
