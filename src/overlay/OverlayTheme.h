#pragma once

#include "widgets/Colors.h"

/// The colours of the overlay's controls. They are dark whatever the desktop's scheme.
namespace velmo::OverlayTheme {

inline QColor toolbar()
{
    return QColor::fromRgbF(32 / 255.F, 32 / 255.F, 37 / 255.F, 0.92F);
}
inline QColor toolbarBorder()
{
    return white(0.12F);
}
inline QColor divider()
{
    return white(0.1F);
}
inline QColor selectedTool()
{
    return white(0.3F);
}
inline QColor hoveredControl()
{
    return white(0.12F);
}
inline QColor done()
{
    return white(0.2F);
}
inline QColor donePressed()
{
    return white(0.34F);
}
inline QColor hintCapsule()
{
    return QColor::fromRgbF(0.08F, 0.08F, 0.08F, 0.88F);
}

} // namespace velmo::OverlayTheme
