#pragma once

#include "platform/x11/XcbSupport.h"

#include <QPointer>
#include <QWidget>
#include <functional>
#include <memory>

namespace velmo {

class X11Connection;
class X11KeptFocus;

/// Which of our windows gets the keys: by a grab of the keyboard, or by the input focus. Requests go over the
/// toolkit's connection, so that they keep their order with what the toolkit asks for. Main thread.
class X11KeyboardFocus {
public:
    X11KeyboardFocus();
    X11KeyboardFocus(const X11KeyboardFocus&) = delete;
    X11KeyboardFocus& operator=(const X11KeyboardFocus&) = delete;
    ~X11KeyboardFocus();

    /// Null without a display.
    [[nodiscard]] X11Connection* connection() const { return connection_.get(); }

    /// Told whenever windows of ours begin or end to have the keyboard for themselves.
    void setObserver(std::function<void(bool held)> observer);

    /// False while another program holds the keyboard, and for a window that the server does not show yet.
    bool grab(QWidget& widget);
    /// Nothing if the window does not hold the keyboard.
    void release(QWidget& widget);
    [[nodiscard]] QWidget* holder() const { return holder_; }

    /// The toolkit grabs the keyboard for a menu by itself.
    void setMenuOpen(bool isOpen);

    /// Moves the input focus to our window with a fresh time stamp; a window of ours that holds the keyboard
    /// gives it back after that, and keys that came to it since a mouse button was last released go to the
    /// new one, if that is as unmanaged. Nothing where the server refuses.
    void moveTo(QWidget& widget);

    /// The same for a window that a window manager handles, which is asked to bring it forward; it does so
    /// also where the server refuses, because the window is only just being shown.
    void activate(QWidget& widget);

    /// The window with the input focus; XCB_NONE or XCB_INPUT_FOCUS_POINTER_ROOT where no window has it.
    [[nodiscard]] xcb_window_t owner() const;

    /// Moves the input focus to another program's window. False for one that is gone or cannot be seen.
    bool handTo(xcb_window_t window);

    [[nodiscard]] bool isButtonDown() const;

    /// Who keeps the focus in a window of ours at present; null when nobody does.
    [[nodiscard]] X11KeptFocus* keeper() const { return keeper_; }
    void setKeeper(X11KeptFocus* keeper) { keeper_ = keeper; }

private:
    class LateKeys;

    void giveUpGrab(QWidget& widget);
    void moveTo(QWidget& widget, xcb_timestamp_t time);
    void tellObserver();

    std::unique_ptr<X11Connection> connection_; ///< Makes time stamps.
    std::unique_ptr<LateKeys> lateKeys_;
    std::function<void(bool)> observer_;
    QPointer<QWidget> holder_;
    bool isMenuOpen_ = false;
    bool wasTold_ = false; ///< What the observer knows.
    X11KeptFocus* keeper_ = nullptr;
};

} // namespace velmo
