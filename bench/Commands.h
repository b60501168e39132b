#pragma once

#include <QByteArrayList>
#include <QString>

namespace velmo::bench {

/// Runs a command to its end, its output in that file or nowhere, and gives the milliseconds that it took.
[[nodiscard]] double timeCommand(const QByteArrayList& command, const QString& outputFile = {});

} // namespace velmo::bench
