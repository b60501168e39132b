#pragma once

#include "widgets/WindowTheme.h"

namespace velmo {

/// The colours of a window as the toolkit's own parts take them. Set on a window, its contents inherit it and
/// are told of each change.
[[nodiscard]] inline QPalette windowPalette(const WindowTheme& theme)
{
    QPalette palette;
    palette.setColor(QPalette::Window, theme.window);
    palette.setColor(QPalette::WindowText, theme.text);
    palette.setColor(QPalette::Base, theme.field);
    palette.setColor(QPalette::Text, theme.text);
    palette.setColor(QPalette::Button, theme.button);
    palette.setColor(QPalette::ButtonText, theme.text);
    palette.setColor(QPalette::Highlight, theme.accentFill);
    palette.setColor(QPalette::HighlightedText, Qt::white);
    palette.setColor(QPalette::PlaceholderText, theme.secondaryText);
    palette.setColor(QPalette::Link, theme.accent);
    return palette;
}

} // namespace velmo
