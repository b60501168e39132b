#pragma once

#include "widgets/Colors.h"

#include <QPalette>

/// The query panel's colours. It is dark whatever the desktop's scheme.
namespace velmo::QueryPanelTheme {

inline QColor background()
{
    return {17, 17, 21};
}
inline QColor inputBackground()
{
    return {38, 38, 45};
}
inline QColor userBubbleBackground()
{
    return white(0.1F);
}
inline QColor userBubbleBorder()
{
    return white(0.08F);
}
inline QColor border()
{
    return white(0.14F);
}
inline QColor subtleBorder()
{
    return white(0.1F);
}
inline QColor faintBorder()
{
    return white(0.06F);
}
inline QColor text()
{
    return {255, 255, 255};
}
inline QColor dimText()
{
    return white(0.4F);
}
inline QColor accent()
{
    return {97, 112, 255};
}

/// The input container's border while the field has the keyboard.
inline QColor focusedBorder()
{
    QColor color = accent();
    color.setAlphaF(0.5F);
    return color;
}
/// Symbols and words of controls, under the pointer.
inline QColor hoveredText()
{
    return white(0.75F);
}
/// The pill's title and the badge's.
inline QColor label()
{
    return white(0.65F);
}
/// Selected text, behind white letters.
inline QColor selection()
{
    QColor color = accent();
    color.setAlphaF(0.55F);
    return color;
}
inline QColor linkUnderline()
{
    return white(0.45F);
}
inline QColor recording()
{
    return {255, 69, 58};
}
inline QColor focusRing()
{
    return {130, 144, 255};
}

/// Colours of a widget's text and ground, for widgets that the toolkit paints.
inline QPalette palette(const QColor& textColor)
{
    QPalette palette;
    palette.setColor(QPalette::WindowText, textColor);
    palette.setColor(QPalette::Text, textColor);
    palette.setColor(QPalette::ButtonText, textColor);
    palette.setColor(QPalette::Highlight, QColor(69, 79, 168)); // The selection, on the input's ground.
    palette.setColor(QPalette::HighlightedText, Qt::white);
    palette.setColor(QPalette::Base, Qt::transparent);
    palette.setColor(QPalette::Window, Qt::transparent);
    return palette;
}

} // namespace velmo::QueryPanelTheme
