#pragma once

#include <QIcon>

namespace velmo {

/// The program's own icon in the sizes that window managers and bars show, drawn by this call: for windows
/// that are about to be shown, and not before. Main thread.
[[nodiscard]] QIcon applicationIcon();

} // namespace velmo
