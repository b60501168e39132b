#pragma once

#include <QPixmap>
#include <QString>
#include <functional>

namespace velmo {

/// Draws the settings' first tab in its states, light and dark, and the line below a key that is not kept;
/// false as soon as a picture could not be saved.
[[nodiscard]] bool drawSettings(const std::function<bool(const QPixmap&, const QString& name)>& save);

} // namespace velmo
