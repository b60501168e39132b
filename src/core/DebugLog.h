#pragma once

#include <QString>

namespace velmo {

/// The program's diagnostic log: every line goes to the console and to one plain-text file. It has no levels
/// and no switch. Lines have the form "[2026-01-31T09:15:02Z] [Category] message".
class DebugLog {
public:
    /// Writes one line. Any thread; returns at once. Lines of one thread stay in order in the file.
    static void log(const QString& category, const QString& message);

    /// Empties the file, before the first line of a run. Waits for the log's queue.
    static void reset();

    /// Waits until every line so far is in the file. For the end of the process and for tests.
    static void flush();

    /// The file; "/tmp/velmo.log" unless changed.
    [[nodiscard]] static QString logFile();
    /// For tests, before any other use.
    static void setLogFile(const QString& path);

    DebugLog() = delete;
};

} // namespace velmo
