#pragma once

#include "markdown/MarkdownRules.h"

namespace velmo::markdown {

/// Renders a text that grows at its end. A piece costs its own length and that of the tail: of the source
/// behind the last settled place. A line feed is one, unless what is before it ends with the hashes of a
/// heading that has no text yet; within a line every unit is that is no marker and has no opener before it
/// that still waits, so a long line of plain text costs no more than a short one. Any thread, one at a time.
class IncrementalRenderer {
public:
    /// The first unit of the rendering that may differ from before in text or style, which is the rendering's
    /// length when nothing does. Not between the two units of a surrogate pair, neither of the rendering
    /// before nor after.
    std::size_t append(std::u16string_view piece);

    /// Always render() of everything that was appended.
    [[nodiscard]] const StyledText& rendering() const { return rendering_; }

    /// Begins anew with an empty text.
    void clear();

private:
    StyledText rendering_;
    std::size_t settled_ = 0; ///< Units of the rendering up to the last settled place.
    LinePlace place_ = LinePlace::Start;
    std::u16string tail_; ///< The source behind that place.
};

} // namespace velmo::markdown
