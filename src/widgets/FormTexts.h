#pragma once

#include "widgets/TextLabel.h"

/// How texts of a form look.
namespace velmo::FormTexts {

inline constexpr TextLabel::Style kBody{13, 16};
/// What somebody has chosen.
inline constexpr TextLabel::Style kValue{13, 16, &WindowTheme::text, QFont::Medium};
/// Above a section.
inline constexpr TextLabel::Style kHeader{12, 16, &WindowTheme::secondaryText, QFont::DemiBold};
/// Explains in as many lines as it takes.
inline constexpr TextLabel::Style kCaption{11, 15, &WindowTheme::secondaryText};
/// The same, where something does not work.
inline constexpr TextLabel::Style kWarning{11, 15, &WindowTheme::warning};

} // namespace velmo::FormTexts
