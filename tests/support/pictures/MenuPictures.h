#pragma once

#include <QPixmap>
#include <QString>
#include <functional>

namespace velmo {

/// Draws the menu, the symbol in the bar and the sheet for a new hotkey, light and dark; false as soon as a
/// picture could not be saved.
[[nodiscard]] bool drawMenus(const std::function<bool(const QPixmap&, const QString& name)>& save);

} // namespace velmo
