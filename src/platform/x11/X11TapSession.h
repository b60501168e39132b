#pragma once

#include "core/Clock.h"
#include "platform/EventTap.h"
#include "platform/x11/X11Connection.h"
#include "platform/x11/X11HotkeyGrab.h"
#include "platform/x11/X11KeyboardLayout.h"
#include "platform/x11/X11PointerSpace.h"
#include "platform/x11/X11TapPointer.h"

#include <atomic>
#include <functional>
#include <memory>
#include <optional>

namespace velmo {

/// One run of the event tap, from reserving keys and buttons to giving them back. Lives on the tap's thread,
/// save for what others set.
class X11TapSession {
public:
    struct Controls {
        int stopDescriptor = -1;                  ///< Readable once the tap shall end.
        const std::atomic<bool>& ownKeyboardHeld; ///< A window of this program has grabbed the keyboard.
        const X11PointerSpace& pointerSpace;
        std::atomic<bool>& replayRequested; ///< See X11TapPointer.
        /// What cannot be reserved has changed, with the keyboard or with what other programs hold.
        std::function<void(const EventTap::StartReport&)> onReport;
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
    void readModifiers();
    void updateFlags();
    [[nodiscard]] EventTap::StartReport installGrabs();
    [[nodiscard]] EventTap::StartReport reportOn(const QStringList& hotkeyProblems);
    void updateLayout();
    void retryRefused();
    void tellIfNew(EventTap::StartReport report);
    void scheduleRetry();
    void waitForInput() const;
    [[nodiscard]] bool stopRequested() const;

    TapInterest interest_;
    EventTap::Handler handler_;
    Controls controls_;
    std::unique_ptr<X11Connection> connection_;
    quint8 inputOpcode_ = 0;
    quint8 keyboardEvent_ = 0;
    X11KeyboardLayout layout_;
    X11EventClock clock_;
    std::optional<X11HotkeyGrab> hotkey_;
    std::optional<X11TapPointer> pointer_;
    EventTap::StartReport report_;
    quint32 modifiers_ = 0; ///< The server's, as the latest event says.
    quint64 flags_ = 0;     ///< The same in ModifierFlag bits.
    bool layoutChanged_ = false;
    bool hotkeyWasPressed_ = false; ///< In this run; until then its repeats are of a press before.
    /// When to ask again for what is refused; nothing while all of it is ours.
    std::optional<Clock::TimePoint> nextRetry_;
};

} // namespace velmo
