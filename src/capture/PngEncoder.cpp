#include "capture/PngEncoder.h"

#include <cstdlib>
#include <memory>
#include <spng.h>

namespace velmo {

namespace {

/// Level 1 without filters is several times faster than the usual settings, at nearly their size on screens.
constexpr int kCompressionLevel = 1;
constexpr uint8_t kBitDepth = 8;

struct ContextDeleter {
    void operator()(spng_ctx* context) const { spng_ctx_free(context); }
};

struct BufferDeleter {
    void operator()(void* buffer) const { std::free(buffer); }
};

} // namespace

std::optional<QByteArray> encodePng(const QImage& image)
{
    if (image.isNull())
        return std::nullopt;
    const bool transparent = image.hasAlphaChannel();
    const QImage pixels =
        image.convertToFormat(transparent ? QImage::Format_RGBA8888 : QImage::Format_RGB888);

    const std::unique_ptr<spng_ctx, ContextDeleter> context(spng_ctx_new(SPNG_CTX_ENCODER));
    if (!context)
        return std::nullopt;
    spng_set_option(context.get(), SPNG_ENCODE_TO_BUFFER, 1);
    spng_set_option(context.get(), SPNG_IMG_COMPRESSION_LEVEL, kCompressionLevel);
    spng_set_option(context.get(), SPNG_FILTER_CHOICE, SPNG_FILTER_CHOICE_NONE);
    spng_ihdr header{};
    header.width = static_cast<uint32_t>(pixels.width());
    header.height = static_cast<uint32_t>(pixels.height());
    header.bit_depth = kBitDepth;
    header.color_type = transparent ? SPNG_COLOR_TYPE_TRUECOLOR_ALPHA : SPNG_COLOR_TYPE_TRUECOLOR;
    if (spng_set_ihdr(context.get(), &header) != SPNG_OK)
        return std::nullopt;
    if (spng_encode_image(context.get(), nullptr, 0, SPNG_FMT_PNG,
                          SPNG_ENCODE_PROGRESSIVE | SPNG_ENCODE_FINALIZE) != SPNG_OK)
        return std::nullopt;

    // Rows are padded in memory, so they go one by one.
    const size_t rowBytes = static_cast<size_t>(pixels.width()) * (transparent ? 4 : 3);
    int status = SPNG_OK;
    for (int row = 0; row < pixels.height() && status == SPNG_OK; ++row)
        status = spng_encode_row(context.get(), pixels.constScanLine(row), rowBytes);
    if (status != SPNG_EOI)
        return std::nullopt;

    size_t size = 0;
    int error = 0;
    const std::unique_ptr<void, BufferDeleter> encoded(spng_get_png_buffer(context.get(), &size, &error));
    if (!encoded || error != SPNG_OK)
        return std::nullopt;
    return QByteArray(static_cast<const char*>(encoded.get()), static_cast<qsizetype>(size));
}

} // namespace velmo
