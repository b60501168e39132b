#pragma once

#include "core/Result.h"
#include "providers/LLMError.h"

#include <QByteArray>
#include <QImage>
#include <functional>
#include <optional>

namespace velmo {

/// An image as the Anthropic service takes it.
struct EncodedImage {
    QString mediaType;       ///< "image/webp" or "image/jpeg".
    QByteArray base64Data;   ///< Without line breaks.
    qsizetype byteCount = 0; ///< Before base64.
};

/// The encoders to use; each gives nothing when it cannot encode the image. Quality in percent.
struct ImageEncoders {
    std::function<std::optional<QByteArray>(const QImage&, int quality)> webP;
    std::function<std::optional<QByteArray>(const QImage&, int quality)> jpeg;
};

[[nodiscard]] const ImageEncoders& systemImageEncoders();

/// Re-encodes a screenshot so that the service accepts it: WebP, else JPEG, at falling quality, then at
/// falling size. Stateless; any thread but the main one, since encoding takes long.
[[nodiscard]] Result<EncodedImage, LLMError>
encodeImageForAnthropic(const QByteArray& data, const ImageEncoders& encoders = systemImageEncoders());

/// Decodes an image of any format that the toolkit knows, also very large ones. Null if it cannot.
[[nodiscard]] QImage decodeImage(const QByteArray& data);

} // namespace velmo
