#include "app/doctor/DoctorCommand.h"

#include "app/Services.h"
#include "app/doctor/Checks.h"
#include "app/doctor/Probe.h"
#include "app/doctor/Report.h"
#include "app/doctor/SeenKeychain.h"
#include "app/doctor/Watchdog.h"
#include "core/DebugLog.h"
#include "core/Identity.h"
#include "platform/linux/BusConnection.h"
#include "platform/linux/JsonFileDefaults.h"
#include "platform/linux/LinuxApplicationInstance.h"
#include "platform/linux/MicrophoneSurvey.h"
#include "platform/x11/X11Screens.h"

#include <QGuiApplication>
#include <algorithm>
#include <unistd.h>
#include <utility>

namespace velmo {

namespace {

/// For everything that is asked at the same time, and for the parts of it that end by themselves.
constexpr std::chrono::milliseconds kPatience{3500};
constexpr std::chrono::milliseconds kPartPatience{1500};
/// For what can be asked only once something else is known.
constexpr std::chrono::milliseconds kWholePatience{4200};
/// For the screens, whatever the rest has taken.
constexpr std::chrono::milliseconds kToolkitPatience{500};

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

/// What was found out.
struct Seen {
    Doctor::SessionKind kind;
    JsonFileDefaults::Content file;
    std::shared_ptr<Keychain> keychain{};
    Doctor::RunningProgram running{};
    std::optional<X11Survey> display{};
    std::optional<EventTap::StartReport> tap{};
    std::optional<X11CaptureSurvey> capture{};
    std::optional<BusSurvey> bus{};
    std::optional<Result<QString, PlatformError>> microphone{};

    [[nodiscard]] bool hasDisplay() const { return display && display->isReachable; }
    [[nodiscard]] SettingsManager settings() const
    {
        return {std::make_shared<SeenDefaults>(file.values), keychain};
    }
};

/// All but the screens.
Seen look(Clock::TimePoint begin)
{
    const auto end = begin + kPatience;
    Seen seen{.kind = Doctor::SessionKind::fromEnvironment(), .file = JsonFileDefaults::look()};
    const std::string busAddress = BusConnection::sessionAddress();

    Probe<SeenKeychain> keyringProbe([] {
        return SeenKeychain(*Services::makeKeychain(Services::Waiting::Survey), applicationIdentifier());
    });
    Probe<BusSurvey> busProbe([busAddress] { return BusSurvey::take(busAddress, kPartPatience); });
    Probe<Result<QString, PlatformError>> microphoneProbe([] { return surveyMicrophone(kPartPatience); });
    Probe<Doctor::RunningProgram> programProbe([end] {
        const auto deliver = [] { return LinuxApplicationInstance().deliver(RemoteVerb::Status); };
        return Doctor::RunningProgram::ask(deliver, end - kPartPatience);
    });
    Probe<X11Survey> displayProbe([hasX = seen.kind.hasX] { return hasX ? X11Survey::take() : X11Survey{}; });

    seen.display = displayProbe.resultUntil(end);
    std::optional<Probe<X11CaptureSurvey>> captureProbe;
    if (seen.hasDisplay())
        captureProbe.emplace(X11CaptureSurvey::take);
    seen.running =
        programProbe.resultUntil(end).value_or(Doctor::RunningProgram{{.kind = RemoteOutcome::Kind::Silent}});
    std::optional<Probe<EventTap::StartReport>> tapProbe;
    if (seen.hasDisplay() && !seen.running.isRunning() && !seen.running.isHanging()) {
        const SettingsManager settings(std::make_shared<SeenDefaults>(seen.file.values),
                                       std::make_shared<SeenKeychain>());
        tapProbe.emplace([interest = interestOf(settings)] { return tryTap(interest); });
    }
    seen.keychain = std::make_shared<SeenKeychain>(keyringProbe.resultUntil(end).value_or(SeenKeychain()));
    seen.bus = busProbe.resultUntil(end);
    seen.microphone = microphoneProbe.resultUntil(end);
    if (tapProbe)
        seen.tap = tapProbe->resultUntil(begin + kWholePatience);
    else if (seen.running.isRunning())
        seen.tap = seen.running.status().tap;
    if (captureProbe)
        seen.capture = captureProbe->resultUntil(begin + kWholePatience);
    return seen;
}

Findings judge(const Seen& seen, const std::optional<ScreenSurvey>& screens)
{
    const Doctor::RunningProgram& running = seen.running;
    const ServiceEnvironment here = ServiceEnvironment::own();
    // What counts is what the one that runs has.
    const ServiceEnvironment environment = running.status().environment.value_or(here);

    Findings findings = Doctor::program(running, QStringLiteral(VELMO_VERSION));
    append(findings, Doctor::session(seen.kind));
    if (seen.kind.hasX) {
        append(findings, Doctor::display(qEnvironmentVariable("DISPLAY"), seen.display,
                                         screens ? std::optional(screens->all) : std::nullopt,
                                         screens ? screens->main : std::nullopt));
    }
    if (seen.hasDisplay()) {
        append(findings, running.isHanging() ? Doctor::gesturesOfHanging()
                                             : Doctor::gestures(seen.display->missingExtension, seen.tap,
                                                                running.isRunning()));
        append(findings, Doctor::capture(seen.capture));
    } else {
        append(findings, Doctor::withoutDisplay(seen.kind));
    }
    append(findings, Doctor::tray(seen.display, seen.bus));
    append(findings, Doctor::keys(seen.settings(), *seen.keychain, environment));
    append(findings, Doctor::microphone(seen.microphone));
    append(findings, Doctor::portals(seen.bus, seen.kind));
    append(findings, Doctor::endpoints(seen.settings(), environment));
    append(findings, Doctor::differences(here, environment));
    append(findings, Doctor::settingsFile(JsonFileDefaults::standardPath(), seen.file.problem));
    append(findings, Doctor::log(DebugLog::logFile()));
    return findings;
}

ExitCode print(const Findings& findings, DoctorFormat format)
{
    const bool isPrinted =
        printText(format == DoctorFormat::Json ? reportAsJson(findings, QStringLiteral(VELMO_VERSION))
                                               : reportAsText(findings));
    return isPrinted && canWork(findings) ? ExitCode::Done : ExitCode::Failed;
}

} // namespace

ExitCode runDoctorCommand(int argc, char** argv, DoctorFormat format)
{
    const auto begin = Clock::now();
    const Seen seen = look(begin);
    std::optional<ScreenSurvey> screens;
    if (seen.hasDisplay()) {
        const auto end = std::max(begin + kWholePatience, Clock::now() + kToolkitPatience);
        // The toolkit has to be asked here, and would wait for a display without an end.
        const Watchdog watchdog(
            end, [&seen, format] { _exit(static_cast<int>(print(judge(seen, std::nullopt), format))); });
        screens = ScreenSurvey::take(argc, argv);
    }
    return print(judge(seen, screens), format);
}

} // namespace velmo
