#pragma once

#include "platform/EventTap.h"

#include <functional>
#include <memory>

namespace velmo {

/// Turns the desktop's input stream into gestures. It knows nothing of sessions and windows.
///
/// Settings and callbacks are set on the main thread before start() and not read again while it runs. Whether
/// an event is swallowed is decided on the tap's thread from the monitor's own state; callbacks run later on
/// the main thread, in the order of the events, and not after the monitor is gone.
class HotkeyMonitor {
public:
    /// The tap outlives the monitor.
    HotkeyMonitor(EventTap& tap, std::function<void()> onActivate);
    HotkeyMonitor(const HotkeyMonitor&) = delete;
    HotkeyMonitor& operator=(const HotkeyMonitor&) = delete;
    ~HotkeyMonitor();

    int keyCode = 49; ///< The hotkey's virtual key code; 49 is Space.
    quint64 keyModifiers = ModifierFlag::Control | ModifierFlag::Option;

    /// Told once after start(), on the main thread: what the desktop refused.
    std::function<void(const EventTap::StartReport&)> onStarted;

    /// Both return at once. A second start() does nothing.
    void start();
    void stop();

private:
    class Recogniser;

    EventTap& tap_;
    std::function<void()> onActivate_;
    bool running_ = false;
    std::shared_ptr<HotkeyMonitor*> self_; ///< Cleared at destruction; main thread.
};

} // namespace velmo
