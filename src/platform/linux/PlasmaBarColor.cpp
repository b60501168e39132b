#include "platform/linux/PlasmaBarColor.h"

#include "core/CurrentDesktops.h"
#include "platform/linux/PlasmaScheme.h"

#include <QSettings>
#include <QStandardPaths>

namespace velmo {

std::optional<QColor> plasmaBarColor()
{
    if (!currentDesktops().contains(QStringLiteral("KDE")))
        return std::nullopt;
    const QString settings =
        QStandardPaths::locate(QStandardPaths::GenericConfigLocation, QStringLiteral("plasmarc"));
    if (settings.isEmpty())
        return std::nullopt;
    const QString theme =
        QSettings(settings, QSettings::IniFormat).value(QStringLiteral("Theme/name")).toString();
    // The usual theme takes the colours of windows, and a name is no path.
    if (theme.isEmpty() || theme == QStringLiteral("default") || theme.contains(u'/'))
        return std::nullopt;
    const QString colors =
        QStandardPaths::locate(QStandardPaths::GenericDataLocation,
                               QStringLiteral("plasma/desktoptheme/") + theme + QStringLiteral("/colors"));
    if (colors.isEmpty())
        return std::nullopt;
    return readPlasmaColor(colors, QStringLiteral("Colors:Window/ForegroundNormal"));
}

} // namespace velmo
