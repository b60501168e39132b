#pragma once

#include "markdown/StyledText.h"

/// What the little Markdown of answers means. Four regular expressions define it:
///
///   1. \*\*(.+?)\*\*             bold
///   2. __(.+?)__                 bold
///   3. `([^`\n]+)`               code
///   4. (?m)^(#{1,3})\s+(.+)$     heading, of which the second group is kept
///
/// Each is applied by itself, in this order: the first match in the text is replaced by its group, all of it
/// in the rule's style, and the search begins anew at the start of the changed text, until nothing matches.
/// "." and "$" know the line terminators of Unicode, "\s" its white space. The functions here give exactly
/// that result, for any units whatever (lone surrogates and NULs included), but in time proportional to the
/// text.
namespace velmo::markdown {

[[nodiscard]] StyledText render(std::u16string_view source);

/// What the line that a place is on has been so far.
enum class LinePlace : std::uint8_t {
    Start,   ///< Nothing yet: the place is behind a line terminator or at the start of the text.
    Plain,   ///< No heading, and it cannot become one any more.
    Heading, ///< A heading, to its end.
};

/// The rendering of source that goes on from a settled place: one up to which the rendering is final whatever
/// follows, and from which the rules go on as from the start of a text, but for what its line is.
struct Continuation {
    StyledText shown;
    std::size_t settledSource = 0; ///< Units of the source up to the last settled place in it.
    std::size_t settledShown = 0;  ///< Units of the rendering up to there.
    LinePlace settledPlace = LinePlace::Start;
};

[[nodiscard]] Continuation renderFrom(LinePlace place, std::u16string_view source);

} // namespace velmo::markdown
