#include "app/VelmoApp.h"

#include "app/AppDelegate.h"
#include "app/ApplicationScheme.h"
#include "app/DesktopServices.h"
#include "app/ProgramStatus.h"
#include "app/QuitSignals.h"
#include "app/RemoteCommand.h"
#include "app/RemoteControl.h"
#include "app/Services.h"
#include "core/Console.h"
#include "core/Identity.h"
#include "platform/linux/LinuxApplicationInstance.h"

#include <QApplication>
#include <QSessionManager>
#include <cstdio>
#include <unistd.h>

namespace velmo {

namespace {

/// The X11 backend is the only one yet; under a Wayland session the toolkit would otherwise choose its own.
constexpr const char* kToolkitPlatform = "xcb";

/// What the one that runs is asked; nothing if it is only to be there.
std::optional<RemoteVerb> requestOf(const StartArguments& start)
{
    if (start.mode == StartMode::Background)
        return std::nullopt;
    return start.wish == StartWish::Annotate ? RemoteVerb::Annotate : RemoteVerb::Settings;
}

RemoteOutcome findPlace(ApplicationInstance& instance, std::optional<RemoteVerb> request)
{
    // Without a display there is nothing to be on, but another start may have one.
    if (qEnvironmentVariableIsEmpty("DISPLAY"))
        return instance.deliver(request.value_or(RemoteVerb::Ping));
    return instance.claim(request);
}

/// Everything goes, not only the picture that is being added: nobody is in front of it to press again.
void cancelSession(AnnotationSession& session)
{
    if (session.state().value() == SessionState::Idle)
        session.cancel();
    else
        session.end();
}

RemoteActions remoteActions(AppDelegate& delegate, DesktopServices& desktop)
{
    return {
        .annotate = [&delegate] { delegate.requestAnnotation(); },
        .openSettings = [&delegate] { delegate.applicationShouldHandleReopen(); },
        .cancel = [&delegate] { cancelSession(delegate.session()); },
        .quit = [&delegate] { delegate.terminate(); },
        .isEnding = [&delegate] { return delegate.isTerminating(); },
        .status =
            [&desktop] {
                return ProgramStatus{.tap = desktop.eventTap->report(),
                                     .environment = ServiceEnvironment::own()}
                    .toJson();
            },
    };
}

} // namespace

ExitCode runVelmoApp(int argc, char** argv, const StartArguments& start)
{
    // Before everything that takes time, and kept until nothing runs any more.
    LinuxApplicationInstance instance;
    const RemoteOutcome place = findPlace(instance, requestOf(start));
    if (place.kind == RemoteOutcome::Kind::Answered || place.kind == RemoteOutcome::Kind::Silent)
        return explain(place);
    if (const auto obstacle = DesktopServices::obstacle()) {
        std::fputs(("velmo: " + obstacle->toLocal8Bit() + '\n').constData(), stderr);
        return ExitCode::Failed;
    }
    const QByteArray chosenPlatform = qgetenv("QT_QPA_PLATFORM");
    qputenv("QT_QPA_PLATFORM", kToolkitPlatform);
    QGuiApplication::setHighDpiScaleFactorRoundingPolicy(Qt::HighDpiScaleFactorRoundingPolicy::PassThrough);
    QApplication application(argc, argv);
    // Programs that are started from here have a choice of their own.
    if (chosenPlatform.isEmpty())
        qunsetenv("QT_QPA_PLATFORM");
    else
        qputenv("QT_QPA_PLATFORM", chosenPlatform);
    // A session that is restored starts it by its autostart entry, not by what the toolkit would note down.
    QObject::connect(
        &application, &QGuiApplication::saveStateRequest, &application,
        [](QSessionManager& session) { session.setRestartHint(QSessionManager::RestartNever); },
        Qt::DirectConnection);
    QApplication::setApplicationName(applicationIdentifier());
    // No display name: the toolkit would add it to the title of every window.
    QApplication::setApplicationVersion(QStringLiteral(VELMO_VERSION));
    QApplication::setDesktopFileName(applicationIdentifier());
    QApplication::setQuitOnLastWindowClosed(false);

    Services services(Services::Waiting::Interface);
    DesktopServices desktop = DesktopServices::create();
    const ApplicationScheme scheme(*desktop.colorScheme);
    AppDelegate delegate(SettingsManager::shared(), desktop,
                         [&services]() -> HttpClient& { return *services.http(); });
    const QuitSignals signals([&delegate] { delegate.terminate(); });
    const bool isInteractive = start.mode == StartMode::Interactive;
    delegate.applicationDidFinishLaunching(
        services.defaults(), {.printsPassedKeys = isInteractive && !Console::isRecord(STDOUT_FILENO),
                              .opensSettingsWithoutTray = isInteractive && start.wish == StartWish::None});
    RemoteControl remoteControl(instance, remoteActions(delegate, desktop));
    if (start.wish != StartWish::None)
        remoteControl.perform(*requestOf(start));
    return static_cast<ExitCode>(QApplication::exec());
}

} // namespace velmo
