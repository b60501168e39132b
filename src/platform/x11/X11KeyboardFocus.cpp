#include "platform/x11/X11KeyboardFocus.h"

#include "platform/x11/X11Connection.h"
#include "platform/x11/X11KeptFocus.h"
#include "platform/x11/X11Toolkit.h"

#include <QApplication>
#include <QKeyEvent>
#include <QWindow>
#include <algorithm>
#include <array>
#include <iterator>
#include <utility>
#include <vector>

namespace velmo {
namespace {

xcb_window_t windowOf(const QWidget& widget)
{
    return static_cast<xcb_window_t>(widget.window()->winId());
}

constexpr uint32_t kSourcePager = 2; // Whose requests are the user's own.

void askWindowManager(xcb_connection_t* toolkit, xcb_window_t window, xcb_atom_t type,
                      std::array<uint32_t, 2> what)
{
    xcb_client_message_event_t message{};
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = 32;
    message.window = window;
    message.type = type;
    std::ranges::copy(what, std::begin(message.data.data32));
    xcb_send_event(toolkit, 0, toolkitScreen(toolkit).root,
                   XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                   reinterpret_cast<const char*>(&message));
}

/// Only from one of the other desktops: a window that is on all of them stays there, and one that was never
/// shown comes to this one by itself.
void bringToCurrentDesktop(xcb_connection_t* toolkit, xcb_window_t window)
{
    constexpr uint32_t kEveryDesktop = 0xffffffff;
    const xcb_atom_t property = existingAtom(toolkit, "_NET_WM_DESKTOP");
    const auto current =
        readNumbers(toolkit, toolkitScreen(toolkit).root, existingAtom(toolkit, "_NET_CURRENT_DESKTOP"));
    const auto own = readNumbers(toolkit, window, property);
    if (!current.empty() && !own.empty() && own.front() != current.front() && own.front() != kEveryDesktop)
        askWindowManager(toolkit, window, property, {current.front(), kSourcePager});
}

} // namespace

/// Keys for whoever is next. Between the end of a drawing, which a mouse button's release is, and the moment
/// in which the next window can be typed into, keys still go to the holder of the grab; and what the server
/// has sent there is read even later. All of them are meant for that next window.
class X11KeyboardFocus::LateKeys : public QObject {
public:
    void collect(const QWidget& holder)
    {
        stop();
        from_ = holder.window()->windowHandle();
        qApp->installEventFilter(this);
    }

    void passTo(const QWidget& next)
    {
        to_ = next.window()->windowHandle();
        for (const auto& key : std::exchange(keys_, {}))
            QCoreApplication::sendEvent(to_, key.get());
    }

    void stop()
    {
        qApp->removeEventFilter(this);
        from_ = nullptr;
        to_ = nullptr;
        keys_.clear();
    }

private:
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (!watched->isWindowType())
            return false;
        const bool isKey = event->type() == QEvent::KeyPress || event->type() == QEvent::KeyRelease;
        if (isKey && watched == from_)
            return keep(static_cast<QKeyEvent&>(*event));
        if (event->type() == QEvent::MouseButtonRelease)
            keys_.clear();
        return false;
    }

    bool keep(QKeyEvent& event)
    {
        if (QWindow* next = to_.data(); next != nullptr) {
            if (!next->isVisible())
                return false;
            QCoreApplication::sendEvent(next, &event);
            return true;
        }
        // These mean something to a drawing.
        const bool isForHolder =
            event.key() == Qt::Key_Escape || event.key() == Qt::Key_Return || event.key() == Qt::Key_Enter;
        if (event.type() == QEvent::KeyPress && !isForHolder)
            keys_.emplace_back(event.clone());
        return false;
    }

    QPointer<QWindow> from_;
    QPointer<QWindow> to_; ///< Null until it is known.
    std::vector<std::unique_ptr<QKeyEvent>> keys_;
};

X11KeyboardFocus::X11KeyboardFocus()
    : connection_(X11Connection::open())
    , lateKeys_(std::make_unique<LateKeys>())
{}

X11KeyboardFocus::~X11KeyboardFocus() = default;

void X11KeyboardFocus::setObserver(std::function<void(bool)> observer)
{
    observer_ = std::move(observer);
}

