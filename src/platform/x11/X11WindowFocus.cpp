#include "platform/x11/X11WindowFocus.h"

#include "platform/x11/X11Connection.h"

#include <QFile>
#include <QSocketNotifier>
#include <algorithm>
#include <cerrno>
#include <csignal>

namespace velmo {
namespace {

/// What senders of a request to activate a window call themselves: a pager acts for the user, and window
/// managers follow it where they would only flash an application's window.
constexpr quint32 kSourcePager = 2;

xcb_window_t activeWindow(X11Connection& connection)
{
    return readNumber(connection.get(), connection.root(), connection.atom("_NET_ACTIVE_WINDOW"));
}

qint32 processOf(X11Connection& connection, xcb_window_t window)
{
    return static_cast<qint32>(readNumber(connection.get(), window, connection.atom("_NET_WM_PID")));
}

/// The window with the input focus, or the one above it that names its process.
std::optional<RunningApplication> applicationWithInputFocus(X11Connection& connection)
{
    const auto focus = connection.await(xcb_get_input_focus_reply, xcb_get_input_focus(connection.get()));
    if (!focus)
        return std::nullopt;
    xcb_window_t window = focus->focus;
    while (window > XCB_INPUT_FOCUS_POINTER_ROOT && window != connection.root()) {
        if (const qint32 process = processOf(connection, window); process > 0)
            return RunningApplication{process, window};
        const auto tree = connection.await(xcb_query_tree_reply, xcb_query_tree(connection.get(), window));
        window = tree ? tree->parent : xcb_window_t{XCB_NONE};
    }
    return std::nullopt;
}

bool exists(const X11Connection& connection, xcb_window_t window)
{
    return connection.await(xcb_get_window_attributes_reply,
                            xcb_get_window_attributes(connection.get(), window)) != nullptr;
}

/// The window by which a window manager shows that it is alive names itself.
bool hasWindowManager(X11Connection& connection)
{
    const xcb_atom_t check = connection.atom("_NET_SUPPORTING_WM_CHECK");
    const xcb_window_t window = readNumber(connection.get(), connection.root(), check);
    return window != XCB_NONE && readNumber(connection.get(), window, check) == window;
}

std::optional<RunningApplication> frontmost(X11Connection& connection)
{
    // A window manager that ended without tidying up leaves the property behind, naming a window of long ago.
    const xcb_window_t window = activeWindow(connection);
    if (window != XCB_NONE && hasWindowManager(connection))
        return RunningApplication{processOf(connection, window), window};
    return applicationWithInputFocus(connection);
}

/// The top-most managed window of a process; 0 when it has none.
xcb_window_t windowOf(X11Connection& connection, qint32 processID)
{
    auto windows =
        readNumbers(connection.get(), connection.root(), connection.atom("_NET_CLIENT_LIST_STACKING"));
    if (windows.empty())
        windows = readNumbers(connection.get(), connection.root(), connection.atom("_NET_CLIENT_LIST"));
    const auto found = std::find_if(windows.rbegin(), windows.rend(), [&](xcb_window_t window) {
        return processOf(connection, window) == processID;
    });
    return found == windows.rend() ? xcb_window_t{XCB_NONE} : *found;
}

void setInputFocus(X11Connection& connection, xcb_window_t window, xcb_timestamp_t time)
{
    // An iconified window refuses the focus. That is no failure: the window manager shows it and gives it
    // then.
    const XcbPointer<xcb_generic_error_t> ignored(xcb_request_check(
        connection.get(),
        xcb_set_input_focus_checked(connection.get(), XCB_INPUT_FOCUS_POINTER_ROOT, window, time)));
}

void requestActivation(X11Connection& connection, xcb_window_t window, xcb_timestamp_t time)
{
    xcb_client_message_event_t message{};
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = 32;
    message.window = window;
    message.type = connection.atom("_NET_ACTIVE_WINDOW");
    message.data.data32[0] = kSourcePager;
    message.data.data32[1] = time;
    xcb_send_event(connection.get(), 0, connection.root(),
                   XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                   reinterpret_cast<const char*>(&message));
}

/// A process that has ended stays visible until its parent asks for its result.
bool hasEnded(qint32 processID)
{
    QFile file(QStringLiteral("/proc/") + QString::number(processID) + QStringLiteral("/stat"));
    if (!file.open(QIODevice::ReadOnly))
        return false;
    const QByteArray line = file.readAll();
    // The state follows the program's name, which may itself contain parentheses.
    const char state = line.mid(line.lastIndexOf(')') + 1).trimmed().left(1).back();
    return state == 'Z' || state == 'X';
}

} // namespace

/// Listens for activations. Every read on the connection may take events along that no descriptor announces
/// any more, so whoever waits for a reply calls readLater().
class X11WindowFocus::Watcher : public QObject {
public:
    explicit Watcher(X11Connection& connection)
        : connection_(connection)
        , notifier_(connection.fileDescriptor(), QSocketNotifier::Read)
    {
        const uint32_t mask = XCB_EVENT_MASK_PROPERTY_CHANGE;
        xcb_change_window_attributes(connection.get(), connection.root(), XCB_CW_EVENT_MASK, &mask);
        xcb_flush(connection.get());
        connect(&notifier_, &QSocketNotifier::activated, this, [this] { readEvents(); });
    }

