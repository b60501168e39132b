#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// The small part of Markdown that answers are shown with. Free of any toolkit; any thread.
namespace velmo::markdown {

enum class Style : std::uint8_t { Base, Bold, Code, Heading };

/// UTF-16 text with a style for each of its units.
struct StyledText {
    std::u16string text;
    std::vector<Style> styles; ///< As many as text has units.

    friend bool operator==(const StyledText&, const StyledText&) = default;
};

/// The whole text in the base style.
[[nodiscard]] StyledText plain(std::u16string_view source);

/// Units of the same style that follow one another, as many as there are.
struct Run {
    std::size_t begin = 0;
    std::size_t end = 0; ///< The first unit behind it.
    Style style = Style::Base;

    friend bool operator==(const Run&, const Run&) = default;
};

/// What the text consists of from the given unit on.
[[nodiscard]] std::vector<Run> runs(const StyledText& text, std::size_t from = 0);

} // namespace velmo::markdown
