#include "platform/linux/PlasmaBarColor.h"

#include "platform/linux/PlasmaScheme.h"

#include <QFile>
#include <QFileInfo>
#include <QSettings>
#include <QStandardPaths>
#include <utility>

namespace velmo {

namespace {

/// Where Plasma writes what the user has chosen.
QString ownSettings()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
           QStringLiteral("/plasmarc");
}

} // namespace

std::optional<QColor> plasmaBarColor()
{
    if (!isPlasma())
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

PlasmaBarWatch::PlasmaBarWatch(std::function<void()> onChange)
    : onChange_(std::move(onChange))
{
    if (!isPlasma())
        return;
    watcher_ = std::make_unique<QFileSystemWatcher>();
    QObject::connect(watcher_.get(), &QFileSystemWatcher::fileChanged, watcher_.get(), [this] { follow(); });
    QObject::connect(watcher_.get(), &QFileSystemWatcher::directoryChanged, watcher_.get(), [this] {
        if (QFile::exists(ownSettings()))
            follow();
    });
    lookAtSettings();
}

/// The file is replaced by each change, and the watcher knows the former one by then.
void PlasmaBarWatch::follow()
{
    lookAtSettings();
    onChange_();
}

/// Much else happens in its folder, which is looked at only as long as there is no file.
void PlasmaBarWatch::lookAtSettings()
{
    const QString settings = ownSettings();
    const QStringList before = watcher_->files() + watcher_->directories();
    if (!before.isEmpty())
        watcher_->removePaths(before);
    if (!watcher_->addPath(settings))
        watcher_->addPath(QFileInfo(settings).path());
}

} // namespace velmo
