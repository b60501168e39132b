#pragma once

#include "core/Published.h"

#include <QColor>

namespace velmo {

enum class DrawingTool { Scribble, Text };

/// The stroke colours. These are the plain primaries: the toolkit's "orange" and "green" are other colours.
namespace StrokeColor {
inline const QColor Red = QColor::fromRgbF(1, 0, 0);
} // namespace StrokeColor

/// What canvas and toolbar share; one per overlay. Main thread.
struct DrawingState {
    Published<DrawingTool> selectedTool{DrawingTool::Scribble};
    Published<QColor> selectedColor{StrokeColor::Red};
};

} // namespace velmo
