#include "app/VelmoApp.h"

#include "app/AppDelegate.h"
#include "app/DesktopServices.h"
#include "app/QuitSignals.h"
#include "app/Services.h"
#include "core/Console.h"
#include "core/Identity.h"

#include <QApplication>
#include <cstdio>
#include <unistd.h>

namespace velmo {

namespace {

/// The X11 backend is the only one yet; under a Wayland session the toolkit would otherwise choose its own.
constexpr const char* kToolkitPlatform = "xcb";

} // namespace

ExitCode runVelmoApp(int argc, char** argv, StartMode mode)
{
    if (const auto obstacle = DesktopServices::obstacle()) {
        std::fputs(("velmo: " + obstacle->toLocal8Bit() + '\n').constData(), stderr);
        return ExitCode::Failed;
    }
    qputenv("QT_QPA_PLATFORM", kToolkitPlatform);
    QGuiApplication::setHighDpiScaleFactorRoundingPolicy(Qt::HighDpiScaleFactorRoundingPolicy::PassThrough);
    QApplication application(argc, argv);
    QApplication::setApplicationName(applicationIdentifier());
    // No display name: the toolkit would add it to the title of every window.
    QApplication::setApplicationVersion(QStringLiteral(VELMO_VERSION));
    QApplication::setDesktopFileName(applicationIdentifier());
    QApplication::setQuitOnLastWindowClosed(false);

    Services services(Services::Waiting::Interface);
    DesktopServices desktop = DesktopServices::create();
    AppDelegate delegate(SettingsManager::shared(), desktop,
                         [&services]() -> HttpClient& { return *services.http(); });
    const QuitSignals signals([&delegate] { delegate.terminate(); });
    delegate.setPrintsPassedKeys(mode == StartMode::Interactive && !Console::isRecord(STDOUT_FILENO));
    delegate.applicationDidFinishLaunching(services.defaults());
    return static_cast<ExitCode>(QApplication::exec());
}

} // namespace velmo
