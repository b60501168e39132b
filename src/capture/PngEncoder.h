#pragma once

#include <QByteArray>
#include <QImage>
#include <optional>

namespace velmo {

/// Encodes an image as PNG, fast rather than small: screens are flat and compress well at once. Transparency
/// is kept where there is any. Nothing if the image is empty or memory runs out. Any thread but the main one.
[[nodiscard]] std::optional<QByteArray> encodePng(const QImage& image);

} // namespace velmo
