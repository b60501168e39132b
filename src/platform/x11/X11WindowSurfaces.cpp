#include "platform/x11/X11WindowSurfaces.h"

#include "platform/x11/X11Connection.h"
#include "platform/x11/X11Toolkit.h"

#include <QApplication>
#include <QWidget>

namespace velmo {
namespace {

xcb_window_t windowOf(const QWidget& widget)
{
    return static_cast<xcb_window_t>(widget.window()->winId());
}

} // namespace

X11WindowSurfaces::X11WindowSurfaces()
    : clock_(X11Connection::open())
{}
X11WindowSurfaces::~X11WindowSurfaces() = default;

void X11WindowSurfaces::setKeyboardObserver(std::function<void(bool)> observer)
{
    keyboardObserver_ = std::move(observer);
}

bool X11WindowSurfaces::isComposited() const
{
    return clock_ && clock_->compositingManager() != XCB_NONE;
}

bool X11WindowSurfaces::grabKeyboard(QWidget& widget)
{
    xcb_connection_t* connection = toolkitConnection();
    if (connection == nullptr)
        return false;
    // The toolkit grabs as well, but does not tell whether it could.
    const auto reply = awaitReply(connection, xcb_grab_keyboard_reply,
                                  xcb_grab_keyboard(connection, 0, windowOf(widget), XCB_CURRENT_TIME,
                                                    XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
    if (!reply || reply->status != XCB_GRAB_STATUS_SUCCESS)
        return false;
    widget.grabKeyboard();
    keyboardHolder_ = &widget;
    if (keyboardObserver_)
        keyboardObserver_(true);
    return true;
}

void X11WindowSurfaces::releaseKeyboard(QWidget& widget)
{
    if (keyboardHolder_ != &widget)
        return;
    keyboardHolder_ = nullptr;
    widget.releaseKeyboard();
    if (xcb_connection_t* connection = toolkitConnection(); connection != nullptr) {
        xcb_ungrab_keyboard(connection, XCB_CURRENT_TIME);
        xcb_flush(connection);
    }
    if (keyboardObserver_)
        keyboardObserver_(false);
}

void X11WindowSurfaces::focusWindow(QWidget& widget)
{
    xcb_connection_t* connection = toolkitConnection();
    if (connection == nullptr || !clock_)
        return;
    // A window that is not shown yet refuses; checking here keeps the refusal out of the toolkit's messages.
    const XcbPointer<xcb_generic_error_t> refusal(
        xcb_request_check(connection, xcb_set_input_focus_checked(connection, XCB_INPUT_FOCUS_PARENT,
                                                                  windowOf(widget), clock_->serverTime())));
    // The toolkit overlooks a focus that comes back to a window that it has hidden just before.
    if (!refusal && QApplication::activeWindow() != widget.window())
        QApplication::setActiveWindow(widget.window());
    // Only now: released before the focus has moved, keys would reach the application below for a moment.
    if (QWidget* holder = keyboardHolder_.data(); holder != nullptr && holder != &widget)
        releaseKeyboard(*holder);
}

} // namespace velmo
