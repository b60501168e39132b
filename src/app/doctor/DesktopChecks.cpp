#include "app/doctor/Checks.h"

#include "core/CurrentDesktops.h"

#include <QJsonArray>
#include <thread>

namespace velmo::Doctor {

namespace {

using State = Finding::State;

const QString kSession = QStringLiteral("Session");
const QString kDesktop = QStringLiteral("Desktop");
const QString kWindows = QStringLiteral("Windows");
const QString kCompositor = QStringLiteral("Compositor");
const QString kDisplay = QStringLiteral("Display");
const QString kGestures = QStringLiteral("Gestures");
const QString kCapture = QStringLiteral("Capture");
const QString kTray = QStringLiteral("Tray");
const QString kProgram = QStringLiteral("Velmo");

QString sizeText(double width, double height)
{
    return QString::number(qRound(width)) + u'x' + QString::number(qRound(height));
}

Finding screenFinding(const Screen& screen, bool isMain)
{
    const PixelRect& area = screen.nativeFrame;
    return {.area = kDisplay,
            .text = screen.name + QStringLiteral(": ") + sizeText(area.width, area.height) +
                    QStringLiteral(" pixels at ") + QString::number(area.x) + u',' + QString::number(area.y) +
                    QStringLiteral(", scale ") + QString::number(screen.scale) +
                    (isMain ? QStringLiteral(" (main)") : QString()),
            .details = {{QStringLiteral("name"), screen.name},
                        {QStringLiteral("x"), area.x},
                        {QStringLiteral("y"), area.y},
                        {QStringLiteral("width"), area.width},
                        {QStringLiteral("height"), area.height},
                        {QStringLiteral("scale"), screen.scale},
                        {QStringLiteral("main"), isMain}}};
}

Finding silentDisplay(const QString& name)
{
    return {.area = kDisplay,
            .state = State::Broken,
            .text = name + QStringLiteral(" does not answer in time"),
            .advice = QStringLiteral("The X server hangs or is stopped; log in again if it stays so.")};
}

Finding notLookedAt(const QString& area, const QString& reason, const QString& advice)
{
    return {.area = area,
            .state = State::Limited,
            .text = QStringLiteral("not looked at: ") + reason,
            .advice = advice};
}

/// For tools, beside the sentence.
QJsonObject refusalDetails(const QString& problem)
{
    QJsonObject details{{QStringLiteral("started"), true}, {QStringLiteral("refused"), QJsonArray{problem}}};
    if (problem.endsWith(kHeldByAnother))
        details.insert(QStringLiteral("combination"), problem.chopped(kHeldByAnother.size()));
    return details;
}

QJsonObject startDetails(bool isStarted)
{
    return {{QStringLiteral("started"), isStarted}, {QStringLiteral("refused"), QJsonArray{}}};
}

QString adviceOnRefused(bool isHotkey)
{
    if (isHotkey)
        return QStringLiteral("Choose another hotkey with \"Change Hotkey...\" in the menu, or free the "
                              "combination in the other program. \"velmo annotate\" works all the same.");
    return QStringLiteral(
        "Choose other Quick Draw Modifiers, or switch the middle button off, in the settings "
        "(\"velmo settings\"); or free the combination in the other program.");
}

} // namespace

SessionKind SessionKind::fromEnvironment()
{
    SessionKind kind;
    kind.hasX = !qEnvironmentVariableIsEmpty("DISPLAY");
    kind.type = !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY") ? QStringLiteral("wayland")
                : kind.hasX                                     ? QStringLiteral("x11")
                                                                : QStringLiteral("none");
    kind.desktops = currentDesktops();
    return kind;
}

ProgramStatus RunningProgram::status() const
{
    return ProgramStatus::fromJson(outcome.reply.text);
}

bool RunningProgram::isUnsettled() const
{
    if (!isRunning())
        return false;
    const EventTap::StartReport report = status().tap;
    return !outcome.reply.isAccepted || (!report.started && report.problems.isEmpty());
}

RunningProgram RunningProgram::ask(const std::function<RemoteOutcome()>& deliver, Clock::TimePoint end)
{
    constexpr std::chrono::milliseconds kPause{100};
    RunningProgram running{deliver()};
    while (running.isUnsettled() && Clock::now() + kPause < end) {
        std::this_thread::sleep_for(kPause);
        running.outcome = deliver();
    }
    return running;
}

Findings program(const RunningProgram& running, const QString& version)
{
    Finding finding{.area = kProgram, .text = version};
    const QString process = QString::number(running.outcome.processID);
    if (running.isRunning()) {
        finding.text += QStringLiteral(", and it runs (process ") + process + u')';
    } else if (running.isHanging()) {
        finding.state = State::Broken;
        finding.text += QStringLiteral(", and one runs that does not answer");
        finding.advice = QStringLiteral("It hangs or is stopped.");
        if (running.outcome.processID > 0)
            finding.advice += QStringLiteral(" \"kill -9 ") + process +
                              QStringLiteral("\" ends it; then start Velmo again.");
    } else {
        finding.text += QStringLiteral(", and it does not run");
    }
    finding.details = {{QStringLiteral("version"), version},
                       {QStringLiteral("running"), running.isRunning()}};
    return {finding};
}

Findings session(const SessionKind& kind)
{
    Finding type{.area = kSession, .details = {{QStringLiteral("type"), kind.type}}};
    if (kind.type == QStringLiteral("x11")) {
        type.text = QStringLiteral("X11");
    } else if (kind.type == QStringLiteral("wayland")) {
        type.state = kind.hasX ? State::Limited : State::Broken;
        type.text = kind.hasX ? QStringLiteral("Wayland, with an X server: its screen cannot be read, and "
                                               "gestures reach X applications only")
                              : QStringLiteral("Wayland, without an X server");
        type.advice =
            QStringLiteral("This version runs on X11 desktops. Choose one when you log in, such as ") +
            QStringLiteral("\"Xorg\" behind the cogwheel.");
    } else {
        type.state = State::Broken;
        type.text = QStringLiteral("none: neither DISPLAY nor WAYLAND_DISPLAY is set");
        type.advice = QStringLiteral("Start Velmo inside of a desktop. \"velmo ask\" works without one.");
    }
    Finding desktop{.area = kDesktop,
                    .text = kind.desktops.isEmpty() ? QStringLiteral("not named (XDG_CURRENT_DESKTOP)")
                                                    : kind.desktops.join(QStringLiteral(", ")),
                    .details = {{QStringLiteral("names"), QJsonArray::fromStringList(kind.desktops)}}};
    return {type, desktop};
}

Findings display(const QString& name, const std::optional<X11Survey>& survey,
                 const std::optional<std::vector<Screen>>& screens, const std::optional<Screen>& main)
{
    if (!survey)
        return {silentDisplay(name)};
    if (!survey->isReachable)
        return {
            {.area = kDisplay,
             .state = State::Broken,
             .text = name + QStringLiteral(" cannot be reached"),
             .advice = QStringLiteral("See that DISPLAY names the desktop's X server and that you may use "
                                      "it (xauth, xhost).")}};
    Findings findings;
    findings.push_back(
        survey->windowManager.isEmpty()
            ? Finding{.area = kWindows,
                      .state = State::Limited,
                      .text = QStringLiteral("no window manager runs"),
                      .advice = QStringLiteral("Velmo works, but nobody moves windows or gives them the "
                                               "keyboard. Start one, such as openbox.")}
            : Finding{.area = kWindows,
                      .text = survey->windowManager,
                      .details = {{QStringLiteral("windowManager"), survey->windowManager}}});
    findings.push_back(
        {.area = kCompositor,
         .text = !survey->isComposited
                     ? QStringLiteral("none; the overlay shows a picture that follows the desktop")
                 : survey->compositor.isEmpty() ? QStringLiteral("one without a name")
                                                : survey->compositor,
         .details = {{QStringLiteral("running"), survey->isComposited}}});
    if (!screens) {
        findings.push_back(silentDisplay(name));
        return findings;
    }
    for (const Screen& screen : *screens)
        findings.push_back(screenFinding(screen, main && main->name == screen.name));
    if (screens->empty())
        findings.push_back({.area = kDisplay,
                            .state = State::Broken,
                            .text = QStringLiteral("no screen is connected"),
                            .advice = QStringLiteral("Connect one, or switch one on.")});
    return findings;
}

Findings withoutDisplay(const SessionKind& kind)
{
    const QString reason =
        kind.hasX ? QStringLiteral("the display does not answer") : QStringLiteral("there is no X server");
    const QString advice = kind.hasX ? QStringLiteral("See what is said of the display.")
                                     : QStringLiteral("See what is said of the session.");
    Findings findings;
    for (const QString& area : {kWindows, kCompositor, kDisplay, kGestures, kCapture}) {
        if (area != kDisplay || !kind.hasX)
            findings.push_back(notLookedAt(area, reason, advice));
    }
    return findings;
}

Findings gesturesOfHanging()
{
    return {notLookedAt(kGestures, QStringLiteral("the Velmo that does not answer holds them"),
                        QStringLiteral("See what is said of Velmo."))};
}

Findings gestures(const QString& missingExtension, const std::optional<EventTap::StartReport>& tap,
                  bool isRunning)
{
    if (!missingExtension.isEmpty())
        return {{.area = kGestures,
                 .state = State::Broken,
                 .text = missingExtension,
                 .advice = QStringLiteral("Use a newer X server, or one that has the extension switched on."),
                 .details = startDetails(false)}};
    const bool hasProblems = tap && !tap->problems.isEmpty();
    if (isRunning && tap && !tap->started && !hasProblems)
        return {{.area = kGestures,
                 .state = State::Limited,
                 .text = QStringLiteral("the Velmo that runs does not watch them yet"),
                 .advice = QStringLiteral("It does so as soon as it has started. If it stays so, start it "
                                          "again: \"velmo quit\", then \"velmo\"."),
                 .details = startDetails(false)}};
    if (!tap || !tap->started)
        return {{.area = kGestures,
                 .state = State::Broken,
                 .text = hasProblems ? tap->problems.join(u' ')
                                     : QStringLiteral("they could not be tried in time"),
                 .advice = isRunning ? QStringLiteral("Start Velmo again: \"velmo quit\", then \"velmo\".")
                                     : QStringLiteral("See what the X server's log says."),
                 .details = startDetails(false)}};
    Findings findings;
    for (const QString& problem : tap->problems)
        findings.push_back({.area = kGestures,
                            .state = State::Limited,
                            .text = problem,
                            .advice = adviceOnRefused(tap->hotkeyProblems.contains(problem)),
                            .details = refusalDetails(problem)});
    if (findings.empty())
        findings.push_back({.area = kGestures,
                            .text = isRunning ? QStringLiteral("held by the Velmo that runs")
                                              : QStringLiteral("all of them can be had"),
                            .details = startDetails(true)});
    return findings;
}

Findings capture(const std::optional<X11CaptureSurvey>& survey)
{
    if (!survey)
        return {{.area = kCapture,
                 .state = State::Broken,
                 .text = QStringLiteral("the screen could not be read in time"),
                 .advice = QStringLiteral("The X server hangs, or has too much to do. Try again when it is "
                                          "idle."),
                 .details = {{QStringLiteral("method"), QStringLiteral("none")}}}};
    if (!survey->isCaptured)
        return {{.area = kCapture,
                 .state = State::Broken,
                 .text = survey->problems.isEmpty() ? QStringLiteral("the screen cannot be read")
                                                    : survey->problems.join(u' '),
                 .advice = QStringLiteral("Velmo needs an X server whose screen can be read; one inside of a "
                                          "Wayland session is black."),
                 .details = {{QStringLiteral("method"), QStringLiteral("none")}}}};
    const QJsonObject details{{QStringLiteral("method"), survey->showsWindowsApart
                                                             ? QStringLiteral("windows")
                                                             : QStringLiteral("screen")},
                              {QStringLiteral("width"), survey->size.width()},
                              {QStringLiteral("height"), survey->size.height()},
                              {QStringLiteral("windows"), survey->windowCount}};
    if (!survey->problems.isEmpty())
        return {
            {.area = kCapture,
             .state = State::Limited,
             .text = survey->problems.join(u' '),
             .advice = QStringLiteral("The picture is taken before Velmo's windows are there, so what moves "
                                      "meanwhile is missed. An X server with Composite and Render helps."),
             .details = details}};
    return {{.area = kCapture,
             .text = QStringLiteral("window by window, without Velmo's own; ") +
                     sizeText(survey->size.width(), survey->size.height()) +
                     QStringLiteral(" pixels were read"),
             .details = details}};
}

Findings tray(const std::optional<X11Survey>& display, const std::optional<BusSurvey>& bus)
{
    using Presence = BusSurvey::Presence;
    const auto found = [](const char* kind, const QString& text) {
        return Findings{
            {.area = kTray, .text = text, .details = {{QStringLiteral("kind"), QString::fromLatin1(kind)}}}};
    };
    if (bus && bus->tray == Presence::Present)
        return found("statusNotifier", QStringLiteral("on the session bus (StatusNotifierItem)"));
    const QString advice = QStringLiteral("Velmo's menu is missing meanwhile; \"velmo annotate\", \"velmo "
                                          "settings\" and \"velmo quit\" do the same. On GNOME, install the "
                                          "AppIndicator extension.");
    if (bus && bus->tray == Presence::Silent)
        return {{.area = kTray,
                 .state = State::Limited,
                 .text = QStringLiteral("the one on the session bus does not answer"),
                 .advice = advice,
                 .details = {{QStringLiteral("kind"), QStringLiteral("none")}}}};
    if (display && display->hasTray)
        return found("embedding", QStringLiteral("on the X server (XEmbed)"));
    return {{.area = kTray,
             .state = State::Limited,
             .text = QStringLiteral("none"),
             .advice = advice,
             .details = {{QStringLiteral("kind"), QStringLiteral("none")}}}};
}

} // namespace velmo::Doctor
