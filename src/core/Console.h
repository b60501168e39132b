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

} // namespace Console

} // namespace velmo
