#include "platform/linux/SettingsPanels.h"
#include "support/core/Environment.h"
#include "support/core/EventLoop.h"
#include "support/core/Printing.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <gmock/gmock.h>

namespace velmo::test {
namespace {

/// A desktop whose programs only note how they were started.
class SettingsPanelsTest : public testing::Test {
protected:
    void install(const QString& program, const QString& shebang = QStringLiteral("#!/bin/sh"))
    {
        QFile script(folder.filePath(program));
        ASSERT_TRUE(script.open(QIODevice::WriteOnly));
        // Written aside, so that what can be read is complete.
        script.write((shebang + QStringLiteral("\necho out; echo error >&2\necho \"") + program +
                      QStringLiteral(" $*\" > '") + record() + QStringLiteral(".new'\n/bin/mv '") + record() +
                      QStringLiteral(".new' '") + record() + QStringLiteral("'\n"))
                         .toUtf8());
        script.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    }
    [[nodiscard]] QString record() const { return folder.filePath(QStringLiteral("record")); }

    /// The command line that was run, or why none was.
    QString open(const QByteArray& desktop, const QString& anchor,
                 MicrophoneFinding microphone = MicrophoneFinding::NoMicrophone)
    {
        QFile::remove(record());
        const EnvironmentVariable current("XDG_CURRENT_DESKTOP", desktop);
        const PanelOpening opening = SettingsPanels::open(anchor, microphone);
        if (!opening.hasOpened())
            return opening.explanation();
        if (!turnUntil([this] { return QFile::exists(record()); }))
            return QStringLiteral("nothing");
        QFile file(record());
        return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()).trimmed() : QString();
    }

