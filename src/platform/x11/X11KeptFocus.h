#pragma once

#include "platform/WindowSurfaces.h"
#include "platform/x11/XcbSupport.h"

#include <QAbstractNativeEventFilter>
#include <QObject>
#include <QWidget>
#include <chrono>
#include <memory>
#include <vector>

namespace velmo {

class X11KeyboardFocus;
class X11PressWatch;

/// The input focus in a window that no window manager handles.
///
/// Window managers move the focus where they see fit when a window vanishes from under the pointer or another
/// desktop is shown, and they know nothing of this one. Nobody meant that, so it is taken back: several
/// times, because they do it in steps. They also give no such window the focus when it is clicked.
class X11KeptFocus final : public QObject, public KeptFocus, private QAbstractNativeEventFilter {
public:
    X11KeptFocus(std::shared_ptr<X11KeyboardFocus> keyboard, QWidget& window);
    X11KeptFocus(const X11KeptFocus&) = delete;
    X11KeptFocus& operator=(const X11KeptFocus&) = delete;
    ~X11KeptFocus() override;

    void take() override;
    void giveBack() override;

    /// The focus goes to that window of ours. If it is another one, it is meant to, whatever has happened
    /// just before.
    void giveWayTo(const QWidget& window);

    /// A window of ours has just vanished, and whoever the window manager gave the focus to then is not whom
    /// the user chose: the focus is being taken back.
    [[nodiscard]] bool isUndoingLoss();

private:
    using Clock = std::chrono::steady_clock;

    bool eventFilter(QObject* watched, QEvent* event) override;
    bool nativeEventFilter(const QByteArray& kind, void* message, qintptr* result) override;
    [[nodiscard]] bool isUsersDoing();
    void noteDisturbance();
    void noteLoss();
    void scheduleChecks();
    void takeBack();
    [[nodiscard]] bool hasFocus(const QWidget& window) const;

    std::shared_ptr<X11KeyboardFocus> keyboard_;
    QWidget& window_;
    std::unique_ptr<X11PressWatch> presses_; ///< Null without a display.
    xcb_atom_t currentDesktop_ = XCB_NONE;
    std::vector<xcb_window_t> former_; ///< Who had the focus when it was taken, the latest last.
    Clock::time_point disturbance_;    ///< A window of ours vanished, or the desktop changed.
    Clock::time_point vanishing_;      ///< The former of these.
    bool hasSeenPress_ = false;        ///< Since the disturbance.
    Clock::time_point loss_;           ///< The focus went, and not by a press.
};

} // namespace velmo
