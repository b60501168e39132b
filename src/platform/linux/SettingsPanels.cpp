#include "platform/linux/SettingsPanels.h"

#include "core/CurrentDesktops.h"

#include <QList>
#include <QProcess>
#include <QStandardPaths>
#include <QStringList>
#include <algorithm>

namespace velmo::SettingsPanels {

namespace {

struct Panel {
    QString program;
    QStringList arguments;
};

bool isDesktop(QLatin1String family)
{
    const QStringList names = currentDesktops();
    return std::any_of(names.begin(), names.end(), [&](const QString& name) {
        // As in GNOME-Flashback.
        return name.section(u'-', 0, 0).compare(family, Qt::CaseInsensitive) == 0;
    });
}

void addGnome(QList<Panel>& panels, const QString& anchor)
{
    const QString program = QStringLiteral("gnome-control-center");
    if (anchor == SettingsAnchor::Accessibility)
        panels.append({program, {QStringLiteral("universal-access")}});
    else if (anchor == SettingsAnchor::ScreenCapture)
        panels.append({program, {QStringLiteral("applications")}});
    else if (anchor == SettingsAnchor::Microphone)
        // The panel for privacy has moved about from version to version, and what is missing here is more
        // often the device than the consent.
        panels.append({program, {QStringLiteral("sound")}});
}

void addKde(QList<Panel>& panels, const QString& anchor)
{
    QString module;
    if (anchor == SettingsAnchor::Accessibility)
        module = QStringLiteral("kcm_keys");
    else if (anchor == SettingsAnchor::Microphone)
        module = QStringLiteral("kcm_pulseaudio");
    if (module.isEmpty())
        return;
    for (const QString& program : {QStringLiteral("systemsettings"), QStringLiteral("systemsettings5")})
        panels.append({program, {module}});
}

/// The best first. The ones of other desktops would come up empty, or not at all.
QList<Panel> panelsFor(const QString& anchor)
{
    QList<Panel> panels;
    if (isDesktop(QLatin1String("GNOME")))
        addGnome(panels, anchor);
    if (isDesktop(QLatin1String("KDE")))
        addKde(panels, anchor);
    if (anchor == SettingsAnchor::Microphone) {
        for (const QString& program : {QStringLiteral("pavucontrol"), QStringLiteral("pavucontrol-qt")})
            panels.append({program, {QStringLiteral("--tab=4")}}); // The inputs.
    }
    return panels;
}

bool start(const Panel& panel)
{
    const QString path = QStandardPaths::findExecutable(panel.program);
    if (path.isEmpty())
        return false;
    QProcess process;
    process.setProgram(path);
    process.setArguments(panel.arguments);
    // What it has to say is not ours to print.
    process.setStandardInputFile(QProcess::nullDevice());
    process.setStandardOutputFile(QProcess::nullDevice());
    process.setStandardErrorFile(QProcess::nullDevice());
    return process.startDetached();
}

QString microphoneExplanation(MicrophoneFinding finding)
{
    switch (finding) {
    case MicrophoneFinding::NoServer:
        return QStringLiteral("No sound server answers. Start PipeWire (with pipewire-pulse) or PulseAudio, "
                              "or log out and in again.");
    case MicrophoneFinding::Refused:
        return QStringLiteral("The sound server refuses Velmo. Allow the microphone in the desktop's privacy "
                              "settings, and run the server as the same user.");
    case MicrophoneFinding::Unknown:
    case MicrophoneFinding::NoMicrophone:
    case MicrophoneFinding::Found:
        break;
    }
    return QStringLiteral("No program for sound settings was found. Plug in a microphone, or install "
                          "pavucontrol to choose one.");
}

/// No setting changes it.
bool isOutOfReach(const QString& anchor)
{
    return anchor == SettingsAnchor::ScreenCapture && !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
}

QString explanationFor(const QString& anchor, MicrophoneFinding microphone)
{
    if (anchor == SettingsAnchor::Accessibility)
        return QStringLiteral("This desktop has no setting for it. Velmo needs a display server with the "
                              "extensions XInput 2.2, XKEYBOARD and XTEST.");
    if (isOutOfReach(anchor))
        return QStringLiteral("This is a Wayland session, whose screen no X11 program can read. Choose a "
                              "session with X11 when you log in.");
    if (anchor == SettingsAnchor::ScreenCapture)
        return QStringLiteral("This desktop has no setting for it. Its display server lets programs read "
                              "the screen; if not, log out and in again.");
    if (anchor == SettingsAnchor::Microphone)
        return microphoneExplanation(microphone);
    return QStringLiteral("This desktop has no setting for it.");
}

} // namespace

PanelOpening open(const QString& anchor, MicrophoneFinding microphone)
{
    const QList<Panel> panels = isOutOfReach(anchor) ? QList<Panel>() : panelsFor(anchor);
    return std::any_of(panels.begin(), panels.end(), start)
               ? PanelOpening::opened()
               : PanelOpening::missing(explanationFor(anchor, microphone));
}

} // namespace velmo::SettingsPanels
