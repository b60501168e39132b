#include "platform/linux/PlasmaScheme.h"

#include "core/CurrentDesktops.h"

#include <QSettings>
#include <QStandardPaths>
#include <QStringList>

namespace velmo {

bool isPlasma()
{
    return currentDesktops().contains(QStringLiteral("KDE"));
}

std::optional<QColor> readPlasmaColor(const QString& file, const QString& key)
{
    const QStringList channels = QSettings(file, QSettings::IniFormat).value(key).toStringList();
    if (channels.size() < 3)
        return std::nullopt;
    const QColor color(channels.at(0).trimmed().toInt(), channels.at(1).trimmed().toInt(),
                       channels.at(2).trimmed().toInt());
    return color.isValid() ? std::optional(color) : std::nullopt;
}

ColorScheme::Preference plasmaPreference()
{
    if (!isPlasma())
        return ColorScheme::Preference::None;
    const QString settings =
        QStandardPaths::locate(QStandardPaths::GenericConfigLocation, QStringLiteral("kdeglobals"));
    if (settings.isEmpty())
        return ColorScheme::Preference::None;
    const auto window = readPlasmaColor(settings, QStringLiteral("Colors:Window/BackgroundNormal"));
    const auto text = readPlasmaColor(settings, QStringLiteral("Colors:Window/ForegroundNormal"));
    if (!window || !text)
        return ColorScheme::Preference::None;
    return window->lightness() < text->lightness() ? ColorScheme::Preference::Dark
                                                   : ColorScheme::Preference::Light;
}

} // namespace velmo