    const QTemporaryDir folder;
    const EnvironmentVariable path{"PATH", QFile::encodeName(folder.path())};
    const EnvironmentVariable wayland{"WAYLAND_DISPLAY"};
};

const QString kNoAccessibility = QStringLiteral(
    "This desktop has no setting for it. Velmo needs a display server with the extensions XInput 2.2, "
    "XKEYBOARD and XTEST.");
const QString kNoScreen = QStringLiteral(
    "This desktop has no setting for it. Its display server lets programs read the screen; if not, log out "
    "and in again.");
const QString kNoMicrophone = QStringLiteral(
    "No program for sound settings was found. Plug in a microphone, or install pavucontrol to choose one.");

struct Case {
    const char* desktop;
    QString accessibility;
    QString screen;
    QString microphone;
};

TEST_F(SettingsPanelsTest, OpensWhatTheDesktopHas)
{
    for (const char* program : {"gnome-control-center", "systemsettings", "pavucontrol"})
        install(QString::fromLatin1(program));
    const QString gnome = QStringLiteral("gnome-control-center ");
    const QString gnomeAccess = gnome + QStringLiteral("universal-access");
    const QString gnomeScreen = gnome + QStringLiteral("applications");
    const QString gnomeSound = gnome + QStringLiteral("sound");
    const QString mixer = QStringLiteral("pavucontrol --tab=4");
    const std::vector<Case> cases{
        {"GNOME", gnomeAccess, gnomeScreen, gnomeSound},
        {"ubuntu:GNOME", gnomeAccess, gnomeScreen, gnomeSound},
        {"GNOME-Flashback:GNOME", gnomeAccess, gnomeScreen, gnomeSound},
        {"GNOME-Classic", gnomeAccess, gnomeScreen, gnomeSound},
        {"KDE", QStringLiteral("systemsettings kcm_keys"), kNoScreen,
         QStringLiteral("systemsettings kcm_pulseaudio")},
        {"XFCE", kNoAccessibility, kNoScreen, mixer},
        {"X-Cinnamon", kNoAccessibility, kNoScreen, mixer},
        {"LXQt", kNoAccessibility, kNoScreen, mixer},
        {"", kNoAccessibility, kNoScreen, mixer},
        {"NOGNOME", kNoAccessibility, kNoScreen, mixer},
    };
    for (const Case& one : cases) {
        EXPECT_EQ(open(one.desktop, SettingsAnchor::Accessibility), one.accessibility) << one.desktop;
        EXPECT_EQ(open(one.desktop, SettingsAnchor::ScreenCapture), one.screen) << one.desktop;
        EXPECT_EQ(open(one.desktop, SettingsAnchor::Microphone), one.microphone) << one.desktop;
    }
    EXPECT_EQ(open("GNOME", QStringLiteral("Privacy_Camera")),
              QStringLiteral("This desktop has no setting for it."));
}

TEST_F(SettingsPanelsTest, ExplainsWhereNoneIsInstalled)
{
    for (const char* desktop : {"GNOME", "KDE", "XFCE", ""}) {
        EXPECT_EQ(open(desktop, SettingsAnchor::Accessibility), kNoAccessibility);
        EXPECT_EQ(open(desktop, SettingsAnchor::ScreenCapture), kNoScreen);
        EXPECT_EQ(open(desktop, SettingsAnchor::Microphone), kNoMicrophone);
    }
}

TEST_F(SettingsPanelsTest, OpensNothingWhereNoSettingHelps)
{
    install(QStringLiteral("gnome-control-center"));
    wayland.assign("wayland-0");
    EXPECT_EQ(
        open("GNOME", SettingsAnchor::ScreenCapture),
        QStringLiteral("This is a Wayland session, whose screen no X11 program can read. Choose a session "
                       "with X11 when you log in."));
    EXPECT_EQ(open("GNOME", SettingsAnchor::Microphone), QStringLiteral("gnome-control-center sound"));
}

TEST_F(SettingsPanelsTest, SaysWhatThereIsToDoAboutTheMicrophone)
{
    const auto explanation = [this](MicrophoneFinding finding) {
        return open("XFCE", SettingsAnchor::Microphone, finding);
    };
    EXPECT_EQ(explanation(MicrophoneFinding::NoServer),
              QStringLiteral("No sound server answers. Start PipeWire (with pipewire-pulse) or PulseAudio, "
                             "or log out and in again."));
    EXPECT_EQ(explanation(MicrophoneFinding::NoMicrophone), kNoMicrophone);
    EXPECT_EQ(explanation(MicrophoneFinding::Refused),
              QStringLiteral("The sound server refuses Velmo. Allow the microphone in the desktop's privacy "
                             "settings, and run the server as the same user."));
    EXPECT_EQ(open("XFCE", SettingsAnchor::ScreenCapture, MicrophoneFinding::NoServer), kNoScreen)
        << "the microphone is not what it is about";
    install(QStringLiteral("pavucontrol"));
    EXPECT_EQ(explanation(MicrophoneFinding::NoMicrophone), QStringLiteral("pavucontrol --tab=4"));
}

TEST_F(SettingsPanelsTest, TakesTheNextProgramWhereTheFirstIsMissingOrBroken)
{
    install(QStringLiteral("systemsettings5"));
    install(QStringLiteral("pavucontrol-qt"));
    EXPECT_EQ(open("KDE", SettingsAnchor::Accessibility), QStringLiteral("systemsettings5 kcm_keys"));
    EXPECT_EQ(open("GNOME", SettingsAnchor::Microphone), QStringLiteral("pavucontrol-qt --tab=4"));
    install(QStringLiteral("pavucontrol"), QStringLiteral("#!/nowhere/at/all"));
    EXPECT_EQ(open("XFCE", SettingsAnchor::Microphone), QStringLiteral("pavucontrol-qt --tab=4"));
}

TEST_F(SettingsPanelsTest, KeepsWhatTheProgramsSayToThemselves)
{
    install(QStringLiteral("pavucontrol"));
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const QString started = open("XFCE", SettingsAnchor::Microphone);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(started, QStringLiteral("pavucontrol --tab=4"));
}

} // namespace
} // namespace velmo::test
