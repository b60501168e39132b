#pragma once

#include <QColor>
#include <QPalette>

namespace velmo {

/// The colours of our ordinary windows and menus, light or dark as the desktop's scheme is.
struct WindowTheme {
    QColor window;
    QColor text;
    QColor secondaryText;
    QColor separator;
    QColor menu;
    QColor menuBorder;
    QColor accentFill; ///< White stands on it.

    /// The scheme is told by the desktop's palette, and may change while a window is open.
    [[nodiscard]] static bool isDark(const QPalette& palette)
    {
        return palette.color(QPalette::Window).lightness() < palette.color(QPalette::WindowText).lightness();
    }

    [[nodiscard]] static WindowTheme of(const QPalette& palette)
    {
        return isDark(palette) ? dark() : light();
    }

    [[nodiscard]] static WindowTheme light()
    {
        return {QColor(0xf6f6f8), QColor(0x1c1c22),    QColor(0x5c5c68), QColor(0, 0, 0, 26),
                QColor(0xfbfbfd), QColor(0, 0, 0, 46), QColor(0x5461f0)};
    }

    [[nodiscard]] static WindowTheme dark()
    {
        return {QColor(0x232328), QColor(0xf2f2f5),          QColor(0xa9a9b4), QColor(255, 255, 255, 26),
                QColor(0x2a2a30), QColor(255, 255, 255, 36), QColor(0x5461f0)};
    }
};

} // namespace velmo
