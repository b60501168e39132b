#pragma once

#include "core/Geometry.h"
#include "platform/Screens.h"

#include <QString>
#include <QStringList>
#include <chrono>
#include <functional>
#include <vector>

namespace velmo {

/// Modifier bits, shared by settings, key events and tap events.
namespace ModifierFlag {
inline constexpr quint64 Shift = 0x20000;
inline constexpr quint64 Control = 0x40000;
inline constexpr quint64 Option = 0x80000;   ///< The Alt key; AltGr is not it.
inline constexpr quint64 Command = 0x100000; ///< The Super key.
inline constexpr quint64 Function = 0x800000;
} // namespace ModifierFlag

/// What happened. "Other" is every mouse button beside the left and the right one.
enum class TapEventType {
    LeftMouseDown,
    LeftMouseUp,
    LeftMouseDragged,
    KeyDown,
    FlagsChanged,
    OtherMouseDown,
    OtherMouseUp,
    OtherMouseDragged,
};

/// The middle button's number in TapEvent.
inline constexpr int kMiddleButton = 2;

/// One input event as the tap saw it, before any application. Plain value.
struct TapEvent {
    quint64 flags = 0;                 ///< ModifierFlag bits held at that moment; locks are never among them.
    int keyCode = -1;                  ///< Virtual key code (a physical position), for key events.
    int buttonNumber = 0;              ///< 0 left, 1 right, 2 middle, for mouse events.
    TopDownPoint location;             ///< Where the pointer was, for mouse events.
    std::chrono::milliseconds time{0}; ///< On the event stream's own clock; only differences mean something.
    qint64 sourceUserData = 0; ///< What a program that posts events writes into them; 0 for real input.
};

enum class TapVerdict { Pass, Swallow };

/// What the tap must be able to swallow; everything else it only watches.
struct TapInterest {
    int hotkeyKeyCode = 49;
    quint64 hotkeyModifiers = ModifierFlag::Control | ModifierFlag::Option;
    quint64 quickDrawModifiers = 0; ///< With the left button; 0 for none. Shift may be held as well.
    bool middleButton = false;
};

/// How the sentence about a combination that was refused ends; the combination stands before it.
inline const QString kHeldByAnother = QStringLiteral(" is held by another program.");

/// Watches the desktop's input stream on a thread of its own.
///
/// Everything but replayPress() and report() is called on the main thread and returns at once. The handler
/// runs on the tap's thread, in the order of the events, and must not block. A left press under the chord and
/// every middle press reach applications only as the verdicts say, and so does what follows until the
/// release. Other buttons that are pressed meanwhile may be lost to applications: a desktop gives all of the
/// pointer to one holder.
class EventTap {
public:
    using Handler = std::function<TapVerdict(TapEventType, const TapEvent&)>;
    struct StartReport {
        bool started = false;
        /// Readable sentences: each combination that was refused (see kHeldByAnother), or why nothing
        /// started.
        QStringList problems{};
        QStringList hotkeyProblems{};       ///< Those of them that are the hotkey's,
        QStringList chordProblems{};        ///< those that are the quick-draw chord's,
        QStringList middleButtonProblems{}; ///< and the middle button's.
        friend bool operator==(const StartReport&, const StartReport&) = default;
    };
    /// Told on the tap's thread, before the handler is entered for the first time, and later on changes.
    using StartHandler = std::function<void(const StartReport&)>;

    virtual ~EventTap() = default;
    virtual void start(const TapInterest& interest, Handler handler, StartHandler onStarted) = 0;
    virtual void stop() = 0;

    /// Where the screens are, so that locations are in points. To be told before start() and at each change.
    virtual void setScreens(const std::vector<Screen>& screens) = 0;

    /// Gives a press that was swallowed to the application under the pointer after all. Only from within the
    /// handler; the release that completes the click is then to be passed.
    virtual void replayPress(const TapEvent& press) = 0;

    /// What the desktop gave and refused when it was last asked. Any thread.
    [[nodiscard]] virtual StartReport report() const = 0;
};

} // namespace velmo
