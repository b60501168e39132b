#pragma once

#include <QDir>
#include <QFile>

namespace velmo::test {

/// The user has been through the first run: from now on the program starts without its welcome. For programs
/// whose configuration is in that folder.
inline void completeFirstRun(const QString& configuration = qEnvironmentVariable("XDG_CONFIG_HOME"))
{
    const QString folder = configuration + QStringLiteral("/velmo");
    QDir().mkpath(folder);
    QFile file(folder + QStringLiteral("/settings.json"));
    if (!file.exists() && file.open(QIODevice::WriteOnly))
        file.write("{\"hasCompletedOnboarding\": true}\n");
}

} // namespace velmo::test
