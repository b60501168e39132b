#include "updates/UpdateController.h"

#include "core/DebugLog.h"
#include "updates/UpdateText.h"
#include "updates/UpdateWindow.h"
#include "widgets/DialogWindow.h"

#include <utility>

namespace velmo {

UpdateController::UpdateController(UpdateSource source, QVersionNumber current,
                                   UpdateCollaborators collaborators)
    : source_(std::move(source))
    , current_(std::move(current))
    , collaborators_(std::move(collaborators))
{}

UpdateController::~UpdateController() = default;

QWidget* UpdateController::window() const
{
    return window_.get();
}

void UpdateController::checkForUpdates()
{
    if (!window_) {
        window_ = std::make_unique<UpdateWindow>();
        window_->onClosed = [this] {
            check_.cancel();
            check_ = {};
        };
        window_->onOpenPage = collaborators_.openAddress;
    }
    if (!check_.isValid() || check_.isFinished()) {
        // What was found an hour ago may have changed.
        window_->showChecking();
        check_ = tasks_.start(check());
    }
    DialogWindow::bringToFront(*window_, collaborators_.windows);
}

async::Task<> UpdateController::check()
{
    const UpdateOutcome outcome = co_await checkForUpdate(source_, current_, collaborators_.http());
    const QString packageManager = co_await collaborators_.findPackageManager();
    const UpdateMessage message = describe(outcome, source_, current_, packageManager);
    DebugLog::log(QStringLiteral("Update"), message.title + QStringLiteral(": ") + message.text);
    window_->showMessage(message, outcome.page);
}

} // namespace velmo
