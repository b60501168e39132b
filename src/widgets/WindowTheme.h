#pragma once

#include <QColor>
#include <QGuiApplication>
#include <QPalette>

namespace velmo {

/// The colours of our ordinary windows and menus, light or dark as the desktop's scheme is.
struct WindowTheme {
    QColor window;
    QColor card;
    QColor cardBorder;
    QColor field;
    QColor fieldBorder;
    QColor button;
    QColor buttonBorder;
    QColor hoveredButton;
    QColor pressedButton;
    QColor disabledButton;
    QColor disabledButtonBorder;
    QColor text;
    QColor secondaryText;
    QColor separator;
    QColor idleDot;
    QColor accent;     ///< Symbols, links, the current dot, and the ring of what has the keyboard.
    QColor accentFill; ///< White stands on it.
    QColor hoveredPrimary;
    QColor pressedPrimary;
    QColor granted;
    QColor warning;
    QColor warningNotice;
    QColor grantedNotice;
    QColor segmentTrack;
    QColor selectedSegment;
    QColor menu;
    QColor menuBorder;
    QColor scrollBar;

    /// The scheme is told by the desktop's palette, and may change while a window is open.
    [[nodiscard]] static bool isDark(const QPalette& palette)
    {
        return palette.color(QPalette::Window).lightness() < palette.color(QPalette::WindowText).lightness();
    }

    [[nodiscard]] static WindowTheme of(const QPalette& palette)
    {
        return isDark(palette) ? dark() : light();
    }

    /// By the scheme as it is now.
    [[nodiscard]] static WindowTheme current() { return of(QGuiApplication::palette()); }

    [[nodiscard]] static WindowTheme light()
    {
        return {
            .window = QColor(0xf6f6f8),
            .card = QColor(0xffffff),
            .cardBorder = QColor(0, 0, 0, 23),
            .field = QColor(0xffffff),
            .fieldBorder = QColor(0, 0, 0, 51),
            .button = QColor(0xffffff),
            .buttonBorder = QColor(0, 0, 0, 46),
            .hoveredButton = QColor(0xf3f3f7),
            .pressedButton = QColor(0xe6e6ec),
            .disabledButton = QColor(0, 0, 0, 8),
            .disabledButtonBorder = QColor(0, 0, 0, 26),
            .text = QColor(0x1c1c22),
            .secondaryText = QColor(0x5c5c68),
            .separator = QColor(0, 0, 0, 26),
            .idleDot = QColor(0, 0, 0, 56),
            .accent = QColor(0x4f5be8),
            .accentFill = QColor(0x5461f0),
            .hoveredPrimary = QColor(0x4854e0),
            .pressedPrimary = QColor(0x3d48c8),
            .granted = QColor(0x1a7f37),
            .warning = QColor(0xb45309),
            .warningNotice = QColor(217, 119, 6, 31),
            .grantedNotice = QColor(26, 127, 55, 26),
            .segmentTrack = QColor(0, 0, 0, 17),
            .selectedSegment = QColor(0xffffff),
            .menu = QColor(0xfbfbfd),
            .menuBorder = QColor(0, 0, 0, 46),
            .scrollBar = QColor(0, 0, 0, 71),
        };
    }

    [[nodiscard]] static WindowTheme dark()
    {
        return {
            .window = QColor(0x232328),
            .card = QColor(0x2d2d33),
            .cardBorder = QColor(255, 255, 255, 20),
            .field = QColor(0x1c1c20),
            .fieldBorder = QColor(255, 255, 255, 51),
            .button = QColor(0x3d3d45),
            .buttonBorder = QColor(255, 255, 255, 31),
            .hoveredButton = QColor(0x484851),
            .pressedButton = QColor(0x34343b),
            .disabledButton = QColor(255, 255, 255, 13),
            .disabledButtonBorder = QColor(255, 255, 255, 26),
            .text = QColor(0xf2f2f5),
            .secondaryText = QColor(0xa9a9b4),
            .separator = QColor(255, 255, 255, 26),
            .idleDot = QColor(255, 255, 255, 66),
            .accent = QColor(0x8290ff),
            .accentFill = QColor(0x5461f0),
            .hoveredPrimary = QColor(0x4854e0),
            .pressedPrimary = QColor(0x3d48c8),
            .granted = QColor(0x4cd07d),
            .warning = QColor(0xffb454),
            .warningNotice = QColor(255, 180, 84, 31),
            .grantedNotice = QColor(76, 208, 125, 31),
            .segmentTrack = QColor(0, 0, 0, 77),
            .selectedSegment = QColor(0x4a4a53),
            .menu = QColor(0x2a2a30),
            .menuBorder = QColor(255, 255, 255, 36),
            .scrollBar = QColor(255, 255, 255, 71),
        };
    }
};

} // namespace velmo
