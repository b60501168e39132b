#include "platform/x11/X11WindowSurfaces.h"

#include "platform/x11/X11Connection.h"
#include "platform/x11/X11KeptFocus.h"
#include "platform/x11/X11KeyboardFocus.h"
#include "platform/x11/X11Toolkit.h"

#include <QApplication>
#include <QScreen>
#include <QWidget>
#include <QWindow>
#include <algorithm>
#include <array>
#include <initializer_list>
#include <iterator>
#include <unordered_set>
#include <utility>
#include <vector>

namespace velmo {
namespace {

xcb_window_t windowOf(const QWidget& widget)
{
    return static_cast<xcb_window_t>(widget.window()->winId());
}

/// The window itself or, where a window manager frames it, the outermost frame.
xcb_window_t topLevelOf(xcb_connection_t* connection, xcb_window_t window)
{
    while (true) {
        const auto tree = awaitReply(connection, xcb_query_tree_reply, xcb_query_tree(connection, window));
        if (!tree || tree->parent == XCB_NONE || tree->parent == tree->root)
            return window;
        window = tree->parent;
    }
}

/// On the root, as far as the toolkit knows: in whole points, and the server may not have got that far.
QRect nativeFrame(const QWidget& widget)
{
    const QRect points = widget.geometry();
    const double scale = widget.devicePixelRatioF();
    // The toolkit scales what is on a screen, never where the screen is.
    const QScreen* screen = widget.screen();
    const QPoint origin = screen != nullptr ? screen->geometry().topLeft() : QPoint();
    const QPointF place = QPointF(points.topLeft() - origin) * scale + origin;
    return QRectF(place, QSizeF(points.size()) * scale).toAlignedRect();
}

/// Those that no window manager handles, bottom-most first; only what is above that window, if one is given.
std::vector<xcb_window_t> shownOwnWindows(xcb_connection_t* connection, xcb_window_t below = XCB_NONE)
{
    std::unordered_set<xcb_window_t> own;
    const auto windows = QGuiApplication::topLevelWindows();
    for (const QWindow* window : windows) {
        if (window->isVisible() && window->flags().testFlag(Qt::BypassWindowManagerHint))
            own.insert(static_cast<xcb_window_t>(window->winId()));
    }
    auto stack = awaitChildren(connection, xcb_query_tree(connection, toolkitScreen(connection).root));
    if (const auto found = std::ranges::find(stack, below); found != stack.end())
        stack.erase(stack.begin(), found);
    std::erase_if(stack, [&](xcb_window_t window) { return !own.contains(window); });
    return stack;
}

/// Nothing where nobody has used the property's name: then nobody would read it either.
void setKnownProperty(xcb_connection_t* connection, const QWidget& widget, const char* name, xcb_atom_t type,
                      uint32_t value)
{
    if (const xcb_atom_t property = existingAtom(connection, name); property != XCB_NONE)
        xcb_change_property(connection, XCB_PROP_MODE_REPLACE, windowOf(widget), property, type, 32, 1,
                            &value);
}

/// The toolkit keeps what it finds there and adds its own.
void addStates(const QWidget& widget, std::initializer_list<const char*> names)
{
    xcb_connection_t* connection = toolkitConnection();
    const xcb_atom_t property =
        connection != nullptr ? existingAtom(connection, "_NET_WM_STATE") : xcb_atom_t{XCB_NONE};
    if (property == XCB_NONE)
        return;
    auto states = readNumbers(connection, windowOf(widget), property);
    for (const char* name : names) {
        const xcb_atom_t state = existingAtom(connection, name);
        if (state != XCB_NONE && std::ranges::find(states, state) == states.end())
            states.push_back(state);
    }
    xcb_change_property(connection, XCB_PROP_MODE_REPLACE, windowOf(widget), property, XCB_ATOM_ATOM, 32,
                        static_cast<uint32_t>(states.size()), states.data());
}

/// On the root, with the title bar, but without the invisible part of a frame that shadows are in.
QRect visibleArea(xcb_connection_t* connection, xcb_window_t window)
{
    const auto place =
        awaitReply(connection, xcb_translate_coordinates_reply,
                   xcb_translate_coordinates(connection, window, toolkitScreen(connection).root, 0, 0));
    if (!place)
        return {};
    const QRect inner(QPoint(place->dst_x, place->dst_y), readArea(connection, window).size());
    const auto frame = readNumbers(connection, window, existingAtom(connection, "_NET_FRAME_EXTENTS"));
    if (frame.size() < 4)
        return readArea(connection, topLevelOf(connection, window));
    const auto width = [&frame](std::size_t side) { return static_cast<int>(frame[side]); };
    return inner.adjusted(-width(0), -width(2), width(1), width(3));
}

/// Puts those of our unmanaged windows that are above that one and meet it right below it, in their order.
/// Returns whether there were any.
bool putBelow(xcb_connection_t* connection, xcb_window_t above)
{
    bool wasAny = false;
    const QRect frame = readArea(connection, above);
    const auto own = shownOwnWindows(connection, above);
    for (auto window = own.rbegin(); window != own.rend(); ++window) {
        if (!frame.intersects(readArea(connection, *window)))
            continue;
        const std::array<uint32_t, 2> place{above, XCB_STACK_MODE_BELOW};
        xcb_configure_window(connection, *window, XCB_CONFIG_WINDOW_SIBLING | XCB_CONFIG_WINDOW_STACK_MODE,
                             place.data());
        above = *window;
        wasAny = true;
    }
    return wasAny;
}

} // namespace

X11WindowSurfaces::X11WindowSurfaces()
    : keyboard_(std::make_shared<X11KeyboardFocus>())
{}

X11WindowSurfaces::~X11WindowSurfaces()
{
    // A window that fades away keeps its focus a little longer than this, and who listens goes as well.
    keyboard_->setObserver({});
}

void X11WindowSurfaces::setKeyboardObserver(std::function<void(bool)> observer)
{
    keyboard_->setObserver(std::move(observer));
}

bool X11WindowSurfaces::isUndoingLossOfFocus() const
{
    return keyboard_->keeper() != nullptr && keyboard_->keeper()->isUndoingLoss();
}

bool X11WindowSurfaces::isComposited() const
{
    X11Connection* connection = keyboard_->connection();
    return connection != nullptr && connection->compositingManager() != XCB_NONE;
}

bool X11WindowSurfaces::grabKeyboard(QWidget& widget)
{
    return keyboard_->grab(widget);
}

void X11WindowSurfaces::releaseKeyboard(QWidget& widget)
{
    keyboard_->release(widget);
}

void X11WindowSurfaces::focusWindow(QWidget& widget)
{
    keyboard_->moveTo(widget);
}

std::unique_ptr<KeptFocus> X11WindowSurfaces::keepFocus(QWidget& widget)
{
    return std::make_unique<X11KeptFocus>(keyboard_, widget);
}

void X11WindowSurfaces::setNativeGeometry(QWidget& widget, const PixelRect& geometry)
{
    xcb_connection_t* connection = toolkitConnection();
    if (connection == nullptr)
        return;
    const std::array<uint32_t, 4> values{static_cast<uint32_t>(geometry.x), static_cast<uint32_t>(geometry.y),
                                         static_cast<uint32_t>(geometry.width),
                                         static_cast<uint32_t>(geometry.height)};
    xcb_configure_window(connection, windowOf(widget),
                         XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y | XCB_CONFIG_WINDOW_WIDTH |
                             XCB_CONFIG_WINDOW_HEIGHT,
                         values.data());
    xcb_flush(connection);
}

void X11WindowSurfaces::setShape(QWidget& widget, const QRegion& pixels)
{
    xcb_connection_t* connection = toolkitConnection();
    if (connection == nullptr)
        return;
    cutouts_.setShape(connection, windowOf(widget), pixels);
    shapes_.remind(connection, nativeFrame(widget));
    xcb_flush(connection);
}

void X11WindowSurfaces::setMenuOpen(bool isOpen)
{
    keyboard_->setMenuOpen(isOpen);
}

void X11WindowSurfaces::activateManaged(QWidget& widget)
{
    keyboard_->activate(widget);
}

void X11WindowSurfaces::leaveOutOfLists(QWidget& widget)
{
    addStates(widget, {"_NET_WM_STATE_SKIP_TASKBAR", "_NET_WM_STATE_SKIP_PAGER"});
}

void X11WindowSurfaces::showOnEveryDesktop(QWidget& widget)
{
    xcb_connection_t* connection = toolkitConnection();
    if (connection == nullptr)
        return;
    constexpr uint32_t kEveryDesktop = 0xffffffff;
    setKnownProperty(connection, widget, "_NET_WM_DESKTOP", XCB_ATOM_CARDINAL, kEveryDesktop);
    addStates(widget, {"_NET_WM_STATE_STICKY"});
}

void X11WindowSurfaces::omitShadow(QWidget& widget)
{
    xcb_connection_t* connection = toolkitConnection();
    if (connection == nullptr)
        return;
    constexpr uint32_t kNone = 0;
    setKnownProperty(connection, widget, "_COMPTON_SHADOW", XCB_ATOM_CARDINAL, kNone);
}

std::vector<X11WindowSurfaces::ManagedTop>::iterator X11WindowSurfaces::findTop(const QWidget& widget)
{
    return std::ranges::find(managedTops_, &widget, [](const ManagedTop& top) { return top.widget.data(); });
}

void X11WindowSurfaces::bringManagedToTop(QWidget& widget)
{
    if (const auto known = findTop(widget); known != managedTops_.end()) {
        std::rotate(known, known + 1, managedTops_.end());
    } else {
        QWidget* active = QApplication::activeWindow();
        const bool isUnmanaged =
            active != nullptr && active->windowFlags().testFlag(Qt::BypassWindowManagerHint);
        managedTops_.push_back({&widget, keyboard_->holder(), isUnmanaged ? active : nullptr});
    }
    if (!managerKeepsUnmanagedOnTop())
        putBelowInVain_ = 0;
    restackings_.watch();
    keepManagedOnTop();
    focusWindow(widget);
}

bool X11WindowSurfaces::managerKeepsUnmanagedOnTop() const
{
    // It also takes others some steps to bring a window to the top.
    constexpr int kOftenEnough = 4;
    return putBelowInVain_ >= kOftenEnough;
}

/// The dialogs' places out of everything that is ours and above them.
void X11WindowSurfaces::cutOut(xcb_connection_t* connection)
{
    QRegion area;
    for (const ManagedTop& top : managedTops_) {
        if (top.widget)
            area += visibleArea(connection, windowOf(*top.widget));
    }
    cutouts_.cut(connection, area.isEmpty() ? std::vector<xcb_window_t>() : shownOwnWindows(connection),
                 area);
}

void X11WindowSurfaces::keepManagedOnTop()
{
    xcb_connection_t* connection = toolkitConnection();
    if (connection == nullptr)
        return;
    bool wasAny = false;
    for (const ManagedTop& top : managedTops_) {
        if (top.widget && !managerKeepsUnmanagedOnTop())
            wasAny |= putBelow(connection, topLevelOf(connection, windowOf(*top.widget)));
    }
    // Windows of ours that come later are above at first, and rightly: only what is undone at once counts.
    constexpr std::chrono::milliseconds kAtOnce{1000};
    if (const auto now = Clock::now(); wasAny) {
        putBelowInVain_ = now - lastPutBelow_ < kAtOnce ? putBelowInVain_ + 1 : 1;
        lastPutBelow_ = now;
    }
    if (managerKeepsUnmanagedOnTop())
        cutOut(connection);
    xcb_flush(connection);
}

void X11WindowSurfaces::releaseTop(QWidget& widget)
{
    xcb_connection_t* connection = toolkitConnection();
    const auto found = findTop(widget);
    if (connection == nullptr || found == managedTops_.end())
        return;
    const ManagedTop gone = *found;
    const bool wasLatest = std::next(found) == managedTops_.end();
    const auto next = managedTops_.erase(found);
    for (const xcb_window_t window : shownOwnWindows(connection)) {
        const uint32_t place = XCB_STACK_MODE_ABOVE;
        xcb_configure_window(connection, window, XCB_CONFIG_WINDOW_STACK_MODE, &place);
    }
    restackings_.watch();
    keepManagedOnTop();
    xcb_flush(connection);
    if (!wasLatest) {
        // Who comes after it owes the keyboard to the same window, unless it took it from another one.
        if (!next->holder && !next->focus) {
            next->holder = gone.holder;
            next->focus = gone.focus;
        }
        return;
    }
    QWidget* holder = gone.holder.data();
    QWidget* focus = gone.focus.data();
    if (holder != nullptr && holder->isVisible())
        grabKeyboard(*holder);
    else if (focus != nullptr && focus->isVisible())
        focusWindow(*focus);
}

} // namespace velmo
