#pragma once

#include <QColor>
#include <optional>

namespace velmo {

/// What stands out on the bar of a Plasma desktop, whose colours may be others than those of windows; nothing
/// where its theme has none of its own, or the session's desktop is another one. Reads small files.
[[nodiscard]] std::optional<QColor> plasmaBarColor();

} // namespace velmo
