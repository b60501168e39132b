#pragma once

#include "core/Clock.h"
#include "platform/EventTap.h"
#include "platform/x11/X11ButtonGrabs.h"
#include "platform/x11/X11EventClock.h"
#include "platform/x11/X11KeyboardLayout.h"
#include "platform/x11/X11PointerSpace.h"

#include <atomic>
#include <optional>
#include <vector>

namespace velmo {

/// The mouse's part of a run of the tap: takes the buttons that gestures begin with, reports what happens to
/// them, and does with a press what the verdict says. On the tap's thread.
///
/// From a press that was claimed or held back to the release of the last button the server sends everything
/// to this program, so a verdict to pass something in between has no effect.
class X11TapPointer {
public:
    struct Context {
        const EventTap::Handler& handler;
        const X11PointerSpace& space;
        X11EventClock& clock;
        /// Set by the handler when the click that it passes shall be given back.
        std::atomic<bool>& replayRequested;
    };

    X11TapPointer(X11Connection& connection, const TapInterest& interest, const Context& context);

    /// The buttons that it takes.
    [[nodiscard]] X11ButtonGrabs& grabs() { return grabs_; }

    void handlePress(const xcb_input_button_press_event_t& event, const X11KeyboardLayout& layout);
    void handleMotion(const xcb_input_button_press_event_t& event, const X11KeyboardLayout& layout);
    void handleRelease(const xcb_input_button_press_event_t& event, const X11KeyboardLayout& layout);

    /// Gives back the clicks that could not be, if they can be now.
    void giveBackClicks();
    /// When to try that; nothing while no click waits, or an event is certain to come first.
    [[nodiscard]] std::optional<Clock::TimePoint> nextAttempt() const { return nextAttempt_; }

private:
    [[nodiscard]] TapVerdict report(TapEventType type, const xcb_input_button_press_event_t& event,
                                    const X11KeyboardLayout& layout, int buttonNumber) const;

    X11Connection& connection_;
    Context context_;
    X11ButtonGrabs grabs_;
    std::vector<PixelPoint> clicksToGiveBack_; ///< Where each was released.
    xcb_input_device_id_t clicksPointer_ = 0;  ///< Which pointer made them.
    std::optional<Clock::TimePoint> nextAttempt_;
};

} // namespace velmo
