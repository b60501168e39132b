#pragma once

#include "core/AnnotationSession.h"
#include "core/CurrentDesktops.h"
#include "input/HotkeyCaptureSheet.h"
#include "input/StatusItem.h"

#include <QTimer>
#include <QWidget>

namespace velmo {

/// What the menu's items open, beside what the controller does itself.
struct MenuBarCallbacks {
    /// Applies its own checks before it starts; empty: the session begins at once.
    std::function<void()> requestAnnotation;
    /// Empty, or null made by it: there is no such window.
    std::function<std::unique_ptr<QWidget>()> makeSettingsWindow;
    /// After a new hotkey was recorded.
    std::function<void()> restartHotkeyMonitor;
    std::function<void()> checkForUpdates;
    std::function<void()> terminate;
    /// Once, on a later turn, when the desktop has no tray at the moment.
    std::function<void()> onTrayMissing{};
};

/// The application's one lasting piece of user interface: the status item, its menu, and the windows that the
/// menu opens. Main thread.
class MenuBarController {
public:
    /// The desktop's part of it. All outlive the controller.
    struct Desktop {
        WindowSurfaces& windows;
        KeyReader& keys;
        const StatusItem::Trays& trays;
        /// How long the status item waits for the better kind of tray.
        std::chrono::milliseconds trayPatience = StatusItem::patienceFor(currentDesktops());
    };

    MenuBarController(AnnotationSession& session, std::shared_ptr<SettingsManager> settings, Desktop desktop,
                      MenuBarCallbacks callbacks);
    MenuBarController(const MenuBarController&) = delete;
    MenuBarController& operator=(const MenuBarController&) = delete;
    ~MenuBarController();

    [[nodiscard]] StatusMenu& menu() { return menu_; }
    [[nodiscard]] const StatusItem& statusItem() const { return statusItem_; }

    /// The settings, in one window that is made at the first call and kept.
    void openSettingsWindow();
    /// Null before it was opened.
    [[nodiscard]] QWidget* settingsWindow() const { return settingsWindow_.get(); }

    /// A new sheet in place of the one before it. It closes when a drawing begins.
    void presentHotkeySheet();
    /// For the program's end: the sheet goes, and what it has stored comes into force with the next start.
    void discardHotkeySheet();
    /// The latest; null before the first.
    [[nodiscard]] HotkeyCaptureSheet* hotkeySheet() const { return hotkeySheet_.get(); }

private:
    [[nodiscard]] StatusMenu::Actions actions();
    void makeRoomForDrawing();
    void restartHotkeyMonitor();
    void activateAnnotation();

    AnnotationSession& session_;
    std::shared_ptr<SettingsManager> settings_;
    Desktop desktop_;
    MenuBarCallbacks callbacks_;
    StatusMenu menu_;
    StatusItem statusItem_;
    std::unique_ptr<QWidget> settingsWindow_;
    std::unique_ptr<HotkeyCaptureSheet> hotkeySheet_;
    QTimer owedRestart_;
    bool owesRestart_ = false; ///< A hotkey was recorded, and a drawing came before it was in force.
    Subscription stateSubscription_;
};

} // namespace velmo
