#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

namespace velmo::test {

/// When a window gets the keyboard.
enum class FocusPolicy { Click, FollowsMouse };

/// How a window manager is started: with two desktops at least, and with files of its own.
struct WindowManagerStart {
    QList<QByteArray> command;
    bool needsBus = false; ///< It keeps its settings behind a session bus, or refuses to run without one.
};

/// The names that are known: openbox, xfwm4, metacity, kwin, mutter, i3, marco. The last one composites as
/// well.
[[nodiscard]] QStringList knownWindowManagers();

/// Those that the environment variable VELMO_TEST_WINDOW_MANAGERS names, separated by commas; else the given
/// ones.
[[nodiscard]] QStringList windowManagersToTest(const QStringList& usual);

/// Writes the configuration below the folder that XDG_CONFIG_HOME names, which is to be private. An unknown
/// name has no command.
[[nodiscard]] WindowManagerStart prepareWindowManager(const QString& name, FocusPolicy policy);

} // namespace velmo::test
