#pragma once

#include <QFont>

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

} // namespace velmo
