#pragma once

#include <QColor>
#include <QPalette>

/// The query panel's colours and fonts. It is dark whatever the desktop's scheme.
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
    return QColor::fromRgbF(1, 1, 1, 0.1F);
}
inline QColor userBubbleBorder()
{
    return QColor::fromRgbF(1, 1, 1, 0.08F);
}
inline QColor border()
{
    return QColor::fromRgbF(1, 1, 1, 0.14F);
}
inline QColor subtleBorder()
{
    return QColor::fromRgbF(1, 1, 1, 0.1F);
}
inline QColor faintBorder()
{
    return QColor::fromRgbF(1, 1, 1, 0.06F);
}
inline QColor text()
{
    return {255, 255, 255};
}
inline QColor dimText()
{
    return QColor::fromRgbF(1, 1, 1, 0.4F);
}
inline QColor accent()
{
    return {97, 112, 255};
}

/// Colours of a widget's text and ground, for widgets that the toolkit paints.
inline QPalette palette(const QColor& textColor)
{
    QPalette palette;
    palette.setColor(QPalette::WindowText, textColor);
    palette.setColor(QPalette::Text, textColor);
    palette.setColor(QPalette::ButtonText, textColor);
    palette.setColor(QPalette::PlaceholderText, dimText());
    palette.setColor(QPalette::Highlight, accent());
    palette.setColor(QPalette::HighlightedText, Qt::white);
    palette.setColor(QPalette::Base, Qt::transparent);
    palette.setColor(QPalette::Window, Qt::transparent);
    return palette;
}

} // namespace velmo::QueryPanelTheme
