#pragma once

#include <QString>

namespace velmo {

/// A key that was pressed in a window of ours, in the words of the settings. Plain value.
struct PressedKey {
    int keyCode = -1;      ///< Virtual key code (a physical position); -1 for keys that settings cannot name.
    quint64 modifiers = 0; ///< ModifierFlag bits held at that moment; locks and AltGr are never among them.
    QString characters; ///< What it types when only Shift counts; empty for keys that type nothing visible.
};

/// Tells what a key press of the toolkit's was for the gestures, which are known by positions. Main thread.
class KeyReader {
public:
    virtual ~KeyReader() = default;
    /// The desktop's own numbers of the key and of what was held, as the toolkit hands them on.
    [[nodiscard]] virtual PressedKey read(quint32 nativeKeyCode, quint32 nativeModifiers) = 0;
};

} // namespace velmo
