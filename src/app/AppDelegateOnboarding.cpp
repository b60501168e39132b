// The window of the first start, and what a start without a tray shows instead of a symbol.

#include "app/AppDelegate.h"

#include <QWidget>
#include <utility>

namespace velmo {

namespace {

/// A sound server that is well answers within a tenth of it.
constexpr std::chrono::milliseconds kMicrophonePatience{300};

} // namespace

/// Somebody who starts the program and sees nothing of it would start it again and again.
void AppDelegate::explainMissingTray()
{
    if (!options_.opensSettingsWithoutTray)
        return;
    owesSettings_ = true;
    // One whose window is not there yet is about to come.
    const QWidget* window = onboardingController_ ? onboardingController_->window() : nullptr;
    if (!onboardingController_ || (window != nullptr && !window->isVisible()))
        openOwedSettings();
}

void AppDelegate::openOwedSettings()
{
    // A bar may have come meanwhile.
    if (std::exchange(owesSettings_, false) && !isTerminating_ && !menuBarController_->statusItem().exists())
        menuBarController_->openSettingsWindow();
}

void AppDelegate::showOnboarding()
{
    isOnboardingRequested_ = true;
    presentOnboarding(PermissionChecker::checkRequired(*desktop_.permissions), true);
}

void AppDelegate::presentOnboarding(const QList<MissingPermission>& required, bool forcePresentation)
{
    // Who has closed it is left in peace, and so is the sound server: asking it keeps the connection to it.
    const QWidget* window = onboardingController_ ? onboardingController_->window() : nullptr;
    if (window != nullptr && !window->isVisible() && !forcePresentation)
        return;
    const QList<MissingPermission> missing =
        PermissionChecker::withMicrophone(*desktop_.permissions, required);
    const bool isNew = !onboardingController_;
    if (isNew)
        onboardingController_ = makeOnboarding(missing);
    else
        onboardingController_->updatePermissions(missing);
    if (!isNew && !forcePresentation)
        return;
    // There are dots below it, one for each page: whether the microphone's is one of them is worth a moment.
    if (window != nullptr || desktop_.permissions->microphoneStatus() != MicrophoneStatus::NotDetermined)
        onboardingController_->showWindow();
    else if (!onboardingReveal_.isActive())
        onboardingReveal_.start(kMicrophonePatience);
}

void AppDelegate::revealOnboarding()
{
    onboardingReveal_.stop();
    if (!onboardingController_)
        return;
    onboardingController_->updatePermissions(PermissionChecker::checkAll(*desktop_.permissions));
    onboardingController_->showWindow();
}

void AppDelegate::completeOnboarding()
{
    settings_->hasCompletedOnboarding.set(true);
    isOnboardingRequested_ = false;
    onboardingController_.reset();
    // What has gone missing meanwhile is shown; and where the hotkey can be changed, if it does not work.
    if (handlePermissionState(true)) {
        if (!gestureProblems_.value().hotkey.isEmpty())
            menuBarController_->openSettingsWindow();
        else
            openOwedSettings();
    }
    owesSettings_ = false;
}

} // namespace velmo
