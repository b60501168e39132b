#pragma once

#include <QColor>
#include <QIcon>
#include <QString>

namespace velmo {

/// One of the project's own symbols, by name, in one colour. Main thread.
[[nodiscard]] QIcon symbolIcon(const QString& name, const QColor& color, int size);

} // namespace velmo
