#include "providers/ImagePayload.h"

#include "core/DebugLog.h"
#include "providers/AnthropicProvider.h"

#include <QBuffer>
#include <QImageReader>
#include <QImageWriter>
#include <QPainter>
#include <array>
#include <cmath>
#include <webp/encode.h>

namespace velmo {

namespace {

constexpr std::array kQualities{82, 72, 62, 52, 42, 32};
constexpr double kScaleStep = 0.82;
constexpr int kMinimumEdge = 320;
constexpr int kMaximumAttempts = 6;

/// The encoder's effort: more than 2 costs twice the time for two percent of size.
constexpr int kWebPMethod = 2;

/// Two megapixel screens side by side decode to less; it only stops a file that lies about its size.
constexpr int kDecodeLimitMegabytes = 2048;

struct WebPPictureDeleter {
    void operator()(WebPPicture* picture) const
    {
        WebPPictureFree(picture);
        delete picture;
    }
};

std::optional<QByteArray> encodeWebP(const QImage& image, int quality)
{
    WebPConfig config;
    if (!WebPConfigInit(&config))
        return std::nullopt;
    config.quality = static_cast<float>(quality);
    config.method = kWebPMethod;
    config.thread_level = 1; // The same bytes, a tenth sooner where a second processor is free.

    const std::unique_ptr<WebPPicture, WebPPictureDeleter> picture(new WebPPicture);
    if (!WebPPictureInit(picture.get()))
        return std::nullopt;
    const bool transparent = image.hasAlphaChannel();
    const QImage pixels =
        image.convertToFormat(transparent ? QImage::Format_RGBA8888 : QImage::Format_RGBX8888);
    picture->width = pixels.width();
    picture->height = pixels.height();
    const auto stride = static_cast<int>(pixels.bytesPerLine());
    const int imported = transparent ? WebPPictureImportRGBA(picture.get(), pixels.constBits(), stride)
                                     : WebPPictureImportRGBX(picture.get(), pixels.constBits(), stride);
    if (!imported)
        return std::nullopt;

    QByteArray encoded;
    picture->custom_ptr = &encoded;
    picture->writer = [](const uint8_t* data, size_t size, const WebPPicture* target) {
        static_cast<QByteArray*>(target->custom_ptr)
            ->append(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
        return 1;
    };
    if (!WebPEncode(&config, picture.get()))
        return std::nullopt;
    return encoded;
}

std::optional<QByteArray> encodeJpeg(const QImage& image, int quality)
{
    QImage opaque = image;
    if (image.hasAlphaChannel()) {
        // JPEG has no transparency; white is what a page shows behind a transparent picture.
        opaque = QImage(image.size(), QImage::Format_RGB32);
        opaque.fill(Qt::white);
        QPainter(&opaque).drawImage(0, 0, image);
    }
    QByteArray encoded;
    QBuffer buffer(&encoded);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, "jpeg");
    writer.setQuality(quality);
    if (!writer.write(opaque))
        return std::nullopt;
    return encoded;
}

bool fits(const QByteArray& encoded)
{
    return encoded.size() <= AnthropicProvider::kMaxImageBytes;
}

std::optional<EncodedImage>
firstThatFits(const QImage& image, const QString& mediaType,
              const std::function<std::optional<QByteArray>(const QImage&, int)>& encode)
{
    for (const int quality : kQualities) {
        if (const auto encoded = encode(image, quality); encoded && fits(*encoded))
            return EncodedImage{mediaType, encoded->toBase64(), encoded->size()};
    }
    return std::nullopt;
}

QSize reduced(QSize size)
{
    const auto shrink = [](int edge) {
        return std::max(static_cast<int>(std::floor(edge * kScaleStep)), kMinimumEdge);
    };
    return {shrink(size.width()), shrink(size.height())};
}

void log(const QString& message)
{
    DebugLog::log(QStringLiteral("Anthropic"), message);
}

} // namespace

const ImageEncoders& systemImageEncoders()
{
    static const ImageEncoders encoders{encodeWebP, encodeJpeg};
    return encoders;
}

QImage decodeImage(const QByteArray& data)
{
    static const bool limitSet = [] {
        QImageReader::setAllocationLimit(kDecodeLimitMegabytes);
        return true;
    }();
    Q_UNUSED(limitSet)
    QBuffer buffer;
    buffer.setData(data);
    buffer.open(QIODevice::ReadOnly);
    QImageReader reader(&buffer);
    // Cameras store how they were held; that note does not survive another encoding.
    reader.setAutoTransform(true);
    return reader.read();
}

Result<EncodedImage, LLMError> encodeImageForAnthropic(const QByteArray& data, const ImageEncoders& encoders)
{
    QImage image = decodeImage(data);
    if (image.isNull())
        return Failure{LLMError::imageEncodingFailed(
            QStringLiteral("Could not decode screenshot for Anthropic upload"))};

    for (int attempt = 1; attempt <= kMaximumAttempts; ++attempt) {
        if (auto webP = firstThatFits(image, QStringLiteral("image/webp"), encoders.webP))
            return *std::move(webP);
        if (auto jpeg = firstThatFits(image, QStringLiteral("image/jpeg"), encoders.jpeg)) {
            log(QStringLiteral(
                "Falling back to JPEG because WebP encoding did not produce a valid payload within limits"));
            return *std::move(jpeg);
        }
        const QSize smaller = reduced(image.size());
        if (smaller == image.size())
            break;
        image = image.scaled(smaller, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
        log(QStringLiteral("Downscaled image for Anthropic limit attempt=") + QString::number(attempt) +
            QStringLiteral(" size=") + QString::number(smaller.width()) + u'x' +
            QString::number(smaller.height()));
    }
    return Failure{LLMError::imageEncodingFailed(
        QStringLiteral("Image could not be reduced below Anthropic's 5 MB limit"))};
}

} // namespace velmo
