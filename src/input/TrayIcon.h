#pragma once

#include <QColor>
#include <QIcon>
#include <QPalette>
#include <QStringList>
#include <optional>

namespace velmo {

/// What the status item's symbol is drawn with.
struct TrayColors {
    QColor symbol;
    QColor outline{}; ///< Around its lines; invalid for none.
    friend bool operator==(const TrayColors&, const TrayColors&) = default;
};

/// The status item's symbol, drawn for whatever size and scale is asked for; the smallest sizes have a
/// plainer drawing. Main thread.
[[nodiscard]] QIcon trayIcon(const TrayColors& colors);

/// What stands out on the desktop's bar: the colour that the tray tells, else what is known of the desktops
/// named (some have a dark bar whatever the scheme of their windows, some have one of that scheme). Where
/// nobody knows how bright the bar is, it is taken to be as windows are, and an outline sees to it that the
/// symbol can be made out if it is not.
[[nodiscard]] TrayColors trayColors(const std::optional<QColor>& told, const QStringList& desktops,
                                    const QPalette& palette);

} // namespace velmo
