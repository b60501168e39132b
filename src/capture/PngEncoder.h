#pragma once

#include <QByteArray>
#include <QImage>
#include <optional>

namespace velmo {

/// Encodes an image as PNG, fast rather than small: eight bits a channel, transparency where there is any.
/// Nothing if the image is empty. Any thread but the main one.
[[nodiscard]] std::optional<QByteArray> encodePng(const QImage& image);

} // namespace velmo
