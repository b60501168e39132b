#pragma once

#include "core/Result.h"

#include <QString>

namespace velmo {

/// Reads a key from standard input, up to its end, without the line end. On a terminal it waits until it is
/// in the foreground, the prompt is shown, one line is read, and what is typed is not shown. The terminal is
/// as it was afterwards, and while it is suspended from the terminal, also when one of the usual signals ends
/// the program; not so when it is killed or stopped without a chance to see it. The error is a sentence for
/// users and holds nothing of what was read.
[[nodiscard]] Result<QString, QString> readKey(const QString& prompt);

} // namespace velmo
