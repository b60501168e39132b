#pragma once

#include "core/Geometry.h"

#include <QString>
#include <QStringList>
#include <functional>

namespace velmo {

/// Modifier bits, shared by settings, key events and tap events.
namespace ModifierFlag {
inline constexpr quint64 Shift = 0x20000;
inline constexpr quint64 Control = 0x40000;
inline constexpr quint64 Option = 0x80000;   ///< The Alt key; AltGr is not it.
inline constexpr quint64 Command = 0x100000; ///< The Super key.
inline constexpr quint64 Function = 0x800000;
} // namespace ModifierFlag

/// One input event as the tap saw it, before any application.
struct TapEvent {
    enum class Type { KeyDown, FlagsChanged };
    Type type = Type::KeyDown;
    quint64 flags = 0;   ///< ModifierFlag bits held at that moment; locks are never among them.
    int keyCode = -1;    ///< Virtual key code (a physical position), for key events.
    PixelPoint location; ///< Pointer position, native pixels from the top left.
};

enum class TapVerdict { Pass, Swallow };

/// What the tap must be able to swallow; everything else it only watches.
struct TapInterest {
    int hotkeyKeyCode = 49;
    quint64 hotkeyModifiers = ModifierFlag::Control | ModifierFlag::Option;
};

/// Watches the desktop's input stream on a thread of its own.
///
/// start() and stop() are called on the main thread and return at once. The handler runs on the tap's thread
/// and must not block. onStarted tells, on the tap's thread, what could not be reserved ("held by another
/// program"), or a failure as a whole.
class EventTap {
public:
    using Handler = std::function<TapVerdict(const TapEvent&)>;
    struct StartReport {
        bool started = false;
        QStringList problems; ///< Readable sentences: refused key combinations, or why nothing started.
    };
    using StartHandler = std::function<void(const StartReport&)>;

    virtual ~EventTap() = default;
    virtual void start(const TapInterest& interest, Handler handler, StartHandler onStarted) = 0;
    virtual void stop() = 0;
};

} // namespace velmo
