#include "permissions/OnboardingWindowController.h"

#include "core/async/MainLoop.h"
#include "permissions/OnboardingStepContentView.h"
#include "permissions/PermissionChecker.h"
#include "widgets/DialogWindow.h"

#include <QPointer>
#include <algorithm>
#include <chrono>
#include <utility>

namespace velmo {

namespace {

constexpr std::chrono::milliseconds kPollInterval{1000};

} // namespace

class OnboardingWindowController::Window final : public QWidget {
public:
    std::function<void()> onClose;

protected:
    void closeEvent(QCloseEvent* event) override
    {
        if (onClose)
            onClose();
        QWidget::closeEvent(event);
    }
};

void OnboardingWindowController::DeleteLater::operator()(Window* window) const
{
    window->onClose = nullptr;
    window->hide();
    async::postToMainLoop([window] { delete window; });
}

QWidget* OnboardingWindowController::window() const
{
    return window_.get();
}

OnboardingWindowController::OnboardingWindowController(QList<OnboardingStep> steps,
                                                       Collaborators collaborators)
    : steps_(std::move(steps))
    , collaborators_(std::move(collaborators))
    , pollTimer_(new QTimer(this))
{
    pollTimer_->setObjectName(QStringLiteral("pollTimer"));
    pollTimer_->setInterval(kPollInterval);
    pollTimer_->callOnTimeout(this, [this] { checkCurrentPermission(); });
    // What the page offers depends on the answer, which may come while it is shown.
    microphone_ = collaborators_.permissions.observeMicrophone([this] {
        if (!isFinished() && currentStep() == OnboardingStep::forPermission(MissingPermission::Microphone))
            showCurrentStep();
    });
}

OnboardingWindowController::~OnboardingWindowController() = default;

void OnboardingWindowController::showWindow()
{
    if (isFinished())
        return;
    if (!window_) {
        window_.reset(new Window);
        window_->onClose = [this] { handleClose(); };
        DialogWindow::prepare(*window_, QStringLiteral("Velmo"), OnboardingStepContentView::kSize);
        contentView_ = new OnboardingStepContentView(collaborators_.permissions, window_.get());
        // The view lives on for a turn after the controller.
        const QPointer<OnboardingWindowController> self(this);
        contentView_->onPrimary = [self] {
            if (self)
                self->handlePrimary();
        };
        contentView_->onSkip = [self] {
            if (self)
                self->advance();
        };
    }
    const bool wasHidden = !window_->isVisible();
    DialogWindow::bringToFront(*window_, collaborators_.windows);
    if (wasHidden)
        showCurrentStep();
}

void OnboardingWindowController::close()
{
    isClosing_ = true;
    if (window_)
        window_->close();
    isClosing_ = false;
    pollTimer_->stop();
}

void OnboardingWindowController::handleClose()
{
    pollTimer_->stop();
    if (!isClosing_ && collaborators_.onClosed)
        collaborators_.onClosed();
}

void OnboardingWindowController::showCurrentStep()
{
    // A window that is not there has no page to look after.
    if (!window_ || !window_->isVisible()) {
        pollTimer_->stop();
        return;
    }
    const OnboardingStep step = currentStep();
    switch (step.kind()) {
    case OnboardingStep::Kind::Welcome:
        contentView_->configureWelcome();
        break;
    case OnboardingStep::Kind::Permission:
        contentView_->configurePermission(step.permission());
        break;
    case OnboardingStep::Kind::Complete:
        contentView_->configureComplete(collaborators_.hotkey ? collaborators_.hotkey() : QString(),
                                        collaborators_.hotkeyProblem ? collaborators_.hotkeyProblem()
                                                                     : QString());
        break;
    }
    contentView_->totalSteps = static_cast<int>(steps_.size());
    contentView_->currentStepIndex = currentIndex_;
    contentView_->updateDots();
    if (step.kind() == OnboardingStep::Kind::Permission)
        startPolling();
    else
        pollTimer_->stop();
}

void OnboardingWindowController::startPolling()
{
    pollTimer_->start();
}

void OnboardingWindowController::checkCurrentPermission()
{
    const OnboardingStep step = currentStep();
    if (step.kind() == OnboardingStep::Kind::Permission &&
        PermissionChecker::isGranted(collaborators_.permissions, step.permission()))
        advance();
}

void OnboardingWindowController::handlePrimary()
{
    switch (const OnboardingStep step = currentStep(); step.kind()) {
    case OnboardingStep::Kind::Complete:
        finish();
        break;
    case OnboardingStep::Kind::Welcome:
        advance();
        break;
    case OnboardingStep::Kind::Permission:
        openSettings(step.permission());
        break;
    }
}

void OnboardingWindowController::openSettings(MissingPermission permission)
{
    const PanelOpening opening = PermissionChecker::request(
        collaborators_.permissions, permission, [self = QPointer(this), permission] {
            if (auto* controller = self.data(); controller != nullptr)
                controller->leave(permission);
        });
    contentView_->setNote(opening.explanation());
}

/// Its page may have been left meanwhile.
void OnboardingWindowController::leave(MissingPermission permission)
{
    if (!isFinished() && currentStep() == OnboardingStep::forPermission(permission))
        advance();
}

void OnboardingWindowController::advance()
{
    pollTimer_->stop();
    if (currentIndex_ + 1 < steps_.size()) {
        ++currentIndex_;
        showCurrentStep();
    } else {
        finish();
    }
}

void OnboardingWindowController::finish()
{
    currentIndex_ = static_cast<int>(steps_.size());
    close();
    // It may destroy the controller, and what is being called with it.
    if (const auto onComplete = collaborators_.onComplete)
        onComplete();
}

void OnboardingWindowController::updateHotkey()
{
    if (!isFinished() && currentStep() == OnboardingStep::complete())
        showCurrentStep();
}

void OnboardingWindowController::updatePermissions(const QList<MissingPermission>& missing)
{
    if (isFinished())
        return;
    QList<OnboardingStep> steps;
    if (steps_.constFirst() == OnboardingStep::welcome())
        steps.append(OnboardingStep::welcome());
    for (const MissingPermission permission : missing)
        steps.append(OnboardingStep::forPermission(permission));
    if (steps_.constLast() == OnboardingStep::complete())
        steps.append(OnboardingStep::complete());
    if (steps == steps_)
        return;
    if (steps.isEmpty()) {
        finish();
        return;
    }
    const OnboardingStep shown = currentStep();
    const auto kept = steps.indexOf(shown);
    steps_ = std::move(steps);
    currentIndex_ =
        static_cast<int>(kept >= 0 ? kept : std::min<qsizetype>(currentIndex_, steps_.size() - 1));
    showCurrentStep();
}

} // namespace velmo
