#pragma once

#include <QFont>
#include <QFontDatabase>
#include <QFontInfo>

namespace velmo {

/// The desktop's interface font. The size is in points of the design, which are device-independent pixels and
/// not the typographer's points.
[[nodiscard]] inline QFont systemFont(int size, QFont::Weight weight = QFont::Normal)
{
    QFont font;
    font.setPixelSize(size);
    font.setWeight(weight);
    return font;
}

/// The desktop's fixed-width font, in the same unit.
[[nodiscard]] inline QFont fixedFont(double size)
{
    QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    constexpr int kReference = 100;
    font.setPixelSize(kReference);
    // A size in pixels is a whole number to the toolkit, one in the typographer's points is not.
    font.setPointSizeF(QFontInfo(font).pointSizeF() * size / kReference);
    return font;
}

} // namespace velmo
