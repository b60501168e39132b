#pragma once

#include <QString>

namespace velmo {

/// A key that was pressed in a window of ours, in the words of the settings. Plain value.
struct PressedKey {
    int keyCode = -1;      ///< Virtual key code (a physical position); -1 for keys that settings cannot name.
    quint64 modifiers = 0; ///< ModifierFlag bits held at that moment; locks and AltGr are never among them.
    QString characters; ///< What it types when only Shift counts; empty for keys that type nothing visible.
    bool isModifier = false; ///< Shift, AltGr, a lock and their like, wherever the keyboard map has put them.
};

/// A key press in the desktop's own numbers, as the toolkit hands them on. Plain value.
struct NativeKey {
    quint32 keyCode = 0;
    quint32 symbol = 0;    ///< What it meant in the map of that moment.
    quint32 modifiers = 0; ///< What was held.
};

/// Tells what a key press of the toolkit's was for the gestures, which are known by positions. Main thread.
class KeyReader {
public:
    virtual ~KeyReader() = default;
    [[nodiscard]] virtual PressedKey read(const NativeKey& press) = 0;
};

} // namespace velmo
