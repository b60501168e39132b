#pragma once

#include "platform/x11/X11Connection.h"

#include <QByteArray>
#include <QList>
#include <QRect>
#include <memory>
#include <vector>

namespace velmo::test {

/// Another program with one patterned window, which remembers the input that it gets. Talks the plain
/// protocol on a connection of its own; the server itself repaints the pattern.
class PlainClient {
public:
    struct Options {
        QRect area{100, 100, 400, 300};
        quint32 color = 0x3060c0;
        QByteArray title = "client";
        qint32 processID = 0;   ///< Announced to the desktop; 0 announces none.
        QByteArray windowClass; ///< Instance and class, if any.
        QByteArray windowType;  ///< Such as "_NET_WM_WINDOW_TYPE_DOCK"; empty for none.
        bool isFullScreen = false;
        bool isTranslucent = false;
        bool bypassesManager = false;
        bool isPlain = false; ///< Of one colour, without the pattern.
        int border = 0;
        double opacity = 1;
        QList<QRect> shape; ///< Of the window; empty for its whole rectangle.
    };
    struct Event {
        enum class Type { KeyPress, KeyRelease, ButtonPress, ButtonRelease, FocusIn, FocusOut };
        Type type;
        int detail; ///< Key code or button.
        friend bool operator==(const Event&, const Event&) = default;
    };

    /// The window is on the screen when this returns.
    explicit PlainClient(const Options& options);
    ~PlainClient();

    [[nodiscard]] xcb_window_t window() const { return window_; }
    [[nodiscard]] X11Connection& connection() { return *connection_; }

    /// Everything so far, in order.
    [[nodiscard]] const std::vector<Event>& events();
    [[nodiscard]] int count(Event::Type type, int detail);
    void forgetEvents();
    /// The modifiers and buttons that were down before the latest of them.
    [[nodiscard]] quint32 lastState() const { return lastState_; }

    /// Takes the input focus as programs do where no window manager gives it.
    void takeFocus();
    [[nodiscard]] bool hasFocus();

private:
    void create(const Options& options);
    void describe(const Options& options);
    void paint(const Options& options, uint8_t depth);

    std::unique_ptr<X11Connection> connection_;
    xcb_window_t window_ = XCB_NONE;
    std::vector<Event> events_;
    quint32 lastState_ = 0;
};

} // namespace velmo::test
