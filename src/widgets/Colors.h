#pragma once

#include <QColor>

namespace velmo {

/// White at an opacity.
[[nodiscard]] inline QColor white(float alpha)
{
    return QColor::fromRgbF(1, 1, 1, alpha);
}

/// Between two colours: the first at 0, the second at 1.
[[nodiscard]] inline QColor blended(const QColor& from, const QColor& to, double progress)
{
    const auto mix = [progress](float a, float b) { return a + (b - a) * static_cast<float>(progress); };
    return QColor::fromRgbF(mix(from.redF(), to.redF()), mix(from.greenF(), to.greenF()),
                            mix(from.blueF(), to.blueF()), mix(from.alphaF(), to.alphaF()));
}

} // namespace velmo
