#pragma once

#include "support/practice/Dialect.h"
#include "support/practice/ImageMeasure.h"

#include <QString>
#include <QStringList>

namespace velmo::practice {

/// Composes the text of the `answer` scenario from what was really received. Any thread.
///
/// The exact format, with one pair of image lines per image of the whole conversation, in its order:
///
///     ## Practice answer
///     <blank line>
///     I looked at what arrived 🎯 this is **turn 2**:
///     <blank line>
///     - model: `MODEL`
///     - image 1: png 1568x882
///     - red strokes: x=120..480 y=200..420 centre=19%,35% (300,310)
///     - question: WORDS OF THE LAST USER MESSAGE
///     - system prompt: 812 characters
///
/// An image line may also read `- image 1: png 1568x882 (declared image/jpeg)` when the declared media type
/// is not that of the bytes, or `- image 1: unreadable, 123 bytes (declared image/png)`, without a second
/// line. The second line reads `- no red strokes` when there are none (see redFragment()). Without images one
/// line `- no image` stands for the pairs. `turn N` counts user messages; characters are code points. There
/// is no final newline.
[[nodiscard]] QString composeAnswer(const Conversation& conversation, const RedRule& rule = {});

/// Cuts a text into pieces of a few characters, never inside a surrogate pair. Joined, they are the text
/// again.
[[nodiscard]] QStringList cutIntoPieces(const QString& text);

} // namespace velmo::practice
