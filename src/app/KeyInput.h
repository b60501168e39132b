#pragma once

#include "core/Result.h"

#include <QString>

namespace velmo {

/// Reads a key from standard input, up to its end, without the line end. On a terminal the prompt is shown
/// and what is typed is not; the terminal is as it was afterwards, also when a signal ends the program. The
/// error is a sentence for users and holds nothing of what was read.
[[nodiscard]] Result<QString, QString> readKey(const QString& prompt);

} // namespace velmo
