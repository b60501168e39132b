#include "app/doctor/DoctorCommand.h"

#include "app/Services.h"
#include "app/doctor/Checks.h"
#include "app/doctor/Probe.h"
#include "app/doctor/Report.h"
#include "app/doctor/SeenKeychain.h"
#include "core/DebugLog.h"
#include "core/Identity.h"
#include "platform/linux/BusConnection.h"
#include "platform/linux/JsonFileDefaults.h"
#include "platform/linux/LinuxApplicationInstance.h"
#include "platform/linux/MicrophoneSurvey.h"
#include "platform/x11/X11Screens.h"

#include <QGuiApplication>
#include <cstdio>
#include <utility>

namespace velmo {

namespace {

/// For everything that is asked at the same time, and for the parts of it that end by themselves.
constexpr std::chrono::milliseconds kPatience{3500};
constexpr std::chrono::milliseconds kPartPatience{1500};

/// The settings as they are; what would be written is not.
class SeenDefaults final : public UserDefaults {
public:
    explicit SeenDefaults(QJsonObject values)
        : values_(std::move(values))
    {}
    [[nodiscard]] QJsonValue object(const QString& key) const override { return values_.value(key); }
    void setObject(const QString& key, const QJsonValue& value) override { values_.insert(key, value); }

private:
    QJsonObject values_;
};

TapInterest interestOf(const SettingsManager& settings)
{
    return {.hotkeyKeyCode = static_cast<int>(settings.hotkeyKeyCode.value()),
            .hotkeyModifiers = static_cast<quint64>(settings.hotkeyModifiers.value()),
            .quickDrawModifiers = static_cast<quint64>(settings.quickDrawModifiers.value()),
            .middleButton = settings.quickDrawMiddleMouseEnabled.value()};
}

/// What only the toolkit knows. It looks for a bus of its own, and would wait for one that hangs.
struct ScreenSurvey {
    std::vector<Screen> all;
    std::optional<Screen> main;

    static ScreenSurvey take(int argc, char** argv)
    {
        qputenv("QT_QPA_PLATFORM", "xcb");
        qputenv("DBUS_SESSION_BUS_ADDRESS", "disabled:");
        QGuiApplication::setHighDpiScaleFactorRoundingPolicy(
            Qt::HighDpiScaleFactorRoundingPolicy::PassThrough);
        const QGuiApplication application(argc, argv);
        const X11Screens screens;
        return {screens.all(), screens.main()};
    }
};

void append(Findings& all, Findings more)
{
    all.insert(all.end(), std::make_move_iterator(more.begin()), std::make_move_iterator(more.end()));
}

struct DisplayProbe {
    X11Survey survey;
    EventTap::StartReport tap;
};

Findings examine(int argc, char** argv)
{
    const auto end = Clock::now() + kPatience;
    const auto kind = Doctor::SessionKind::fromEnvironment();
    const std::string busAddress = BusConnection::sessionAddress();

    const auto file = JsonFileDefaults::look();
    Probe<SeenKeychain> keyringProbe([] {
        return SeenKeychain(*Services::makeKeychain(Services::Waiting::Survey), applicationIdentifier());
    });
    Probe<BusSurvey> busProbe([busAddress] { return BusSurvey::take(busAddress, kPartPatience); });
    Probe<Result<QString, PlatformError>> microphoneProbe([] { return surveyMicrophone(kPartPatience); });
    Probe<Doctor::RunningProgram> programProbe([end] {
        const auto deliver = [] { return LinuxApplicationInstance().deliver(RemoteVerb::Status); };
        return Doctor::RunningProgram::ask(deliver, end - kPartPatience);
    });
    Probe<X11Survey> displayProbe([hasX = kind.hasX] { return hasX ? X11Survey::take() : X11Survey{}; });

    const auto keychain =
        std::make_shared<SeenKeychain>(keyringProbe.resultUntil(end).value_or(SeenKeychain()));
    const SettingsManager settings(std::make_shared<SeenDefaults>(file.values), keychain);
    const auto running =
        programProbe.resultUntil(end).value_or(Doctor::RunningProgram{{.kind = RemoteOutcome::Kind::Silent}});
    const auto display = displayProbe.resultUntil(end);
    const bool hasDisplay = display && display->isReachable;
    std::optional<EventTap::StartReport> tap;
    if (running.isRunning()) {
        tap = running.status().tap;
    } else if (hasDisplay && !running.isHanging()) {
        Probe<EventTap::StartReport> tapProbe([interest = interestOf(settings)] { return tryTap(interest); });
        tap = tapProbe.resultUntil(end + kPartPatience);
    }
    const auto bus = busProbe.resultUntil(end);
    const auto microphone = microphoneProbe.resultUntil(end);

    const ServiceEnvironment here = ServiceEnvironment::own();
    // What counts is what the one that runs has.
    const ServiceEnvironment environment = running.status().environment.value_or(here);

    Findings findings = Doctor::program(running, QStringLiteral(VELMO_VERSION));
    append(findings, Doctor::session(kind));
    if (kind.hasX) {
        const ScreenSurvey screens = hasDisplay ? ScreenSurvey::take(argc, argv) : ScreenSurvey{};
        append(findings,
               Doctor::display(qEnvironmentVariable("DISPLAY"), display, screens.all, screens.main));
    }
    if (hasDisplay) {
        append(findings, running.isHanging()
                             ? Doctor::gesturesOfHanging()
                             : Doctor::gestures(display->missingExtension, tap, running.isRunning()));
        append(findings, Doctor::capture(*display));
    } else {
        append(findings, Doctor::withoutDisplay(kind));
    }
    append(findings, Doctor::tray(display, bus));
    append(findings, Doctor::keys(settings, *keychain, environment));
    append(findings, Doctor::microphone(microphone));
    append(findings, Doctor::portals(bus, kind));
    append(findings, Doctor::endpoints(environment));
    append(findings, Doctor::differences(here, environment));
    append(findings, Doctor::settingsFile(JsonFileDefaults::standardPath(), file.problem));
    append(findings, Doctor::log(DebugLog::logFile()));
    return findings;
}

} // namespace

ExitCode runDoctorCommand(int argc, char** argv, DoctorFormat format)
{
    const Findings findings = examine(argc, argv);
    const QByteArray report =
        (format == DoctorFormat::Json ? reportAsJson(findings, QStringLiteral(VELMO_VERSION))
                                      : reportAsText(findings))
            .toUtf8();
    if (std::fputs(report.constData(), stdout) < 0 || std::fflush(stdout) != 0)
        return ExitCode::Failed;
    return canWork(findings) ? ExitCode::Done : ExitCode::Failed;
}

} // namespace velmo
