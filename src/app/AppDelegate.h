#pragma once

#include "app/DesktopServices.h"
#include "capture/ScreenCaptureService.h"
#include "core/AnnotationSession.h"
#include "core/Clock.h"
#include "core/async/TaskScope.h"
#include "input/HotkeyMonitor.h"
#include "input/MenuBarController.h"
#include "overlay/HintCapsuleController.h"
#include "panel/PanelDesktop.h"
#include "permissions/OnboardingWindowController.h"
#include "permissions/PermissionChecker.h"
#include "platform/HttpClient.h"
#include "platform/linux/JsonFileDefaults.h"
#include "settings/SettingsCollaborators.h"
#include "updates/UpdateController.h"

#include <QTimer>

namespace velmo {

/// How the program was started.
struct LaunchOptions {
    /// The monitor's lines on the console may name keys.
    bool printsPassedKeys = true;
    /// Somebody waits to see something of it, tray or not.
    bool opensSettingsWithoutTray = false;
};

/// The composition root: it owns the session and the hotkey monitor, joins them with the desktop, and keeps
/// the monitor running only while the desktop allows what is needed. Main thread.
class AppDelegate {
public:
    /// The desktop and the client outlive it; the client is asked for when it is needed.
    AppDelegate(std::shared_ptr<SettingsManager> settings, DesktopServices& desktop,
                std::function<HttpClient&()> http);
    AppDelegate(const AppDelegate&) = delete;
    AppDelegate& operator=(const AppDelegate&) = delete;
    ~AppDelegate();

    /// defaults gives the problems met while the settings were read, and later ones.
    void applicationDidFinishLaunching(JsonFileDefaults& defaults, const LaunchOptions& options = {});
    /// The user has started the program once more: opens the settings. False: there is nothing else to do.
    bool applicationShouldHandleReopen();
    /// Gestures end here; the rest goes with this object.
    void applicationWillTerminate();
    [[nodiscard]] bool isTerminating() const { return isTerminating_; }
    /// Ends the session and then the program.
    void terminate();

    [[nodiscard]] AnnotationSession& session() { return session_; }
    /// Null before the launch has finished.
    [[nodiscard]] MenuBarController* menuBarController() { return menuBarController_.get(); }

    /// Looks at the permissions every second, for as long as the program runs.
    [[nodiscard]] const QTimer& permissionMonitor() const { return permissionMonitor_; }
    /// Null but during a first start, and when it is looked at again.
    [[nodiscard]] OnboardingWindowController* onboardingController() { return onboardingController_.get(); }

    /// The hotkey's and the menu's action.
    void requestAnnotation();
    /// A stroke begins at a point in screen coordinates.
    void requestAnnotationWithDraw(ScreenPoint point);

    /// Follows what the desktop allows. True when nothing that is required is missing; else the gestures and
    /// the session end, and the user is shown what is missing: during a first start in any case, later only
    /// if that is forced.
    bool handlePermissionState(bool forcePresentation);
    /// Opens the window of the first start.
    void showOnboarding();
    void startHotkeyMonitor();
    /// With the settings as they are now. Returns at once; the new monitor waits for the old one elsewhere.
    void restartHotkeyMonitor();
    void stopHotkeyMonitor();

private:
    [[nodiscard]] SessionCollaborators collaborators();
    [[nodiscard]] PanelDesktop panelDesktop();
    [[nodiscard]] UpdateCollaborators updateCollaborators();
    [[nodiscard]] MenuBarCallbacks menuBarCallbacks();
    [[nodiscard]] std::unique_ptr<QWidget> makeSettingsWindow();
    [[nodiscard]] std::unique_ptr<OnboardingWindowController>
    makeOnboarding(const QList<MissingPermission>& missing);
    void presentOnboarding(const QList<MissingPermission>& required, bool forcePresentation);
    void revealOnboarding();
    void completeOnboarding();
    void explainMissingTray();
    void openOwedSettings();
    void logMissing(const QList<MissingPermission>& missing);
    void followSessionState(SessionState next);
    void logDesktopDiagnostics();
    void reportMonitorStart(const EventTap::StartReport& report);
    void followQuickDrawHint(bool active);
    void hideHint();
    void releaseCaptureSoon();
    void followScreens();

    std::shared_ptr<SettingsManager> settings_;
    DesktopServices& desktop_;
    std::function<HttpClient&()> http_;
    ScreenCaptureService capture_;
    AnnotationSession session_;
    Subscription stateSubscription_;
    Subscription captureSubscription_;
    Subscription microphoneSubscription_;
    UpdateController updateController_;
    std::unique_ptr<MenuBarController> menuBarController_;
    std::shared_ptr<HotkeyMonitor> hotkeyMonitor_;
    std::unique_ptr<HintCapsuleController> hintCapsuleController_;     ///< From the monitor's first start on.
    std::unique_ptr<OnboardingWindowController> onboardingController_; ///< Until the first start is over.
    Published<GestureProblems> gestureProblems_;                       ///< For the settings.
    LaunchOptions options_;
    bool isTerminating_ = false;
    bool isOnboardingRequested_ = false;
    bool owesSettings_ = false; ///< There is no tray, and the first run came before them.
    bool monitorIsReady_ = false;
    QTimer permissionMonitor_;
    QTimer captureRelease_;
    QTimer onboardingReveal_; ///< Runs while its window waits for the microphone's first answer.
    QMetaObject::Connection aboutToQuit_;
    QList<MissingPermission> reportedMissing_;
    QStringList reportedProblems_;
    std::optional<Clock::TimePoint> sessionEnd_;
    async::TaskScope lastingTasks_; ///< Transcriptions, which outlive their panels.
};

} // namespace velmo
