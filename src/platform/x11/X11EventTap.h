#pragma once

#include "platform/EventTap.h"

#include <atomic>
#include <memory>

namespace velmo {

/// The event tap on an X server: a thread with a connection of its own, which reserves the hotkey and watches
/// all other keys without holding them.
///
/// The verdict of the handler counts for nothing here: what was reserved never reaches an application, and
/// everything else has reached it already. Holding the hotkey down is one press. A start while the tap runs
/// replaces it. onStarted runs once per start, unless stop() comes first, and again when a change of the
/// keyboard map brings refusals, or, as a failure, when the display goes away. The destructor waits for the
/// tap's thread, which takes a few milliseconds.
class X11EventTap final : public EventTap {
public:
    X11EventTap();
    ~X11EventTap() override;

    void start(const TapInterest& interest, Handler handler, StartHandler onStarted) override;

    /// No handler is entered after this, save a call that is already under way.
    void stop() override;

    /// Whether a window of this program has grabbed the keyboard. A grab keeps the hotkey from being
    /// reserved, so the tap then takes it from what it watches. Any thread.
    void setOwnKeyboardHeld(bool held) { ownKeyboardHeld_ = held; }

private:
    class Run;

    std::unique_ptr<Run> run_; ///< The latest, until its thread was joined.
    std::atomic<bool> ownKeyboardHeld_ = false;
};

} // namespace velmo
