#include "capture/PngEncoder.h"

#include "capture/Deflater.h"

#include <QtEndian>
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <isa-l/crc.h>
#include <limits>
#include <vector>

namespace velmo {

namespace {

constexpr char kSignature[] = "\x89PNG\r\n\x1a\n";
constexpr char kBitDepth = 8;
enum class ColorType : char { Rgb = 2, Rgba = 6 };
enum class Filter : uchar { None = 0, Sub = 1 };

/// Filters are chosen, and rows compressed, so many at a time: little enough to stay in the processor's
/// cache.
constexpr int kBandRows = 16;

void appendNumber(QByteArray& png, quint32 number)
{
    const quint32 bytes = qToBigEndian(number);
    png.append(reinterpret_cast<const char*>(&bytes), sizeof bytes);
}

/// A chunk whose contents are appended between its beginning and its end.
class Chunk {
public:
    Chunk(QByteArray& png, const char* type)
        : png_(png)
        , begin_(png.size())
    {
        appendNumber(png_, 0);
        png_.append(type);
    }

    /// False if it became longer than the format can tell.
    [[nodiscard]] bool finish()
    {
        const qsizetype length = png_.size() - begin_ - kLengthBytes - kTypeBytes;
        if (length > std::numeric_limits<qint32>::max())
            return false;
        qToBigEndian(static_cast<quint32>(length), png_.data() + begin_);
        const auto* checked = reinterpret_cast<const uchar*>(png_.constData()) + begin_ + kLengthBytes;
        appendNumber(png_, crc32_gzip_refl(0, checked, static_cast<quint64>(length + kTypeBytes)));
        return true;
    }

private:
    static constexpr qsizetype kLengthBytes = 4;
    static constexpr qsizetype kTypeBytes = 4;

    QByteArray& png_;
    qsizetype begin_;
};

/// Three bytes each. The fourth that is written is overwritten by the next pixel, and behind the last one
/// belongs to the buffer, too.
void writeRgb(uchar* to, const QRgb* pixels, int count)
{
    for (int x = 0; x < count; ++x) {
        const quint32 bytes = qToBigEndian(pixels[x] << 8);
        std::memcpy(to + 3 * static_cast<qsizetype>(x), &bytes, sizeof bytes);
    }
}

void subtractLeftNeighbour(uchar* to, const uchar* row, qsizetype bytes, qsizetype bytesPerPixel)
{
    std::copy_n(row, bytesPerPixel, to);
    for (qsizetype at = bytesPerPixel; at < bytes; ++at)
        to[at] = static_cast<uchar>(row[at] - row[at - bytesPerPixel]);
}

/// Windows and text repeat themselves and compress best as they are. Photographs and gradients are left with
/// small numbers when each pixel is told as its difference to the one before. Their mark is that neighbours
/// differ, but little; looking at one row is enough to tell.
Filter filterFor(const QImage& image, int row)
{
    constexpr int kLittle = 24;
    constexpr int kPartOfRow = 10;
    const auto* pixels = reinterpret_cast<const QRgb*>(image.constScanLine(row));
    const auto differs = [](QRgb a, QRgb b, int shift) {
        return std::abs(static_cast<int>(a >> shift & 0xff) - static_cast<int>(b >> shift & 0xff));
    };
    int gentle = 0;
    for (int x = 1; x < image.width(); ++x) {
        const QRgb here = pixels[x];
        const QRgb before = pixels[x - 1];
        const int difference =
            std::max({differs(here, before, 0), differs(here, before, 8), differs(here, before, 16)});
        gentle += difference > 0 && difference <= kLittle ? 1 : 0;
    }
    return gentle * kPartOfRow > image.width() ? Filter::Sub : Filter::None;
}

/// As the format wants it, before any filter.
void writeRow(uchar* to, const QImage& image, int row)
{
    const uchar* pixels = image.constScanLine(row);
    if (image.hasAlphaChannel())
        std::copy_n(pixels, 4 * static_cast<qsizetype>(image.width()), to);
    else
        writeRgb(to, reinterpret_cast<const QRgb*>(pixels), image.width());
}

/// The image is Format_RGB32 or Format_RGBA8888.
bool appendRows(QByteArray& png, const QImage& image)
{
    const qsizetype bytesPerPixel = image.hasAlphaChannel() ? 4 : 3;
    const qsizetype rowBytes = bytesPerPixel * image.width();
    std::vector<uchar> plain(static_cast<size_t>(rowBytes + 1));
    std::vector<uchar> band(static_cast<size_t>((rowBytes + 1) * kBandRows + 1));
    Deflater deflater(png);
    for (int first = 0; first < image.height(); first += kBandRows) {
        const int end = std::min(first + kBandRows, image.height());
        const Filter filter = filterFor(image, first);
        uchar* to = band.data();
        for (int row = first; row < end; ++row) {
            *to++ = static_cast<uchar>(filter);
            if (filter == Filter::None) {
                writeRow(to, image, row);
            } else {
                writeRow(plain.data(), image, row);
                subtractLeftNeighbour(to, plain.data(), rowBytes, bytesPerPixel);
            }
            to += rowBytes;
        }
        const auto piece = end == image.height() ? Deflater::Piece::Last : Deflater::Piece::Middle;
        if (!deflater.add({band.data(), to}, piece))
            return false;
    }
    return true;
}

} // namespace

std::optional<QByteArray> encodePng(const QImage& image)
{
    const bool transparent = image.hasAlphaChannel();
    const QImage pixels = image.convertToFormat(transparent ? QImage::Format_RGBA8888 : QImage::Format_RGB32);
    if (pixels.isNull())
        return std::nullopt;

    QByteArray png(kSignature);
    Chunk header(png, "IHDR");
    appendNumber(png, static_cast<quint32>(pixels.width()));
    appendNumber(png, static_cast<quint32>(pixels.height()));
    png.append(kBitDepth);
    png.append(static_cast<char>(transparent ? ColorType::Rgba : ColorType::Rgb));
    png.append(3, '\0'); // The only methods of compression and filtering that exist; not interlaced.
    if (!header.finish())
        return std::nullopt;
    Chunk data(png, "IDAT");
    if (!appendRows(png, pixels) || !data.finish())
        return std::nullopt;
    Chunk end(png, "IEND");
    return end.finish() ? std::optional(png) : std::nullopt;
}

} // namespace velmo
