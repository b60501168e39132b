#pragma once

#include "permissions/OnboardingStep.h"
#include "platform/Permissions.h"
#include "platform/WindowSurfaces.h"

#include <QObject>
#include <QTimer>
#include <functional>
#include <memory>

class QWidget;

namespace velmo {

class OnboardingStepContentView;

/// The window of the first run, which leads through what the program needs, one page at a time. A page about
/// a permission is left by itself once the permission is there. Main thread.
class OnboardingWindowController final : public QObject {
public:
    struct Collaborators {
        Permissions& permissions; ///< Outlives the controller, as do the windows.
        WindowSurfaces& windows;
        /// The hotkey as people read it. Asked for when the last page is shown; empty where it has no name.
        std::function<QString()> hotkey;
        /// Asked for with it: why it does not work, in a sentence; empty: it works.
        std::function<QString()> hotkeyProblem{};
        /// Called once the last page is left, after the window has closed. It may destroy the controller.
        std::function<void()> onComplete;
        /// Called when the user has closed the window before that.
        std::function<void()> onClosed{};
    };

    /// There is at least one step.
    OnboardingWindowController(QList<OnboardingStep> steps, Collaborators collaborators);
    ~OnboardingWindowController() override;

    /// In front of others, and with the keyboard.
    void showWindow();
    /// Makes the pages those of what is missing now. The page that is shown stays, if it is still among them.
    void updatePermissions(const QList<MissingPermission>& missing);
    /// What the last page says of the hotkey is true no longer.
    void updateHotkey();
    /// Nothing is completed by it, as by the user closing the window; it can be shown again.
    void close();

    [[nodiscard]] const QList<OnboardingStep>& steps() const { return steps_; }
    /// As many as there are steps once the last one is left.
    [[nodiscard]] int currentIndex() const { return currentIndex_; }
    /// It looks for the permission whose page is shown.
    [[nodiscard]] bool isPolling() const { return pollTimer_->isActive(); }
    /// Null before it is first shown.
    [[nodiscard]] QWidget* window() const;
    [[nodiscard]] OnboardingStepContentView* contentView() const { return contentView_; }

private:
    class Window;
    struct DeleteLater {
        void operator()(Window* window) const;
    };

    [[nodiscard]] bool isFinished() const { return currentIndex_ >= steps_.size(); }
    [[nodiscard]] const OnboardingStep& currentStep() const { return steps_.at(currentIndex_); }
    void showCurrentStep();
    void startPolling();
    void checkCurrentPermission();
    void handlePrimary();
    void openSettings(MissingPermission permission);
    void leave(MissingPermission permission);
    void advance();
    void handleClose();
    void finish();

    QList<OnboardingStep> steps_;
    int currentIndex_ = 0;
    Collaborators collaborators_;
    bool isClosing_ = false; ///< By the program itself.
    QTimer* pollTimer_;
    Subscription microphone_;
    std::unique_ptr<Window, DeleteLater> window_; ///< Its own buttons may destroy the controller.
    OnboardingStepContentView* contentView_ = nullptr;
};

} // namespace velmo
