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
    /// keyboard gives it back after that, and keeps it where the focus is refused.
    virtual void focusWindow(QWidget& widget) = 0;

    /// Asks the compositor for no shadow.
    virtual void omitShadow(QWidget& widget) = 0;

    /// Makes the window exactly that large. The toolkit knows whole points only, and on a screen of a
    /// fractional scale its rounding leaves a window a pixel too large or too small.
    virtual void setNativeGeometry(QWidget& widget, const PixelRect& geometry) = 0;

    /// Lets a window that a window manager will handle appear on every desktop. Before it is shown.
    virtual void showOnEveryDesktop(QWidget& widget) = 0;
    /// Puts a managed window of ours above our unmanaged ones, which no window manager would do, and gives it
    /// the keyboard: those that its frame meets go right below it, in their order.
    virtual void bringManagedToTop(QWidget& widget) = 0;
    /// The same again for the stacking alone, after unmanaged windows were shown or raised; nothing without
    /// such a window.
    virtual void keepManagedOnTop() = 0;
    /// That window has gone: our unmanaged windows are above everything again, and the one that had the
    /// keyboard has it.
    virtual void releaseTop(QWidget& widget) = 0;
};

} // namespace velmo
