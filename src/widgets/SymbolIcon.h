#pragma once

#include <QColor>
#include <QIcon>
#include <QPixmap>
#include <QRectF>
#include <QString>

class QPainter;

namespace velmo {

/// One of the project's own symbols, by name, in one colour. Main thread.
[[nodiscard]] QIcon symbolIcon(const QString& name, const QColor& color, int size);

/// The symbol alone, in a square of that many pixels.
[[nodiscard]] QPixmap symbolPixmap(const QString& name, const QColor& color, int pixels);

/// The same with an edge around its lines, for grounds of a brightness that nobody knows.
[[nodiscard]] QPixmap outlinedSymbolPixmap(const QString& name, const QColor& color, const QColor& outline,
                                           int pixels);

/// The symbol alone, drawn into a square of the painter's coordinates, sharp at every scale. Large ones have
/// finer lines.
void drawSymbol(QPainter& painter, const QString& name, const QColor& color, const QRectF& square);

} // namespace velmo
