#pragma once

#include "core/Console.h"
#include "platform/EventTap.h"

#include <QByteArrayView>
#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>

namespace velmo {

/// Turns the desktop's input stream into gestures: the hotkey, and quick draw by a modifier chord with the
/// left button or by the middle button. It knows nothing of sessions and windows.
///
/// Settings and callbacks are set on the main thread before start() and not read again while it runs. Whether
/// an event is swallowed is decided on the tap's thread from the monitor's own state; callbacks run later on
/// the main thread, in the order of the events, and not after stop(). The tap's thread shares the monitor
/// until its run has ended, so it is owned by a shared_ptr.
class HotkeyMonitor : public std::enable_shared_from_this<HotkeyMonitor> {
public:
    /// Points are global screen coordinates.
    struct Callbacks {
        std::function<void()> onActivate;                    ///< The hotkey, or a long middle press.
        std::function<void(ScreenPoint)> onActivateWithDraw; ///< A stroke begins there.
        std::function<void(ScreenPoint)> onQuickDrawDrag;
        std::function<void()> onQuickDrawUp;
    };

    /// What a middle press carries that this program gives back to the desktop.
    static constexpr qint64 kReplayMarker = 6049515;

    /// The tap outlives the monitor's runs.
    HotkeyMonitor(EventTap& eventTap, Callbacks callbacks);
    HotkeyMonitor(const HotkeyMonitor&) = delete;
    HotkeyMonitor& operator=(const HotkeyMonitor&) = delete;

    int keyCode = 49; ///< The hotkey's virtual key code; 49 is Space.
    quint64 keyModifiers = ModifierFlag::Control | ModifierFlag::Option;
    quint64 quickDrawModifiers = ModifierFlag::Option | ModifierFlag::Command; ///< 0 for no chord.
    bool quickDrawMiddleMouseEnabled = true;
    /// Where its lines go. On the tap's thread; must not block.
    std::function<void(QByteArrayView)> printLine{Console::printLine};
    /// Off where the console's lines are kept: nobody's keys belong in a record.
    bool printsPassedKeys = true;

    /// The quick-draw modifiers are held (true), or no longer; told on changes only.
    std::function<void(bool)> onQuickDrawHint;
    /// What the desktop refused: told after start(), and when a change of the keyboard brings refusals.
    std::function<void(const EventTap::StartReport&)> onStarted;

    /// Both return at once. A second start() does nothing. After a start that failed, the next tries again.
    void start();
    void stop();

    /// Where the main screen's upper edge is in screen coordinates; 0 without a screen. Any thread.
    void setMainScreenTop(double top) { mainScreenTop_ = top; }

    /// Decides about one event. On the tap's thread; waits for nothing.
    [[nodiscard]] TapVerdict handleEvent(TapEventType type, const TapEvent& event);

private:
    void setupEventTap();
    void resetGestures();
    [[nodiscard]] TapVerdict handleKeyDown(const TapEvent& event);
    void handleFlagsChanged(const TapEvent& event);
    [[nodiscard]] TapVerdict handleLeftMouseDown(const TapEvent& event);
    [[nodiscard]] TapVerdict handleDrag(const TapEvent& event);
    [[nodiscard]] TapVerdict handleUp();
    [[nodiscard]] TapVerdict handleOtherMouseDown(const TapEvent& event);
    [[nodiscard]] TapVerdict handleOtherMouseDragged(const TapEvent& event);
    [[nodiscard]] TapVerdict handleOtherMouseUp(const TapEvent& event);
    [[nodiscard]] bool matchesQuickDraw(quint64 flags) const;
    void clearPendingMiddleDown();
    void updateHintState(bool show);
    [[nodiscard]] ScreenPoint quartzToAppKit(TopDownPoint point) const;

    /// Runs the call later on the main thread, unless the run that it comes from has been stopped by then.
    void post(std::function<void(HotkeyMonitor&)> call);
    void post(int run, std::function<void(HotkeyMonitor&)> call);
    void postActivateWithDraw(TopDownPoint location);

    EventTap& eventTap_;
    Callbacks callbacks_;
    bool running_ = false; ///< Main thread.
    int latestRun_ = 0;    ///< Main thread; counts starts and stops, so that an earlier run can be told.
    std::atomic<double> mainScreenTop_ = 0;

    // The gestures, on the tap's thread.
    int currentRun_ = 0;
    bool isQuickDrawing_ = false;        ///< A stroke is in progress; its mouse events are swallowed.
    bool isQuickDrawSuppressed_ = false; ///< A key was typed with the chord held, so the chord is disarmed.
    bool pendingMiddleDown_ = false;     ///< A press is held back while it is undecided.
    std::chrono::milliseconds pendingMiddleDownTime_{0};
    TopDownPoint pendingMiddleDownOrigin_;
    std::optional<TapEvent> pendingMiddleDownEvent_;
    bool wereQuickDrawModifiersActive_ = false; ///< What onQuickDrawHint was told last.
};

} // namespace velmo
