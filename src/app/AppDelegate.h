#pragma once

#include "app/DesktopServices.h"
#include "capture/ScreenCaptureService.h"
#include "core/AnnotationSession.h"
#include "input/HotkeyMonitor.h"
#include "platform/linux/JsonFileDefaults.h"

#include <QTimer>

namespace velmo {

/// The composition root: it owns the session and the hotkey monitor, joins them with the desktop, and keeps
/// the monitor running only while the desktop allows what is needed. Main thread.
class AppDelegate {
public:
    /// The desktop outlives it.
    AppDelegate(std::shared_ptr<SettingsManager> settings, DesktopServices& desktop);
    AppDelegate(const AppDelegate&) = delete;
    AppDelegate& operator=(const AppDelegate&) = delete;
    ~AppDelegate();

    /// defaults gives the problems met while the settings were read, and later ones.
    void applicationDidFinishLaunching(JsonFileDefaults& defaults);
    /// Ends the session and then the program.
    void terminate();

    [[nodiscard]] AnnotationSession& session() { return session_; }

    /// The hotkey's and the menu's action.
    void requestAnnotation();

    /// True when nothing that is required is missing.
    bool handlePermissionState();
    void startHotkeyMonitor();
    void restartHotkeyMonitor();

private:
    [[nodiscard]] SessionCollaborators collaborators();
    [[nodiscard]] QStringList missingPermissions();
    void followSessionState(SessionState next);
    void reportMonitorStart(const EventTap::StartReport& report);

    std::shared_ptr<SettingsManager> settings_;
    DesktopServices& desktop_;
    ScreenCaptureService capture_;
    AnnotationSession session_;
    Subscription stateSubscription_;
    std::unique_ptr<HotkeyMonitor> hotkeyMonitor_;
    QTimer permissionMonitor_;
    QStringList reportedMissing_;
};

} // namespace velmo
