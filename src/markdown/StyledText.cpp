#include "markdown/StyledText.h"

namespace velmo::markdown {

StyledText plain(std::u16string_view source)
{
    return {std::u16string(source), std::vector<Style>(source.size(), Style::Base)};
}

std::vector<Run> runs(const StyledText& text, std::size_t from)
{
    std::vector<Run> found;
    for (std::size_t unit = from; unit < text.text.size(); ++unit) {
        if (found.empty() || found.back().style != text.styles[unit])
            found.push_back({unit, unit, text.styles[unit]});
        found.back().end = unit + 1;
    }
    return found;
}

} // namespace velmo::markdown
