// What the program's parts are made of and joined by.

#include "app/AppDelegate.h"

#include "overlay/OverlayWindowController.h"
#include "panel/QueryPanelController.h"
#include "permissions/PermissionsView.h"
#include "platform/linux/PackageOwner.h"
#include "providers/AnthropicProvider.h"
#include "providers/OpenAIProvider.h"
#include "settings/HotkeyTexts.h"
#include "settings/SettingsRootView.h"
#include "voice/ReplicateWhisperService.h"

#include <QCoreApplication>
#include <QDesktopServices>
#include <QUrl>

namespace velmo {

SessionCollaborators AppDelegate::collaborators()
{
    return {
        .makeOverlay = [this](AnnotationSession& session,
                              bool showToolbar) -> std::unique_ptr<AnnotationOverlay> {
            return std::make_unique<OverlayWindowController>(
                session, showToolbar,
                OverlayDesktop{*desktop_.screens, *desktop_.windowSurfaces, *desktop_.displayCapture});
        },
        .makePanel = [this](AnnotationSession& session,
                            const std::optional<Screen>& screen) -> std::unique_ptr<QuestionPanel> {
            return std::make_unique<QueryPanelController>(session, screen, panelDesktop());
        },
        .capture = capture_,
        .focus = *desktop_.windowFocus,
        .screens = *desktop_.screens,
        .makeAnthropicProvider = [](const QString& apiKey, const QString& model)
            -> std::unique_ptr<LLMProvider> { return std::make_unique<AnthropicProvider>(apiKey, model); },
        .makeOpenAIProvider = [](const QString& apiKey, const QString& model)
            -> std::unique_ptr<LLMProvider> { return std::make_unique<OpenAIProvider>(apiKey, model); },
    };
}

PanelDesktop AppDelegate::panelDesktop()
{
    return {
        .screens = *desktop_.screens,
        .windows = *desktop_.windowSurfaces,
        .openSettingsWindow = [this] { menuBarController_->openSettingsWindow(); },
        .openAddress = [](const QUrl& address) { QDesktopServices::openUrl(address); },
        .makeTranscriptionService =
            [this](const QString& apiKey, const QString& modelVersion) {
                return std::make_shared<ReplicateWhisperService>(
                    apiKey, modelVersion, VoiceCollaborators{*desktop_.audioRecorders, http_()});
            },
        .startLasting = [this](async::Task<> task) { lastingTasks_.start(std::move(task)); },
    };
}

UpdateCollaborators AppDelegate::updateCollaborators()
{
    return {
        .windows = *desktop_.windowSurfaces,
        .http = http_,
        .findPackageManager = [] { return findPackageOwner(QCoreApplication::applicationFilePath()); },
        .openAddress = [](const QUrl& address) { return QDesktopServices::openUrl(address); },
    };
}

MenuBarCallbacks AppDelegate::menuBarCallbacks()
{
    return {
        .requestAnnotation = [this] { requestAnnotation(); },
        .makeSettingsWindow = [this] { return makeSettingsWindow(); },
        .restartHotkeyMonitor = [this] { restartHotkeyMonitor(); },
        .checkForUpdates = [this] { updateController_.checkForUpdates(); },
        .terminate = [this] { terminate(); },
        .onTrayMissing = [this] { explainMissingTray(); },
    };
}

std::unique_ptr<QWidget> AppDelegate::makeSettingsWindow()
{
    return std::make_unique<SettingsRootView>(
        settings_, SettingsCollaborators{
                       .presentHotkeySheet = [this] { menuBarController_->presentHotkeySheet(); },
                       .restartHotkeyMonitor = [this] { restartHotkeyMonitor(); },
                       .makePermissionsView =
                           [this] { return std::make_unique<PermissionsView>(*desktop_.permissions); },
                       .gestureProblems = &gestureProblems_,
                   });
}

std::unique_ptr<OnboardingWindowController>
AppDelegate::makeOnboarding(const QList<MissingPermission>& missing)
{
    return std::make_unique<OnboardingWindowController>(
        OnboardingStep::all(missing),
        OnboardingWindowController::Collaborators{
            .permissions = *desktop_.permissions,
            .windows = *desktop_.windowSurfaces,
            .hotkey =
                [this] {
                    return hotkeyInWords(static_cast<quint64>(settings_->hotkeyModifiers.value()),
                                         settings_->hotkeyKeyCode.value());
                },
            .hotkeyProblem = [this] { return gestureProblems_.value().hotkey; },
            .onComplete = [this] { completeOnboarding(); },
            // On a later turn: at the end of the desktop's session every window is closed, and none is to
            // come anew.
            .onClosed =
                [this] { QTimer::singleShot(0, &permissionMonitor_, [this] { openOwedSettings(); }); },
        });
}

} // namespace velmo
