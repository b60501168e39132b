#pragma once

#include <QByteArrayView>

namespace velmo {

/// The process's console output, for diagnostics. Nothing ever waits for it: a line that the console cannot
/// take at once is lost. Any thread.
namespace Console {

enum class Stream { StandardOutput, StandardError };

/// Where lines go from now on; standard output at first.
void setStream(Stream stream);

/// Writes the line and a line feed.
void printLine(QByteArrayView line);

/// Whether what is written to a descriptor stays behind: in the system journal or in a session's error file.
/// Nothing that tells what somebody typed belongs there.
[[nodiscard]] bool isRecord(int descriptor);

} // namespace Console

} // namespace velmo
