#pragma once

#include <QByteArray>
#include <QImage>
#include <QRect>
#include <QSize>
#include <QString>

namespace velmo::practice {

/// Which pixels count as a red stroke. Components are 0..255.
struct RedRule {
    int redAbove = 200;
    int othersBelow = 60;
    int lossyTolerance = 30; ///< Both limits are relaxed by this for JPEG and WebP, which blur colours.
};

/// What an image shows. Plain value.
struct ImageMeasure {
    QString format; ///< png, jpeg, webp or gif, from the bytes; empty when the bytes are none of these.
    QSize size;     ///< Pixels; not valid when the image cannot be decoded.
    QRect red;      ///< The bounding box of all red pixels; not valid when there is none.

    [[nodiscard]] bool isReadable() const { return size.isValid(); }
};

/// The format that the first bytes say: png, jpeg, webp, gif, or an empty string.
[[nodiscard]] QString imageFormat(const QByteArray& bytes);

/// Decodes PNG, JPEG, WebP and GIF; a null image for anything else.
[[nodiscard]] QImage decodeImage(const QByteArray& bytes);

/// Any thread; decodes, so about 10 ms per megapixel.
[[nodiscard]] ImageMeasure measureImage(const QByteArray& bytes, const RedRule& rule = {});

/// The stable fragment about red strokes: `red strokes: x=120..480 y=200..420 centre=19%,35% (300,310)`, or
/// `no red strokes`. Both ends of a range are pixels that are red; the centre is their middle, also in
/// pixels.
[[nodiscard]] QString redFragment(const ImageMeasure& measure);

} // namespace velmo::practice
