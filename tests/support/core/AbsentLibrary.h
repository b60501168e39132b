#pragma once

#include <QDir>
#include <QFile>
#include <QProcessEnvironment>
#include <QString>

namespace velmo::test {

/// Lets programs with this environment fail to load the library, by its full name: the loader takes the first
/// file of that name, and this one is none. The folder has to outlive them.
inline void makeAbsent(const QString& library, const QString& folder, QProcessEnvironment& environment)
{
    const QString place = QDir(folder).filePath(QStringLiteral("libraries"));
    QDir().mkpath(place);
    QFile file(QDir(place).filePath(library));
    if (file.open(QIODevice::WriteOnly))
        environment.insert(QStringLiteral("LD_LIBRARY_PATH"), place);
}

} // namespace velmo::test
