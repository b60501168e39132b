#pragma once

#include <QStringList>

namespace velmo {

/// The names that the session gives its desktop (XDG_CURRENT_DESKTOP), its own first and then those of what
/// it is made from; empty if it has none.
[[nodiscard]] QStringList currentDesktops();

} // namespace velmo
