#pragma once

#include "platform/x11/X11Connection.h"
#include "platform/x11/X11OwnWindows.h"

#include <QElapsedTimer>
#include <functional>
#include <memory>
#include <optional>
#include <unordered_map>
#include <unordered_set>
#include <xcb/damage.h>

class QSocketNotifier;
class QTimer;

namespace velmo {

/// Tells that the screen shows something else now, by what the server says about the windows of other
/// programs, about the desktop's background, and about a compositor that comes or goes. Main thread; it has a
/// connection of its own, and rests for good when that is lost.
class X11ChangeWatcher {
public:
    /// The handler is called at most ten times a second, never from here, and always after the last change.
    /// It may destroy the watcher. Null when no display answers or the server lacks the extensions.
    [[nodiscard]] static std::unique_ptr<X11ChangeWatcher> open(std::optional<X11ResourceRange> ownResources,
                                                                std::function<void()> handler);
    ~X11ChangeWatcher();
    X11ChangeWatcher(const X11ChangeWatcher&) = delete;
    X11ChangeWatcher& operator=(const X11ChangeWatcher&) = delete;

private:
    X11ChangeWatcher(std::unique_ptr<X11Connection> connection, std::optional<X11ResourceRange> ownResources,
                     std::function<void()> handler);

    void begin();
    void watchCompositor();
    void readEvents();
    void handle(const xcb_generic_event_t& event);
    void appear(xcb_window_t window, xcb_get_window_attributes_cookie_t asked);
    void disappear(xcb_window_t window);
    void watch(xcb_window_t window);
    void rearm();
    void forgetOwn();
    void report();
    void rest();

    std::unique_ptr<X11Connection> connection_;
    std::optional<X11ResourceRange> ownResources_;
    std::function<void()> handler_;
    quint8 damageEvent_ = 0;
    quint8 shapeEvent_ = 0;
    int selectionEvent_ = -1; ///< Of the selection that a compositor owns; -1 where the server cannot tell.
    xcb_atom_t opacity_ = XCB_NONE;
    std::unordered_set<xcb_atom_t> backgrounds_; ///< Properties of the root that name its picture.

    std::unordered_map<xcb_window_t, xcb_damage_damage_t> watched_; ///< Viewable top-level windows, not ours.
    std::unordered_set<xcb_window_t> own_; ///< Frames around our windows, which look like others' at first.
    std::unordered_set<xcb_window_t> damaged_; ///< They say nothing more until they are armed again.
    std::unordered_set<xcb_window_t> changed_; ///< Since the last call; some may turn out to be ours.
    bool hasOtherChange_ = false;              ///< A window went, or the background changed.

    QElapsedTimer sinceCall_;
    // Both may be at work while the handler destroys this, so the loop deletes them.
    QSocketNotifier* notifier_ = nullptr;
    QTimer* timer_ = nullptr;
};

} // namespace velmo
