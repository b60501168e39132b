#pragma once

#include "fakes/FakePermissions.h"
#include "fakes/FakeWindowSurfaces.h"
#include "permissions/OnboardingStepContentView.h"
#include "permissions/OnboardingWindowController.h"
#include "support/core/EventLoop.h"
#include "support/core/FakeSeconds.h"
#include "support/core/Printing.h"

#include <gmock/gmock.h>

namespace velmo {

/// "welcome, accessibility, complete".
[[nodiscard]] inline std::string names(const QList<OnboardingStep>& steps)
{
    QStringList result;
    for (const OnboardingStep& step : steps) {
        switch (step.kind()) {
        case OnboardingStep::Kind::Welcome:
            result.append(QStringLiteral("welcome"));
            break;
        case OnboardingStep::Kind::Permission:
            result.append(rawValue(step.permission()));
            break;
        case OnboardingStep::Kind::Complete:
            result.append(QStringLiteral("complete"));
            break;
        }
    }
    return result.join(QStringLiteral(", ")).toStdString();
}

/// The window of the first run with a desktop that does as the test says.
class OnboardingTest : public testing::Test {
protected:
    ~OnboardingTest() override
    {
        controller.reset();
        settle();
    }

    void open(QList<OnboardingStep> steps)
    {
        controller = std::make_unique<OnboardingWindowController>(
            std::move(steps),
            OnboardingWindowController::Collaborators{permissions, windows, [this] { return hotkey; },
                                                      [this] { return hotkeyProblem; },
                                                      [this] {
                                                          ++completions;
                                                          if (dropsWhenComplete)
                                                              controller.reset();
                                                      }});
        controller->showWindow();
    }
    /// The page of that index, by its name.
    void open(QList<OnboardingStep> steps, int index)
    {
        open(std::move(steps));
        while (controller->currentIndex() < index)
            view().onSkip();
    }

    [[nodiscard]] OnboardingStepContentView& view() const { return *controller->contentView(); }
    [[nodiscard]] std::string title() const { return view().titleLabel().text().toStdString(); }
    [[nodiscard]] std::string shown() const
    {
        return names({controller->steps().at(controller->currentIndex())});
    }
    void press() const { view().primaryButton().click(); }
    void skip() const { view().secondaryButton().click(); }
    void passSecond() { seconds.pass(*controller->findChild<QTimer*>(QStringLiteral("pollTimer"))); }

    static constexpr auto kAccessibility = MissingPermission::Accessibility;
    static constexpr auto kScreen = MissingPermission::ScreenRecording;
    static constexpr auto kMicrophone = MissingPermission::Microphone;

    FakeSeconds seconds;
    FakePermissions permissions;
    FakeWindowSurfaces windows;
    QString hotkey = QStringLiteral("Ctrl + Alt + Space");
    QString hotkeyProblem;
    int completions = 0;
    bool dropsWhenComplete = false;
    std::unique_ptr<OnboardingWindowController> controller;
};

} // namespace velmo
