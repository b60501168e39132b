#pragma once

#include "markdown/StyledText.h"

#include <array>
#include <memory>

namespace velmo::test {

/// The four expressions applied as they are written: the first match is replaced, and the search begins anew
/// at the start. Takes time quadratic in the text.
class LiteralRules {
public:
    LiteralRules();
    ~LiteralRules();

    [[nodiscard]] markdown::StyledText render(std::u16string_view source) const;

private:
    struct Rule;
    std::array<std::unique_ptr<Rule>, 4> rules_;
};

} // namespace velmo::test
