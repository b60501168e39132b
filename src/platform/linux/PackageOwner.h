#pragma once

#include "core/async/Task.h"

#include <QString>

namespace velmo {

/// Who has installed that program and keeps it up to date: "APT", "Flatpak", ...; empty when nobody says so.
/// Asks the package managers that there are, and waits for each for two seconds at most. Main thread, which
/// is not held up.
[[nodiscard]] async::Task<QString> findPackageOwner(QString executable);

} // namespace velmo
