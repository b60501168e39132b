#pragma once

#include <QSocketNotifier>

namespace velmo {

class X11Connection;

/// Whether somebody has pressed a mouse button, anywhere on the desktop, even for so short that it is up
/// again before anybody could look: a tap on a touchpad is.
///
/// Its connection gets events from others only to drop them here, as they come and not at the next question:
/// a panel may be open for hours. Scrolling counts for nothing. Main thread.
class X11PressWatch {
public:
    /// The connection outlives it.
    explicit X11PressWatch(X11Connection& connection);
    X11PressWatch(const X11PressWatch&) = delete;
    X11PressWatch& operator=(const X11PressWatch&) = delete;
    ~X11PressWatch();

    /// Whether there was a press since the last call. Waits for the server, so nothing is missed that
    /// happened before.
    [[nodiscard]] bool sawPress();

private:
    void select(quint32 events) const;
    void readEvents();

    X11Connection& connection_;
    quint8 inputOpcode_ = 0; ///< 0 without the extension: nothing is seen then.
    bool saw_ = false;
    QSocketNotifier notifier_;
};

} // namespace velmo
