#pragma once

#include "platform/ColorScheme.h"

#include <QColor>
#include <QString>
#include <optional>

namespace velmo {

/// Whether the session's desktop is Plasma.
[[nodiscard]] bool isPlasma();

/// A colour as files of Plasma's give them; nothing if there is none. Reads a small file.
[[nodiscard]] std::optional<QColor> readPlasmaColor(const QString& file, const QString& key);

/// By the colours of windows that Plasma has written down as chosen; none where nobody has chosen any, or the
/// session's desktop is another one. Reads a small file.
[[nodiscard]] ColorScheme::Preference plasmaPreference();

} // namespace velmo
