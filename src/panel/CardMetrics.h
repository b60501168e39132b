#pragma once

/// The card's dimensions, in points.
namespace velmo::CardMetrics {

inline constexpr int kWidth = 620;
inline constexpr int kMinimumHeight = 130;
inline constexpr int kMaximumHeight = 720;
inline constexpr int kCornerRadius = 18; ///< The input container's, too.
inline constexpr int kBorder = 1;        ///< Lies over the edges of what is inside.

} // namespace velmo::CardMetrics
