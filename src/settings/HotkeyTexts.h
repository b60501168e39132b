#pragma once

#include <QString>

namespace velmo {

/// The combination as users read it: "⌃⌥Space". Modifiers are ModifierFlag bits, the key a virtual key code.
[[nodiscard]] QString hotkeyDescription(quint64 modifiers, qint64 keyCode);

/// The same in the words that keyboards here bear: "Ctrl + Alt + Space".
[[nodiscard]] QString hotkeyInWords(quint64 modifiers, qint64 keyCode);

/// What starts quick drawing: "⌥⌘ + Click or Middle Mouse Button".
[[nodiscard]] QString quickDrawDescription(quint64 modifiers, bool middleButton);

} // namespace velmo