    void setHandler(ActivationHandler handler)
    {
        handler_ = std::move(handler);
        // Window managers publish an activation a moment after it happened, so what has the focus now may yet
        // be announced and must not count as a change then.
        const auto application = frontmost(connection_);
        last_ = application ? static_cast<xcb_window_t>(application->window) : xcb_window_t{XCB_NONE};
        readLater();
    }

    void setFilter(std::function<bool()> isUnintended) { isUnintended_ = std::move(isUnintended); }

    void readLater()
    {
        if (readIsDue_)
            return;
        readIsDue_ = true;
        QMetaObject::invokeMethod(
            this, [this] { readEvents(); }, Qt::QueuedConnection);
    }

private:
    void readEvents()
    {
        readIsDue_ = false;
        const xcb_atom_t property = connection_.atom("_NET_ACTIVE_WINDOW");
        bool changed = false;
        while (const auto event = connection_.nextEvent()) {
            if ((event->response_type & 0x7f) != XCB_PROPERTY_NOTIFY)
                continue;
            const auto* change = reinterpret_cast<const xcb_property_notify_event_t*>(event.get());
            changed |= change->window == connection_.root() && change->atom == property;
        }
        // A lost connection stays readable for ever.
        if (connection_.isBroken())
            notifier_.setEnabled(false);
        else if (changed)
            reportActivation();
    }

    void reportActivation()
    {
        const xcb_window_t window = activeWindow(connection_);
        readLater();
        if (window == XCB_NONE || window == last_ || (isUnintended_ && isUnintended_()))
            return;
        last_ = window;
        if (!handler_)
            return;
        // A copy, because the handler may replace itself.
        const auto handler = handler_;
        handler({processOf(connection_, window), window});
    }

    X11Connection& connection_;
    QSocketNotifier notifier_;
    ActivationHandler handler_;
    std::function<bool()> isUnintended_;
    xcb_window_t last_ = XCB_NONE;
    bool readIsDue_ = false;
};

X11WindowFocus::X11WindowFocus(std::unique_ptr<AccessibleFocus> elements)
    : connection_(X11Connection::open())
    , elements_(std::move(elements))
{
    if (connection_)
        watcher_ = std::make_unique<Watcher>(*connection_);
}

X11WindowFocus::~X11WindowFocus() = default;

std::optional<RunningApplication> X11WindowFocus::frontmostApplication() const
{
    if (!isTrusted())
        return std::nullopt;
    watcher_->readLater();
    return frontmost(*connection_);
}

void X11WindowFocus::setActivationHandler(ActivationHandler handler)
{
    if (watcher_)
        watcher_->setHandler(std::move(handler));
}

void X11WindowFocus::setActivationFilter(std::function<bool()> isUnintended)
{
    if (watcher_)
        watcher_->setFilter(std::move(isUnintended));
}

std::optional<AccessibilityElement> X11WindowFocus::focusedWindow(const RunningApplication& application) const
{
    if (application.window == 0)
        return std::nullopt;
    return AccessibilityElement{application.window, nullptr};
}

std::optional<AccessibilityElement>
X11WindowFocus::focusedElement(const RunningApplication& application) const
{
    auto element = elements_ ? elements_->focusedElement(application.processID) : nullptr;
    if (!element)
        return std::nullopt;
    return AccessibilityElement{0, std::move(element)};
}

bool X11WindowFocus::isRunning(qint32 processID) const
{
    if (processID <= 0)
        return false;
    // Another user's process may not be signalled, but it is there.
    if (kill(processID, 0) != 0 && errno != EPERM)
        return false;
    return !hasEnded(processID);
}

void X11WindowFocus::activate(qint32 processID, const std::optional<AccessibilityElement>& window)
{
    if (!isTrusted())
        return;
    watcher_->readLater();
    const auto target = window && window->window != 0 ? static_cast<xcb_window_t>(window->window)
                                                      : windowOf(*connection_, processID);
    if (target == XCB_NONE || !exists(*connection_, target))
        return;
    // The message alone is ignored by some window managers while an unmanaged window has the focus, and the
    // focus alone neither raises nor de-iconifies. Both carry the same time, so neither looks older than the
    // other.
    const xcb_timestamp_t time = connection_->serverTime();
    setInputFocus(*connection_, target, time);
    requestActivation(*connection_, target, time);
    xcb_flush(connection_->get());
}

void X11WindowFocus::focusElement(const AccessibilityElement& element)
{
    if (element.element && elements_)
        elements_->focus(element.element);
    if (!isTrusted() || element.window == 0)
        return;
    watcher_->readLater();
    setInputFocus(*connection_, static_cast<xcb_window_t>(element.window), connection_->serverTime());
}

bool X11WindowFocus::isTrusted() const
{
    return connection_ && !connection_->isBroken();
}

void X11WindowFocus::activateThisApplication() {}

} // namespace velmo
