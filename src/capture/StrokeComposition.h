#pragma once

#include <QImage>
#include <QRect>

namespace velmo {

/// The smallest rectangle around all that is not fully transparent; empty if there is nothing. The format is
/// Format_ARGB32_Premultiplied.
[[nodiscard]] QRect paintedArea(const QImage& layer);

/// Lays the layer, stretched over the whole picture, over it. The picture is Format_RGB32 and opaque
/// afterwards, too. Nothing if either is empty.
void layOver(QImage& picture, const QImage& layer);

} // namespace velmo
