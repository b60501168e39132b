#include "input/MenuBarController.h"

#include "widgets/DialogWindow.h"

#include <QApplication>
#include <utility>

namespace velmo {

namespace {

constexpr QSize kSettingsSize{520, 580};

} // namespace

MenuBarController::MenuBarController(AnnotationSession& session, std::shared_ptr<SettingsManager> settings,
                                     Desktop desktop, MenuBarCallbacks callbacks)
    : session_(session)
    , settings_(std::move(settings))
    , desktop_(desktop)
    , callbacks_(std::move(callbacks))
    , menu_(desktop_.windows, actions())
    , statusItem_(menu_, desktop_.trays, callbacks_.onTrayMissing)
{}

MenuBarController::~MenuBarController() = default;

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
    } else if (QWidget* focused = settingsWindow_->focusWidget(); focused != nullptr) {
        focused->clearFocus();
    }
    DialogWindow::bringToFront(*settingsWindow_);
}

void MenuBarController::presentHotkeySheet()
{
    // What the former one has stored is not to wait for a sheet that is gone.
    if (hotkeySheet_)
        hotkeySheet_->finishPending();
    hotkeySheet_ = std::make_unique<HotkeyCaptureSheet>(
        settings_, HotkeyCaptureCollaborators{desktop_.keys, callbacks_.restartHotkeyMonitor,
                                              [] { QApplication::beep(); }});
    hotkeySheet_->present();
}

} // namespace velmo
