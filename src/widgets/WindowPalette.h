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

/// The colours of the whole application where the toolkit's own are of the other scheme: everything that they
/// shade comes from these, too.
[[nodiscard]] inline QPalette applicationPalette(const WindowTheme& theme)
{
    QPalette palette(theme.button, theme.window);
    const QPalette window = windowPalette(theme);
    for (const auto group : {QPalette::Active, QPalette::Inactive}) {
        for (const auto role : {QPalette::Window, QPalette::WindowText, QPalette::Base, QPalette::Text,
                                QPalette::Button, QPalette::ButtonText, QPalette::Highlight,
                                QPalette::HighlightedText, QPalette::PlaceholderText, QPalette::Link})
            palette.setColor(group, role, window.color(group, role));
    }
    return palette;
}

} // namespace velmo
