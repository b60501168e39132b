#include "platform/x11/X11WindowSurfaces.h"

#include "platform/x11/X11Connection.h"
#include "platform/x11/X11Toolkit.h"

#include <QApplication>
#include <QWidget>
#include <QWindow>
#include <algorithm>
#include <array>
#include <unordered_set>
#include <utility>
#include <vector>

namespace velmo {
namespace {

xcb_window_t windowOf(const QWidget& widget)
{
    return static_cast<xcb_window_t>(widget.window()->winId());
}

std::vector<xcb_window_t> childrenOf(xcb_connection_t* connection, xcb_window_t window)
{
    const auto tree = awaitReply(connection, xcb_query_tree_reply, xcb_query_tree(connection, window));
    if (!tree)
        return {};
    const auto* first = xcb_query_tree_children(tree.get());
    return {first, first + xcb_query_tree_children_length(tree.get())};
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

/// Without borders, on the root.
QRect areaOf(xcb_connection_t* connection, xcb_window_t window)
{
    const auto geometry =
        awaitReply(connection, xcb_get_geometry_reply, xcb_get_geometry(connection, window));
    return geometry ? QRect(geometry->x, geometry->y, geometry->width, geometry->height) : QRect();
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
    auto stack = childrenOf(connection, toolkitScreen(connection).root);
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
    if (refusal)
        return;
    // The toolkit overlooks a focus that comes back to a window that it has hidden just before.
    if (QApplication::activeWindow() != widget.window())
        QApplication::setActiveWindow(widget.window());
    // Only now: released before the focus has moved, keys would reach the application below for a moment.
    if (QWidget* holder = keyboardHolder_.data(); holder != nullptr && holder != &widget)
        releaseKeyboard(*holder);
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

void X11WindowSurfaces::showOnEveryDesktop(QWidget& widget)
{
    xcb_connection_t* connection = toolkitConnection();
    if (connection == nullptr)
        return;
    constexpr uint32_t kEveryDesktop = 0xffffffff;
    setKnownProperty(connection, widget, "_NET_WM_DESKTOP", XCB_ATOM_CARDINAL, kEveryDesktop);
    // The toolkit keeps what it finds there and adds its own.
    if (const xcb_atom_t sticky = existingAtom(connection, "_NET_WM_STATE_STICKY"); sticky != XCB_NONE)
        setKnownProperty(connection, widget, "_NET_WM_STATE", XCB_ATOM_ATOM, sticky);
}

void X11WindowSurfaces::omitShadow(QWidget& widget)
{
    xcb_connection_t* connection = toolkitConnection();
    if (connection == nullptr)
        return;
    constexpr uint32_t kNone = 0;
    setKnownProperty(connection, widget, "_COMPTON_SHADOW", XCB_ATOM_CARDINAL, kNone);
}

void X11WindowSurfaces::bringManagedToTop(QWidget& widget)
{
    if (managedTop_ != &widget) {
        managedTop_ = &widget;
        displacedHolder_ = keyboardHolder_;
        QWidget* active = QApplication::activeWindow();
        displacedFocus_ = active != nullptr && active->windowFlags().testFlag(Qt::BypassWindowManagerHint)
                              ? active
                              : nullptr;
    }
    keepManagedOnTop();
    focusWindow(widget);
}

void X11WindowSurfaces::keepManagedOnTop()
{
    xcb_connection_t* connection = toolkitConnection();
    if (connection == nullptr || !managedTop_)
        return;
    xcb_window_t above = topLevelOf(connection, windowOf(*managedTop_));
    const QRect frame = areaOf(connection, above);
    const auto own = shownOwnWindows(connection, above);
    for (auto window = own.rbegin(); window != own.rend(); ++window) {
        if (!frame.intersects(areaOf(connection, *window)))
            continue;
        const std::array<uint32_t, 2> place{above, XCB_STACK_MODE_BELOW};
        xcb_configure_window(connection, *window, XCB_CONFIG_WINDOW_SIBLING | XCB_CONFIG_WINDOW_STACK_MODE,
                             place.data());
        above = *window;
    }
    xcb_flush(connection);
}

void X11WindowSurfaces::releaseTop(QWidget& widget)
{
    xcb_connection_t* connection = toolkitConnection();
    if (connection == nullptr || managedTop_ != &widget)
        return;
    managedTop_ = nullptr;
    for (const xcb_window_t window : shownOwnWindows(connection)) {
        const uint32_t place = XCB_STACK_MODE_ABOVE;
        xcb_configure_window(connection, window, XCB_CONFIG_WINDOW_STACK_MODE, &place);
    }
    xcb_flush(connection);
    QWidget* holder = std::exchange(displacedHolder_, nullptr).data();
    QWidget* focus = std::exchange(displacedFocus_, nullptr).data();
    if (holder != nullptr && holder->isVisible())
        grabKeyboard(*holder);
    else if (focus != nullptr && focus->isVisible())
        focusWindow(*focus);
}

} // namespace velmo
