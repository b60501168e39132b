#pragma once

#include "app/AppDelegate.h"
#include "fakes/FakeAudioRecorder.h"
#include "fakes/FakeDisplayCapture.h"
#include "fakes/FakeEventTap.h"
#include "fakes/FakeFocus.h"
#include "fakes/FakeKeyReader.h"
#include "fakes/FakeKeychain.h"
#include "fakes/FakePermissions.h"
#include "fakes/FakeScreens.h"
#include "fakes/FakeTrayPresence.h"
#include "fakes/FakeWindowSurfaces.h"
#include "fakes/InMemoryDefaults.h"
#include "permissions/OnboardingStepContentView.h"
#include "support/core/EventLoop.h"
#include "support/core/FakeSeconds.h"
#include "support/core/LogLines.h"
#include "support/providers/ScriptedHttpClient.h"

#include <QGuiApplication>
#include <QLabel>
#include <QScreen>
#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace velmo {

/// The program's delegate on a desktop that a test makes up. Its user has been through the first start, and
/// nothing is missing.
class LifecycleTest : public testing::Test {
protected:
    LifecycleTest()
    {
        settings->hasCompletedOnboarding.set(true);
        auto screens = std::make_unique<FakeScreens>();
        screens->screens = {
            FakeScreens::screen(QGuiApplication::primaryScreen()->name(), 1, {0, 0, 800, 800})};
        screens->mainScreen = screens->screens.front();
        desktop.screens = std::move(screens);
        desktop.eventTap = own(tap);
        desktop.displayCapture = own(capture);
        capture->addDisplay(1, {800, 800}, QImage(800, 800, QImage::Format_RGB32));
        desktop.windowFocus = std::make_unique<FakeFocus>();
        desktop.windowSurfaces = own(windows);
        desktop.permissions = own(permissions);
        desktop.audioRecorders = std::make_unique<FakeAudioRecorders>();
        desktop.keyReader = std::make_unique<FakeKeyReader>();
        auto bar = std::make_unique<FakeTrayPresence>(TrayPresence::State::Unknown);
        tray = bar.get();
        desktop.trays.push_back(std::move(bar));
        desktop.takeDiagnostics = [] { return QStringList(); };
        permissions->accessibility = true;
        permissions->screenRecording = true;
        permissions->microphone = MicrophoneStatus::Authorized;
    }

    void launch(const LaunchOptions& options = {})
    {
        delegate = std::make_unique<AppDelegate>(settings, desktop, [this]() -> HttpClient& { return http; });
        delegate->applicationDidFinishLaunching(defaults, options);
    }

    /// For whoever looks at the permissions.
    void passSecond()
    {
        seconds.pass(delegate->permissionMonitor());
        if (onboarding() != nullptr)
            seconds.pass(*onboarding()->findChild<QTimer*>(QStringLiteral("pollTimer")));
        settle();
    }

    [[nodiscard]] QWidget* settingsWindow() const { return delegate->menuBarController()->settingsWindow(); }
    [[nodiscard]] OnboardingWindowController* onboarding() const { return delegate->onboardingController(); }
    [[nodiscard]] OnboardingStep shown() const
    {
        return onboarding()->steps().at(onboarding()->currentIndex());
    }
    void primary() const { onboarding()->contentView()->primaryButton().click(); }
    [[nodiscard]] SessionState state() const { return delegate->session().state().value(); }

    /// Of the labels in the settings window.
    [[nodiscard]] QStringList shownTexts() const
    {
        QStringList texts;
        for (const QWidget* widget : settingsWindow()->findChildren<QWidget*>()) {
            if (widget->isVisible())
                texts.append(widget->accessibleName());
        }
        for (const QLabel* label : settingsWindow()->findChildren<QLabel*>()) {
            if (label->isVisible())
                texts.append(label->text());
        }
        return texts;
    }

    FakeSeconds seconds;
    LogLines log;
    QTemporaryDir folder;
    JsonFileDefaults defaults{folder.filePath(QStringLiteral("settings.json"))};
    std::shared_ptr<FakeKeychain> keychain = std::make_shared<FakeKeychain>();
    std::shared_ptr<SettingsManager> settings =
        std::make_shared<SettingsManager>(std::make_shared<InMemoryDefaults>(), keychain);
    HttpScript script;
    ScriptedHttpClient http{script};
    FakeEventTap* tap = nullptr;
    FakePermissions* permissions = nullptr;
    FakeDisplayCapture* capture = nullptr;
    FakeWindowSurfaces* windows = nullptr;
    FakeTrayPresence* tray = nullptr;
    DesktopServices desktop;
    std::unique_ptr<AppDelegate> delegate;

private:
    template <typename Fake>
    static std::unique_ptr<Fake> own(Fake*& pointer)
    {
        auto fake = std::make_unique<Fake>();
        pointer = fake.get();
        return fake;
    }
};

} // namespace velmo
