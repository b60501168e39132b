#pragma once

#include <QFont>
#include <QFontDatabase>
#include <QFontInfo>

namespace velmo {

/// A size in pixels is a whole number to the toolkit, one in the typographer's points is not.
inline void setPixelSize(QFont& font, double size)
{
    if (const int whole = static_cast<int>(size); whole == size) {
        font.setPixelSize(whole);
        return;
    }
    constexpr int kReference = 100;
    font.setPixelSize(kReference);
    font.setPointSizeF(QFontInfo(font).pointSizeF() * size / kReference);
}

/// The desktop's interface font. The size is in points of the design, which are device-independent pixels and
/// not the typographer's points.
[[nodiscard]] inline QFont systemFont(double size, QFont::Weight weight = QFont::Normal)
{
    QFont font;
    setPixelSize(font, size);
    font.setWeight(weight);
    return font;
}

/// The desktop's fixed-width font, in the same unit.
[[nodiscard]] inline QFont fixedFont(double size)
{
    QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    setPixelSize(font, size);
    return font;
}

} // namespace velmo
