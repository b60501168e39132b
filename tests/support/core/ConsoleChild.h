#pragma once

#include <QByteArray>
#include <QString>
#include <optional>

namespace velmo {

/// What depends on the process's own standard output runs in a child process: this test program once more,
/// with a role instead of tests.
enum class ConsoleOutput {
    Drained,    ///< A pipe that somebody reads all the time.
    FullPipe,   ///< A pipe that nobody reads while the child logs; emptied before its very last line.
    ClosedPipe, ///< A pipe whose reader has gone.
    Closed,     ///< No standard output at all.
};

struct ConsoleChildResult {
    bool finished = false; ///< It ended by itself, with status 0, within the guard.
    QByteArray output;     ///< What it printed. Of a full pipe: what was in it at the end.
};

/// The child points the log to the file, logs the message so many times under the category "Child", waits
/// until they are written, and ends.
[[nodiscard]] ConsoleChildResult logInChild(const QString& logFile, const QString& message, int count,
                                            ConsoleOutput output);

/// The same for lines that go to standard error.
[[nodiscard]] ConsoleChildResult logToErrorInChild(const QString& logFile, const QString& message);

/// Called by main(): the child's exit status, or nothing in the parent.
[[nodiscard]] std::optional<int> runAsConsoleChild(int argc, char** argv);

} // namespace velmo
