#pragma once

#include "core/Geometry.h"

#include <memory>

class QRegion;
class QWidget;

namespace velmo {

/// The real input focus in a window of ours that no window manager handles. It stays there against everything
/// but the user's will: a press on the window brings it back, and so it is when it was lost without a press,
/// as to a window manager that minds a window of ours vanishing or another desktop being shown.
///
/// Main thread. It may outlive the WindowSurfaces that it is from, but not its window. Destroying it only
/// ends the keeping.
class KeptFocus {
public:
    virtual ~KeptFocus() = default;

    /// Moves the focus to the window anew, whoever has it now.
    virtual void take() = 0;
    /// Moves the focus straight to who had it when it was last taken, before the window is hidden: after that
    /// nobody would get the keys for a while. Nothing when the user has moved it elsewhere.
    virtual void giveBack() = 0;
};

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

    /// The same for a shown window that no window manager handles, and keeps the focus there.
    [[nodiscard]] virtual std::unique_ptr<KeptFocus> keepFocus(QWidget& widget) = 0;

    /// Asks the compositor for no shadow.
    virtual void omitShadow(QWidget& widget) = 0;

    /// Makes the window exactly that large. The toolkit knows whole points only, and on a screen of a
    /// fractional scale its rounding leaves a window a pixel too large or too small.
    virtual void setNativeGeometry(QWidget& widget, const PixelRect& geometry) = 0;

    /// Only this part of the window is shown and takes the mouse, in its native pixels. The toolkit's mask is
    /// in whole points, too, and may be a pixel off.
    virtual void setShape(QWidget& widget, const QRegion& pixels) = 0;

    /// A menu of ours is open, which takes every key press, or is not any more.
    virtual void setMenuOpen(bool isOpen) = 0;

    /// Asks the window manager to show a window that it handles on the current desktop, above others, and to
    /// give it the keyboard, as if the user had just chosen it: a request with the time of an earlier press
    /// is taken for an old one.
    virtual void activateManaged(QWidget& widget) = 0;
    /// Keeps a window that a window manager will handle out of task bars and pagers. Each time before it is
    /// shown.
    virtual void leaveOutOfLists(QWidget& widget) = 0;
    /// Lets a window that a window manager will handle appear on every desktop. Before it is shown.
    virtual void showOnEveryDesktop(QWidget& widget) = 0;
    /// Puts a managed window of ours above our unmanaged ones, which no window manager would do, and gives it
    /// the keyboard: those that its frame meets go right below it, in their order.
    virtual void bringManagedToTop(QWidget& widget) = 0;
    /// The same again for the stacking alone and for all such windows, after unmanaged ones were shown or
    /// raised; nothing without such a window.
    virtual void keepManagedOnTop() = 0;
    /// That window has gone: our unmanaged windows are above everything but others that were brought to the
    /// top, and the one that had the keyboard has it.
    virtual void releaseTop(QWidget& widget) = 0;
};

} // namespace velmo
