#pragma once

#include "platform/EventTap.h"
#include "platform/x11/X11PointerSpace.h"

#include <atomic>
#include <memory>
#include <mutex>

namespace velmo {

/// The event tap on an X server: a thread with a connection of its own. It reserves what gestures begin with
/// (the hotkey, the left button under the chord, the middle button) and watches all other keys without
/// holding them.
///
/// For keys the verdict counts for nothing: what was reserved never reaches an application, and everything
/// else has reached it already. A hotkey that is held
/// down repeats, as other keys do. A start while the tap runs replaces it.
/// What is refused is asked for again every two seconds, so that it works soon after its holder has let go.
/// onStarted runs once per start, unless stop() comes first, and again when what is refused changes, with the
/// keyboard or with its holders, or, as a failure, when the display goes away. The destructor waits for the
/// tap's thread, which takes a few milliseconds.
class X11EventTap final : public EventTap {
public:
    X11EventTap();
    ~X11EventTap() override;

    void start(const TapInterest& interest, Handler handler, StartHandler onStarted) override;

    /// No handler is entered after this, save a call that is already under way.
    void stop() override;

    void setScreens(const std::vector<Screen>& screens) override { pointerSpace_.setScreens(screens); }

    /// The whole click is made again when its release has been passed, or once no other button is down.
    void replayPress(const TapEvent& press) override;

    [[nodiscard]] StartReport report() const override;

    /// Whether a window of this program has grabbed the keyboard. A grab keeps the hotkey from being
    /// reserved, so the tap then takes it from what it watches. Any thread.
    void setOwnKeyboardHeld(bool held) { ownKeyboardHeld_ = held; }

private:
    class Run;

    std::atomic<bool> ownKeyboardHeld_ = false;
    std::atomic<bool> replayRequested_ = false;
    X11PointerSpace pointerSpace_;
    mutable std::mutex reportMutex_;
    StartReport report_;
    std::unique_ptr<Run> run_; ///< The latest, until its thread was joined. Last: it uses the others.
};

} // namespace velmo
