#include "input/MenuBarController.h"

#include "widgets/DialogWindow.h"

#include <QApplication>
#include <utility>

namespace velmo {

namespace {

constexpr QSize kSettingsSize{520, 580};
/// All of the tab that does not scroll can be seen.
constexpr int kLeastSettingsHeight = 400;

} // namespace

MenuBarController::MenuBarController(AnnotationSession& session, std::shared_ptr<SettingsManager> settings,
                                     Desktop desktop, MenuBarCallbacks callbacks)
    : session_(session)
    , settings_(std::move(settings))
    , desktop_(desktop)
    , callbacks_(std::move(callbacks))
    , menu_(desktop_.windows, actions())
    , statusItem_(menu_, desktop_.trays, desktop_.trayPatience, callbacks_.onTrayMissing)
    , stateSubscription_(session_.state().subscribe([this](SessionState next) {
        if (next == SessionState::Drawing)
            makeRoomForDrawing();
        else if (owesRestart_)
            owedRestart_.start(0);
    }))
{
    owedRestart_.setSingleShot(true);
    owedRestart_.callOnTimeout([this] { restartHotkeyMonitor(); });
}

MenuBarController::~MenuBarController()
{
    // While the window system is still told of it.
    menu_.close();
    if (settingsWindow_)
        settingsWindow_->close();
}

/// Before the drawing's windows are there: an open menu would not let them have the keyboard, and whoever
/// asks a question types for it and not for the sheet.
void MenuBarController::makeRoomForDrawing()
{
    menu_.close();
    if (hotkeySheet_)
        hotkeySheet_->close();
}

/// A monitor that is stopped amid a stroke tells nothing of its end.
void MenuBarController::restartHotkeyMonitor()
{
    owesRestart_ = session_.state().value() == SessionState::Drawing;
    if (!owesRestart_ && callbacks_.restartHotkeyMonitor)
        callbacks_.restartHotkeyMonitor();
}

StatusMenu::Actions MenuBarController::actions()
{
    return {
        .activateAnnotation = [this] { activateAnnotation(); },
        .changeHotkey = [this] { presentHotkeySheet(); },
        .openSettings = [this] { openSettingsWindow(); },
        .checkForUpdates = callbacks_.checkForUpdates,
        .terminate = callbacks_.terminate,
    };
}

void MenuBarController::activateAnnotation()
{
    if (callbacks_.requestAnnotation)
        callbacks_.requestAnnotation();
    else
        session_.begin(true);
}

void MenuBarController::openSettingsWindow()
{
    if (!settingsWindow_) {
        if (callbacks_.makeSettingsWindow)
            settingsWindow_ = callbacks_.makeSettingsWindow();
        if (!settingsWindow_)
            return;
        DialogWindow::prepare(*settingsWindow_, QStringLiteral("Velmo Settings"), kSettingsSize);
    } else {
        // Without any focus in it, a window would give it to its first field when it becomes the active one.
        settingsWindow_->setFocus();
    }
    DialogWindow::fitToScreen(*settingsWindow_, kSettingsSize, kLeastSettingsHeight);
    DialogWindow::bringToFront(*settingsWindow_, desktop_.windows);
}

void MenuBarController::presentHotkeySheet()
{
    // What the former one has stored is not to wait for a sheet that is gone.
    if (hotkeySheet_) {
        hotkeySheet_->finishPending();
        hotkeySheet_->close();
    }
    hotkeySheet_ = std::make_unique<HotkeyCaptureSheet>(
        settings_,
        HotkeyCaptureCollaborators{desktop_.keys, desktop_.windows, [this] { restartHotkeyMonitor(); },
                                   [] { QApplication::beep(); }});
    hotkeySheet_->present();
}

void MenuBarController::discardHotkeySheet()
{
    hotkeySheet_.reset();
}

} // namespace velmo
