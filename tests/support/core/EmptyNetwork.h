#pragma once

#include <QProcess>
#include <QStringList>

/// A network of a command's own that nothing leads out of, not even its loopback is up. The kernel may not
/// let a test make one, as in some containers.
namespace velmo::test::EmptyNetwork {

inline const QString kProgram = QStringLiteral("unshare");

/// What the program is given to run the command there.
[[nodiscard]] inline QStringList arguments(const QStringList& command)
{
    return QStringList{QStringLiteral("--map-root-user"), QStringLiteral("--net")} + command;
}

/// Whether a command that succeeds elsewhere does so there.
[[nodiscard]] inline bool isPossible(const QStringList& command)
{
    return QProcess::execute(kProgram, arguments(command)) == 0;
}

} // namespace velmo::test::EmptyNetwork
