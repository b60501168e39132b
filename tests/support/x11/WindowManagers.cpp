#include "support/x11/WindowManagers.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace velmo::test {
namespace {

/// Its path.
QByteArray writeConfiguration(const QString& path, const QByteArray& text)
{
    const QString full = qEnvironmentVariable("XDG_CONFIG_HOME") + u'/' + path;
    QDir().mkpath(QFileInfo(full).path());
    QFile file(full);
    if (file.open(QIODevice::WriteOnly))
        file.write(text);
    return full.toUtf8();
}

WindowManagerStart openbox(bool followsMouse)
{
    const QByteArray path = writeConfiguration(
        QStringLiteral("openbox/rc.xml"),
        QByteArray(
            R"(<?xml version="1.0"?><openbox_config xmlns="http://openbox.org/3.4/rc"><focus><followMouse>)") +
            (followsMouse ? "yes" : "no") +
            "</followMouse></focus><desktops><number>2</number><popupTime>0</popupTime></desktops>"
            R"(<mouse><context name="Client"><mousebind button="Left" action="Press"><action name="Focus"/>)"
            R"(<action name="Raise"/></mousebind></context></mouse></openbox_config>)");
    return {{"openbox", "--sm-disable", "--config-file", path}};
}

WindowManagerStart xfwm4(bool followsMouse)
{
    writeConfiguration(QStringLiteral("xfce4/xfconf/xfce-perchannel-xml/xfwm4.xml"),
                       QByteArray(R"(<?xml version="1.0"?><channel name="xfwm4" version="1.0">)"
                                  R"(<property name="general" type="empty">)"
                                  R"(<property name="workspace_count" type="int" value="2"/>)"
                                  R"(<property name="click_to_focus" type="bool" value=")") +
                           (followsMouse ? "false" : "true") + R"("/></property></channel>)");
    return {{"xfwm4", "--compositor=off"}, true};
}

/// Their settings are in a file instead of behind a bus.
QList<QByteArray> withGnomeSettings(bool followsMouse, const QList<QByteArray>& command)
{
    const QByteArray general =
        QByteArray("num-workspaces=2\nfocus-mode='") + (followsMouse ? "sloppy" : "click") + "'\n";
    writeConfiguration(QStringLiteral("glib-2.0/settings/keyfile"),
                       "[org/gnome/desktop/wm/preferences]\n" + general +
                           "[org/gnome/mutter]\ndynamic-workspaces=false\n[org/mate/marco/general]\n" +
                           general);
    return QList<QByteArray>{"env", "GSETTINGS_BACKEND=keyfile", "LIBGL_ALWAYS_SOFTWARE=1"} + command;
}

WindowManagerStart kwin(bool followsMouse)
{
    writeConfiguration(QStringLiteral("kwinrc"),
                       QByteArray("[Desktops]\nNumber=2\nRows=1\n[Compositing]\nEnabled=false\n[Windows]"
                                  "\nDelayFocusInterval=0\nFocusPolicy=") +
                           (followsMouse ? "FocusFollowsMouse\n" : "ClickToFocus\n"));
    return {{"env", "KWIN_COMPOSE=N", "kwin_x11"}, true};
}

WindowManagerStart i3(bool followsMouse)
{
    // Tiled, and with a second desktop to go to: i3 has no empty ones.
    const QByteArray path = writeConfiguration(QStringLiteral("i3/config"),
                                               QByteArray("font pango:monospace 8\nworkspace 1\nfor_window "
                                                          "[all] floating enable\nfocus_follows_mouse ") +
                                                   (followsMouse ? "yes\n" : "no\n"));
    return {{"i3", "-c", path}};
}

} // namespace

QStringList knownWindowManagers()
{
    return {QStringLiteral("openbox"), QStringLiteral("xfwm4"),  QStringLiteral("metacity"),
            QStringLiteral("kwin"),    QStringLiteral("mutter"), QStringLiteral("i3"),
            QStringLiteral("marco")};
}

QStringList windowManagersToTest(const QStringList& usual)
{
    const QString named = qEnvironmentVariable("VELMO_TEST_WINDOW_MANAGERS");
    return named.isEmpty() ? usual : named.split(u',', Qt::SkipEmptyParts);
}

WindowManagerStart prepareWindowManager(const QString& name, FocusPolicy policy)
{
    const bool followsMouse = policy == FocusPolicy::FollowsMouse;
    if (name == QStringLiteral("openbox"))
        return openbox(followsMouse);
    if (name == QStringLiteral("xfwm4"))
        return xfwm4(followsMouse);
    if (name == QStringLiteral("metacity"))
        return {withGnomeSettings(followsMouse, {"metacity", "--sm-disable"}), true};
    if (name == QStringLiteral("mutter"))
        return {withGnomeSettings(followsMouse, {"mutter", "--x11", "--sm-disable"}), true};
    if (name == QStringLiteral("marco"))
        return {withGnomeSettings(followsMouse, {"marco", "--sm-disable", "--composite"}), true};
    if (name == QStringLiteral("kwin"))
        return kwin(followsMouse);
    if (name == QStringLiteral("i3"))
        return i3(followsMouse);
    return {};
}

} // namespace velmo::test
