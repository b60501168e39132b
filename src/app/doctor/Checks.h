#pragma once

#include "app/ProgramStatus.h"
#include "app/doctor/Finding.h"
#include "core/Clock.h"
#include "core/Result.h"
#include "core/SettingsManager.h"
#include "platform/ApplicationInstance.h"
#include "platform/EventTap.h"
#include "platform/PlatformError.h"
#include "platform/Screens.h"
#include "platform/linux/BusSurvey.h"
#include "platform/x11/X11Survey.h"

#include <functional>
#include <optional>

namespace velmo::Doctor {

/// What was found out, judged. Plain functions; where a probe did not end in time it is nothing.

/// Which desktop this process is part of, by its environment.
struct SessionKind {
    QString type;           ///< "x11", "wayland", or "none".
    bool hasX = false;      ///< Also an X server beside a Wayland session.
    QStringList desktops{}; ///< XDG_CURRENT_DESKTOP.

    [[nodiscard]] static SessionKind fromEnvironment();
};

/// The program that runs already, and what it says of itself.
struct RunningProgram {
    RemoteOutcome outcome;
    [[nodiscard]] bool isRunning() const { return outcome.kind == RemoteOutcome::Kind::Answered; }
    [[nodiscard]] bool isHanging() const { return outcome.kind == RemoteOutcome::Kind::Silent; }
    [[nodiscard]] ProgramStatus status() const;
    /// It is about to start or to end, or lets go of the gestures to take others.
    [[nodiscard]] bool isUnsettled() const;

    /// Asks it, and again for a while if it is unsettled. Waits until the end at most, beside what asking
    /// takes.
    [[nodiscard]] static RunningProgram ask(const std::function<RemoteOutcome()>& deliver,
                                            Clock::TimePoint end);
};

[[nodiscard]] Findings program(const RunningProgram& running, const QString& version);
[[nodiscard]] Findings session(const SessionKind& kind);
/// Window manager, compositor, and screens, unless these could not be had in time.
[[nodiscard]] Findings display(const QString& name, const std::optional<X11Survey>& survey,
                               const std::optional<std::vector<Screen>>& screens,
                               const std::optional<Screen>& main);
/// What cannot be looked at without a display that answers; where there is an X server, that is one of the
/// findings about it.
[[nodiscard]] Findings withoutDisplay(const SessionKind& kind);
/// One that hangs holds the gestures.
[[nodiscard]] Findings gesturesOfHanging();
[[nodiscard]] Findings gestures(const QString& missingExtension,
                                const std::optional<EventTap::StartReport>& tap, bool isRunning);
[[nodiscard]] Findings capture(const std::optional<X11CaptureSurvey>& survey);
[[nodiscard]] Findings tray(const std::optional<X11Survey>& display, const std::optional<BusSurvey>& bus);
[[nodiscard]] Findings portals(const std::optional<BusSurvey>& bus, const SessionKind& kind);
[[nodiscard]] Findings microphone(const std::optional<Result<QString, PlatformError>>& microphone);
/// The keyring, and where each key comes from for a Velmo with that environment.
[[nodiscard]] Findings keys(const SettingsManager& settings, Keychain& keychain,
                            const ServiceEnvironment& environment = ServiceEnvironment::own());
[[nodiscard]] Findings endpoints(const SettingsManager& settings,
                                 const ServiceEnvironment& environment = ServiceEnvironment::own());
/// In what the one that runs has another environment than a start from here would have.
[[nodiscard]] Findings differences(const ServiceEnvironment& here, const ServiceEnvironment& running);
/// problem says why the file cannot be understood, if so.
[[nodiscard]] Findings settingsFile(const QString& path, const QString& problem);
[[nodiscard]] Findings log(const QString& path);

} // namespace velmo::Doctor
