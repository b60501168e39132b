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

} // namespace velmo::markdown
