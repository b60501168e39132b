#pragma once

#include "core/Geometry.h"

class QWidget;

namespace velmo {

/// What our own floating windows need from the window system beyond the toolkit. Main thread; the widgets
/// must have a native window.
class WindowSurfaces {
public:
    virtual ~WindowSurfaces() = default;

    /// Whether translucent windows show what is below them.
    [[nodiscard]] virtual bool isComposited() const = 0;

    /// Takes every key press for a window that has no input focus. False while another program holds the
    /// keyboard.
    virtual bool grabKeyboard(QWidget& widget) = 0;
    /// Nothing if the window does not hold the keyboard.
    virtual void releaseKeyboard(QWidget& widget) = 0;

    /// Moves the real input focus to the window now, with a fresh time stamp; a window of ours that holds the
    /// keyboard gives it back after that.
    virtual void focusWindow(QWidget& widget) = 0;

    /// Makes the window exactly that large. The toolkit knows whole points only, and on a screen of a
    /// fractional scale its rounding leaves a window a pixel too large or too small.
    virtual void setNativeGeometry(QWidget& widget, const PixelRect& geometry) = 0;

    /// Lets a window that a window manager will handle appear on every desktop. Before it is shown.
    virtual void showOnEveryDesktop(QWidget& widget) = 0;
    /// Puts our unmanaged windows right below that managed one and its frame, in their order. No window
    /// manager would put a window of its own above them.
    virtual void lowerOwnWindowsBelow(QWidget& widget) = 0;
    /// Puts our unmanaged windows above everything again, in their order.
    virtual void raiseOwnWindows() = 0;
};

} // namespace velmo