bool X11KeyboardFocus::grab(QWidget& widget)
{
    xcb_connection_t* toolkit = toolkitConnection();
    if (toolkit == nullptr)
        return false;
    // The toolkit grabs as well, but does not tell whether it could.
    const auto reply = awaitReply(toolkit, xcb_grab_keyboard_reply,
                                  xcb_grab_keyboard(toolkit, 0, windowOf(widget), XCB_CURRENT_TIME,
                                                    XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
    if (!reply || reply->status != XCB_GRAB_STATUS_SUCCESS)
        return false;
    widget.grabKeyboard();
    holder_ = &widget;
    lateKeys_->collect(widget);
    tellObserver();
    return true;
}

void X11KeyboardFocus::setMenuOpen(bool isOpen)
{
    isMenuOpen_ = isOpen;
    tellObserver();
}

void X11KeyboardFocus::tellObserver()
{
    const bool isHeld = holder_ != nullptr || isMenuOpen_;
    if (std::exchange(wasTold_, isHeld) != isHeld && observer_)
        observer_(isHeld);
}

void X11KeyboardFocus::release(QWidget& widget)
{
    if (holder_ != &widget)
        return;
    holder_ = nullptr;
    lateKeys_->stop();
    giveUpGrab(widget);
}

void X11KeyboardFocus::giveUpGrab(QWidget& widget)
{
    widget.releaseKeyboard();
    if (xcb_connection_t* toolkit = toolkitConnection(); toolkit != nullptr) {
        xcb_ungrab_keyboard(toolkit, XCB_CURRENT_TIME);
        xcb_flush(toolkit);
    }
    tellObserver();
}

void X11KeyboardFocus::moveTo(QWidget& widget)
{
    if (connection_)
        moveTo(widget, connection_->serverTime());
}

void X11KeyboardFocus::activate(QWidget& widget)
{
    xcb_connection_t* toolkit = toolkitConnection();
    if (toolkit == nullptr || !connection_)
        return;
    // A window on another desktop would only be said to want attention there.
    bringToCurrentDesktop(toolkit, windowOf(widget));
    // Some window managers follow the request alone only now and then, and the focus alone brings nothing
    // forward. Both have the same time, so that neither looks older than the other.
    const xcb_timestamp_t time = connection_->serverTime();
    moveTo(widget, time);
    askWindowManager(toolkit, windowOf(widget), connection_->atom("_NET_ACTIVE_WINDOW"),
                     {kSourcePager, time});
    xcb_flush(toolkit);
}

void X11KeyboardFocus::moveTo(QWidget& widget, xcb_timestamp_t time)
{
    xcb_connection_t* toolkit = toolkitConnection();
    if (toolkit == nullptr)
        return;
    // A window that is not shown yet refuses; checking here keeps the refusal out of the toolkit's messages.
    const XcbPointer<xcb_generic_error_t> refusal(xcb_request_check(
        toolkit, xcb_set_input_focus_checked(toolkit, XCB_INPUT_FOCUS_PARENT, windowOf(widget), time)));
    if (refusal)
        return;
    if (keeper_ != nullptr)
        keeper_->giveWayTo(widget);
    // The toolkit overlooks a focus that comes back to a window that it has hidden just before.
    if (QApplication::activeWindow() != widget.window())
        QApplication::setActiveWindow(widget.window());
    // Only now: released before the focus has moved, keys would reach the application below for a moment.
    if (QWidget* holder = holder_.data(); holder != nullptr && holder != &widget) {
        holder_ = nullptr;
        giveUpGrab(*holder);
        if (widget.windowFlags().testFlag(Qt::BypassWindowManagerHint))
            lateKeys_->passTo(widget);
        else
            lateKeys_->stop();
    }
}

xcb_window_t X11KeyboardFocus::owner() const
{
    xcb_connection_t* toolkit = toolkitConnection();
    if (toolkit == nullptr)
        return XCB_NONE;
    const auto reply = awaitReply(toolkit, xcb_get_input_focus_reply, xcb_get_input_focus(toolkit));
    return reply ? reply->focus : xcb_window_t{XCB_NONE};
}

bool X11KeyboardFocus::handTo(xcb_window_t window)
{
    xcb_connection_t* toolkit = toolkitConnection();
    if (toolkit == nullptr || !connection_)
        return false;
    const XcbPointer<xcb_generic_error_t> refusal(
        xcb_request_check(toolkit, xcb_set_input_focus_checked(toolkit, XCB_INPUT_FOCUS_POINTER_ROOT, window,
                                                               connection_->serverTime())));
    return !refusal;
}

bool X11KeyboardFocus::isButtonDown() const
{
    xcb_connection_t* toolkit = toolkitConnection();
    if (toolkit == nullptr)
        return false;
    const auto pointer =
        awaitReply(toolkit, xcb_query_pointer_reply, xcb_query_pointer(toolkit, toolkitScreen(toolkit).root));
    constexpr uint32_t kButtons = XCB_BUTTON_MASK_1 | XCB_BUTTON_MASK_2 | XCB_BUTTON_MASK_3;
    return pointer && (pointer->mask & kButtons) != 0;
}

} // namespace velmo
