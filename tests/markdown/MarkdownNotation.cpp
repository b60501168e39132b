#include "MarkdownNotation.h"

#include <array>
#include <cstdio>

namespace velmo::test {

std::u16string notationOf(const markdown::StyledText& text)
{
    std::u16string notation;
    for (const markdown::Run& run : markdown::runs(text)) {
        const std::u16string content = text.text.substr(run.begin, run.end - run.begin);
        switch (run.style) {
        case markdown::Style::Base:
            notation += content;
            break;
        case markdown::Style::Bold:
            notation += u"{b " + content + u"}";
            break;
        case markdown::Style::Code:
            notation += u"{c " + content + u"}";
            break;
        case markdown::Style::Heading:
            notation += u"{h " + content + u"}";
            break;
        }
    }
    return notation;
}

std::string escaped(std::u16string_view text)
{
    std::string result;
    for (const char16_t character : text) {
        if (character >= u' ' && character < u'\x7f') {
            result += static_cast<char>(character);
        } else if (character == u'\n') {
            result += "\\n";
        } else if (character == u'\r') {
            result += "\\r";
        } else {
            std::array<char, 8> code{};
            std::snprintf(code.data(), code.size(), "\\u%04x", static_cast<unsigned>(character));
            result += code.data();
        }
    }
    return result;
}

} // namespace velmo::test
