#pragma once

#include "core/Published.h"

#include <QColor>
#include <QString>
#include <array>

namespace velmo {

enum class DrawingTool {
    Scribble, ///< Freehand strokes.
    Text      ///< Can be selected; a press draws freehand all the same.
};

/// In the order of the toolbar.
inline constexpr std::array kDrawingTools{DrawingTool::Scribble, DrawingTool::Text};

/// The tool's symbol, which also identifies its button.
[[nodiscard]] inline QString rawValue(DrawingTool tool)
{
    return tool == DrawingTool::Scribble ? QStringLiteral("pencil") : QStringLiteral("textformat");
}

/// The stroke colours. These are the plain primaries: the toolkit's "orange" and "green" are other colours.
namespace StrokeColor {
inline const QColor Red = QColor::fromRgbF(1, 0, 0);
inline const QColor Orange = QColor::fromRgbF(1, 0.5, 0);
inline const QColor Yellow = QColor::fromRgbF(1, 1, 0);
inline const QColor Green = QColor::fromRgbF(0, 1, 0);
inline const QColor Blue = QColor::fromRgbF(0, 0, 1);
inline const QColor White = QColor::fromRgbF(1, 1, 1);
inline const QColor Black = QColor::fromRgbF(0, 0, 0);
} // namespace StrokeColor

/// What canvas and toolbar share; one per overlay. Main thread.
struct DrawingState {
    Published<DrawingTool> selectedTool{DrawingTool::Scribble};
    Published<QColor> selectedColor{StrokeColor::Red};
};

} // namespace velmo
