#pragma once

#include <QPixmap>
#include <QString>
#include <functional>

namespace velmo {

/// Draws the panel in each of its states; false as soon as a picture could not be saved.
[[nodiscard]] bool drawPanels(const std::function<bool(const QPixmap&, const QString& name)>& save);

} // namespace velmo
