#pragma once

#include <QColor>
#include <QIcon>
#include <QPalette>
#include <QStringList>
#include <optional>

namespace velmo {

/// The status item's symbol in one colour, drawn for whatever size and scale is asked for; the smallest sizes
/// have a plainer drawing. Main thread.
[[nodiscard]] QIcon trayIcon(const QColor& color);

/// The colour that stands out on the desktop's bar: what the tray tells, else what is known of the desktops
/// named (some have a dark bar whatever the scheme of their windows), else what the palette shows.
[[nodiscard]] QColor trayColor(const std::optional<QColor>& told, const QStringList& desktops,
                               const QPalette& palette);

} // namespace velmo
