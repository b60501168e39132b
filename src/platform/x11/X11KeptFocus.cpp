#include "platform/x11/X11KeptFocus.h"

#include "platform/x11/X11Connection.h"
#include "platform/x11/X11KeyboardFocus.h"
#include "platform/x11/X11PressWatch.h"

#include <QApplication>
#include <QEvent>
#include <QTimer>
#include <QWindow>
#include <algorithm>

namespace velmo {
namespace {

using std::chrono::milliseconds;

/// So long after a disturbance a loss of the focus is still its doing.
constexpr milliseconds kReach{400};
/// Some window managers move the focus before they tell of the other desktop.
constexpr milliseconds kReachBackwards{150};
constexpr milliseconds kChecks[]{milliseconds{20}, milliseconds{80}, milliseconds{200}};

/// Grabs of the keyboard come and go without the focus moving, and for its other details the focus only moves
/// inside the window or follows the pointer through it.
bool movesFocus(const xcb_focus_in_event_t& event)
{
    const bool isReal = event.mode == XCB_NOTIFY_MODE_NORMAL || event.mode == XCB_NOTIFY_MODE_WHILE_GRABBED;
    return isReal && event.detail != XCB_NOTIFY_DETAIL_INFERIOR && event.detail < XCB_NOTIFY_DETAIL_POINTER;
}

/// Whether the end of a window makes them choose who has the focus next: one that took the mouse or the
/// keyboard, and no menu.
bool isMissedByWindowManagers(const QObject& object)
{
    if (!object.isWidgetType())
        return false;
    const auto& widget = static_cast<const QWidget&>(object);
    return widget.isWindow() && widget.windowType() != Qt::Popup &&
           !widget.windowFlags().testFlag(Qt::WindowTransparentForInput);
}

} // namespace

X11KeptFocus::X11KeptFocus(std::shared_ptr<X11KeyboardFocus> keyboard, QWidget& window)
    : keyboard_(std::move(keyboard))
    , window_(window)
{
    if (X11Connection* connection = keyboard_->connection(); connection != nullptr) {
        currentDesktop_ = connection->atom("_NET_CURRENT_DESKTOP");
        presses_ = std::make_unique<X11PressWatch>(*connection);
    }
    qApp->installEventFilter(this);
    qApp->installNativeEventFilter(this);
    keyboard_->setKeeper(this);
    take();
}

X11KeptFocus::~X11KeptFocus()
{
    if (keyboard_->keeper() == this)
        keyboard_->setKeeper(nullptr);
}

void X11KeptFocus::take()
{
    const xcb_window_t owner = keyboard_->owner();
    if (owner != XCB_NONE && owner != window_.winId()) {
        std::erase(former_, owner);
        former_.push_back(owner);
    }
    keyboard_->moveTo(window_);
}

void X11KeptFocus::giveBack()
{
    if (!hasFocus(window_))
        return;
    // A window may have gone meanwhile; then the keyboard was somewhere else before.
    static_cast<void>(std::any_of(former_.rbegin(), former_.rend(),
                                  [this](xcb_window_t window) { return keyboard_->handTo(window); }));
}

void X11KeptFocus::giveWayTo(const QWidget& window)
{
    if (window.window() == &window_)
        return;
    loss_ = {};
    disturbance_ = {};
}

bool X11KeptFocus::hasFocus(const QWidget& window) const
{
    return window.internalWinId() != 0 && keyboard_->owner() == window.internalWinId();
}

bool X11KeptFocus::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::MouseButtonPress) {
        // The window's press comes before those of the widgets in it, which keep theirs for themselves.
        if (watched == window_.windowHandle() && !hasFocus(window_))
            take();
    } else if (event->type() == QEvent::Close && watched != &window_) {
        // Gone with the focus, it would leave the next keys to whomever the window manager chooses then.
        if (window_.isVisible() && isMissedByWindowManagers(*watched) &&
            hasFocus(*static_cast<const QWidget*>(watched)))
            take();
    } else if (event->type() == QEvent::Hide && watched != &window_) {
        if (isMissedByWindowManagers(*watched)) {
            noteDisturbance();
            vanishing_ = disturbance_;
        }
    }
    return false;
}

bool X11KeptFocus::nativeEventFilter(const QByteArray& /*kind*/, void* message, qintptr* /*result*/)
{
    const auto* event = static_cast<const xcb_generic_event_t*>(message);
    switch (event->response_type & 0x7f) {
    case XCB_PROPERTY_NOTIFY:
        if (reinterpret_cast<const xcb_property_notify_event_t*>(event)->atom == currentDesktop_)
            noteDisturbance();
        break;
    case XCB_FOCUS_OUT: {
        const auto* focus = reinterpret_cast<const xcb_focus_out_event_t*>(event);
        if (focus->event == window_.winId() && movesFocus(*focus))
            noteLoss();
        break;
    }
    default:
        break;
    }
    return false;
}

/// Whoever has pressed a button since the disturbance wants the keyboard where it went.
bool X11KeptFocus::isUsersDoing()
{
    hasSeenPress_ = hasSeenPress_ || (presses_ && presses_->sawPress());
    return hasSeenPress_ || keyboard_->isButtonDown();
}

bool X11KeptFocus::isUndoingLoss()
{
    return window_.isVisible() && Clock::now() - vanishing_ < kReach && !isUsersDoing();
}

void X11KeptFocus::noteDisturbance()
{
    if (presses_)
        static_cast<void>(presses_->sawPress());
    hasSeenPress_ = false;
    disturbance_ = Clock::now();
    if (disturbance_ - loss_ < kReachBackwards)
        scheduleChecks();
}

void X11KeptFocus::noteLoss()
{
    if (isUsersDoing()) {
        loss_ = {};
        disturbance_ = {};
        return;
    }
    loss_ = Clock::now();
    if (loss_ - disturbance_ < kReach)
        scheduleChecks();
}

void X11KeptFocus::scheduleChecks()
{
    for (const milliseconds delay : kChecks)
        QTimer::singleShot(delay, Qt::PreciseTimer, this, [this] { takeBack(); });
}

void X11KeptFocus::takeBack()
{
    // A press since then ended it, and so did another window of ours that took the keyboard.
    const QWidget* holder = keyboard_->holder();
    if (disturbance_ == Clock::time_point{} || !window_.isVisible() || holder != nullptr || hasFocus(window_))
        return;
    if (isUsersDoing())
        disturbance_ = {};
    else
        keyboard_->moveTo(window_);
}

} // namespace velmo
