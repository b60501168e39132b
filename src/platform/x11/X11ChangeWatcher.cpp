#include "platform/x11/X11ChangeWatcher.h"

#include <QSocketNotifier>
#include <QTimer>
#include <algorithm>
#include <span>
#include <utility>
#include <vector>
#include <xcb/shape.h>
#include <xcb/xfixes.h>

namespace velmo {
namespace {

constexpr int kCallInterval = 100; // ms

bool enableDamage(const X11Connection& connection)
{
    if (connection.extension(xcb_damage_id) == nullptr || connection.extension(xcb_shape_id) == nullptr)
        return false;
    return connection.await(xcb_damage_query_version_reply,
                            xcb_damage_query_version(connection.get(), 1, 1)) != nullptr;
}

template <typename Event>
const Event& as(const xcb_generic_event_t& event)
{
    return reinterpret_cast<const Event&>(event);
}

} // namespace

std::unique_ptr<X11ChangeWatcher> X11ChangeWatcher::open(std::optional<X11ResourceRange> ownResources,
                                                         std::function<void()> handler)
{
    auto connection = X11Connection::open();
    if (!connection || !enableDamage(*connection))
        return nullptr;
    std::unique_ptr<X11ChangeWatcher> watcher(
        new X11ChangeWatcher(std::move(connection), ownResources, std::move(handler)));
    watcher->begin();
    return watcher;
}

X11ChangeWatcher::X11ChangeWatcher(std::unique_ptr<X11Connection> connection,
                                   std::optional<X11ResourceRange> ownResources,
                                   std::function<void()> handler)
    : connection_(std::move(connection))
    , ownResources_(ownResources)
    , handler_(std::move(handler))
    , damageEvent_(connection_->extension(xcb_damage_id)->first_event + XCB_DAMAGE_NOTIFY)
    , shapeEvent_(connection_->extension(xcb_shape_id)->first_event + XCB_SHAPE_NOTIFY)
    , opacity_(connection_->atom("_NET_WM_WINDOW_OPACITY"))
    , backgrounds_{connection_->atom("_XROOTPMAP_ID"), connection_->atom("ESETROOT_PMAP_ID"),
                   connection_->atom("_XSETROOT_ID")}
    , notifier_(new QSocketNotifier(connection_->fileDescriptor(), QSocketNotifier::Read))
    , timer_(new QTimer)
{
    timer_->setSingleShot(true);
    // A coarse timer may end early, and the next call would come too soon.
    timer_->setTimerType(Qt::PreciseTimer);
    QObject::connect(notifier_, &QSocketNotifier::activated, notifier_, [this] { readEvents(); });
    QObject::connect(timer_, &QTimer::timeout, timer_, [this] { report(); });
}

X11ChangeWatcher::~X11ChangeWatcher()
{
    rest();
    notifier_->disconnect();
    timer_->disconnect();
    notifier_->deleteLater();
    timer_->deleteLater();
}

void X11ChangeWatcher::rest()
{
    notifier_->setEnabled(false);
    timer_->stop();
}

void X11ChangeWatcher::begin()
{
    const uint32_t events = XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_change_window_attributes(connection_->get(), connection_->root(), XCB_CW_EVENT_MASK, &events);
    watchCompositor();
    const auto tree =
        connection_->await(xcb_query_tree_reply, xcb_query_tree(connection_->get(), connection_->root()));
    if (tree) {
        // Desktops have hundreds of windows that nobody sees, so all are asked about before any answer is
        // awaited.
        const std::span windows(xcb_query_tree_children(tree.get()),
                                static_cast<std::size_t>(xcb_query_tree_children_length(tree.get())));
        std::vector<xcb_get_window_attributes_cookie_t> asked;
        for (const xcb_window_t window : windows)
            asked.push_back(xcb_get_window_attributes(connection_->get(), window));
        for (std::size_t i = 0; i < windows.size(); ++i)
            appear(windows[i], asked[i]);
    }
    connection_->sync();
    readEvents();
    // All of a window counts as changed when its watching begins.
    timer_->stop();
    changed_.clear();
    hasOtherChange_ = false;
    rearm();
    // What happens from here on is told of: a window that is not armed yet would stay silent for ever.
    connection_->sync();
    readEvents();
}

void X11ChangeWatcher::watchCompositor()
{
    const auto* extension = connection_->extension(xcb_xfixes_id);
    if (extension == nullptr || !connection_->await(xcb_xfixes_query_version_reply,
                                                    xcb_xfixes_query_version(connection_->get(), 1, 0)))
        return;
    selectionEvent_ = extension->first_event + XCB_XFIXES_SELECTION_NOTIFY;
    xcb_xfixes_select_selection_input(connection_->get(), connection_->root(),
                                      connection_->compositorSelection(),
                                      XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER |
                                          XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_WINDOW_DESTROY |
                                          XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_CLIENT_CLOSE);
}

void X11ChangeWatcher::readEvents()
{
    while (const auto event = connection_->nextEvent())
        handle(*event);
    if (connection_->isBroken()) {
        // A lost connection stays readable for ever.
        rest();
        return;
    }
    if ((changed_.empty() && !hasOtherChange_) || timer_->isActive())
        return;
    const qint64 passed = sinceCall_.isValid() ? sinceCall_.elapsed() : kCallInterval;
    timer_->start(static_cast<int>(std::max<qint64>(0, kCallInterval - passed)));
}

void X11ChangeWatcher::handle(const xcb_generic_event_t& event)
{
    const int type = event.response_type & 0x7f;
    const auto touch = [this](xcb_window_t window) {
        if (watched_.contains(window))
            changed_.insert(window);
    };
    if (type == damageEvent_) {
        const auto window = as<xcb_damage_notify_event_t>(event).drawable;
        damaged_.insert(window);
        touch(window);
    } else if (type == shapeEvent_) {
        touch(as<xcb_shape_notify_event_t>(event).affected_window);
    } else if (type == selectionEvent_) {
        hasOtherChange_ = true;
    } else if (type == XCB_MAP_NOTIFY) {
        const auto window = as<xcb_map_notify_event_t>(event).window;
        appear(window, xcb_get_window_attributes(connection_->get(), window));
    } else if (type == XCB_UNMAP_NOTIFY) {
        disappear(as<xcb_unmap_notify_event_t>(event).window);
    } else if (type == XCB_DESTROY_NOTIFY) {
        disappear(as<xcb_destroy_notify_event_t>(event).window);
        own_.erase(as<xcb_destroy_notify_event_t>(event).window);
    } else if (type == XCB_REPARENT_NOTIFY) {
        if (as<xcb_reparent_notify_event_t>(event).parent != connection_->root())
            disappear(as<xcb_reparent_notify_event_t>(event).window);
    } else if (type == XCB_CONFIGURE_NOTIFY) {
        touch(as<xcb_configure_notify_event_t>(event).window);
    } else if (type == XCB_CIRCULATE_NOTIFY) {
        touch(as<xcb_circulate_notify_event_t>(event).window);
    } else if (type == XCB_PROPERTY_NOTIFY) {
        const auto& property = as<xcb_property_notify_event_t>(event);
        if (property.window == connection_->root())
            hasOtherChange_ = hasOtherChange_ || backgrounds_.contains(property.atom);
        else if (property.atom == opacity_)
            touch(property.window);
    }
}

void X11ChangeWatcher::appear(xcb_window_t window, xcb_get_window_attributes_cookie_t asked)
{
    const auto attributes = connection_->await(xcb_get_window_attributes_reply, asked);
    if (own_.contains(window) || watched_.contains(window) ||
        (ownResources_ && ownResources_->contains(window)))
        return;
    if (!attributes || attributes->_class != XCB_WINDOW_CLASS_INPUT_OUTPUT ||
        attributes->map_state != XCB_MAP_STATE_VIEWABLE)
        return;
    watch(window);
    changed_.insert(window);
}

void X11ChangeWatcher::watch(xcb_window_t window)
{
    xcb_connection_t* xcb = connection_->get();
    const xcb_damage_damage_t damage = xcb_generate_id(xcb);
    xcb_damage_create(xcb, damage, window, XCB_DAMAGE_REPORT_LEVEL_NON_EMPTY);
    xcb_shape_select_input(xcb, window, 1);
    const uint32_t events = XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_change_window_attributes(xcb, window, XCB_CW_EVENT_MASK, &events);
    watched_.emplace(window, damage);
}

void X11ChangeWatcher::disappear(xcb_window_t window)
{
    const auto found = watched_.find(window);
    if (found == watched_.end())
        return;
    // The server forgets it by itself when the window is destroyed, and its complaint then is not read.
    xcb_damage_destroy(connection_->get(), found->second);
    watched_.erase(found);
    damaged_.erase(window);
    changed_.erase(window);
    hasOtherChange_ = true;
}

void X11ChangeWatcher::rearm()
{
    for (const xcb_window_t window : damaged_) {
        if (const auto found = watched_.find(window); found != watched_.end())
            xcb_damage_subtract(connection_->get(), found->second, XCB_NONE, XCB_NONE);
    }
    damaged_.clear();
}

void X11ChangeWatcher::forgetOwn()
{
    // Only now: a window manager maps a frame before it has finished what tells whose window is inside.
    const std::vector<xcb_window_t> candidates(changed_.begin(), changed_.end());
    for (const xcb_window_t window : findOwnWindows(*connection_, candidates, ownResources_)) {
        const bool hadOtherChange = hasOtherChange_;
        disappear(window);
        hasOtherChange_ = hadOtherChange;
        own_.insert(window);
    }
}

void X11ChangeWatcher::report()
{
    // Armed before the handler looks at the screen: what happens later is announced again.
    rearm();
    forgetOwn();
    connection_->sync();
    const bool isWorthACall = !changed_.empty() || hasOtherChange_;
    changed_.clear();
    hasOtherChange_ = false;
    if (isWorthACall)
        sinceCall_.start();
    // What arrived together with an answer does not wake the notifier any more.
    readEvents();
    if (!isWorthACall || connection_->isBroken())
        return;
    const auto handler = handler_;
    handler();
}

} // namespace velmo
