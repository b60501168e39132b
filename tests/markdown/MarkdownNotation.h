#pragma once

#include "markdown/StyledText.h"

namespace velmo::test {

/// Runs in braces that begin with the first letter of their style, what is in the base style as it is:
/// "see {b this}, {c that}".
[[nodiscard]] std::u16string notationOf(const markdown::StyledText& text);

/// To print: everything but visible ASCII as \n, \r or \u0000.
[[nodiscard]] std::string escaped(std::u16string_view text);

} // namespace velmo::test
