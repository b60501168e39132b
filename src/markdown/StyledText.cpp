#include "markdown/StyledText.h"

namespace velmo::markdown {

StyledText plain(std::u16string_view source)
{
    return {std::u16string(source), std::vector<Style>(source.size(), Style::Base)};
}

} // namespace velmo::markdown
