#include "LiteralRules.h"

#include <cstdio>
#include <cstdlib>
#include <unicode/uregex.h>

namespace velmo::test {

using markdown::Style;
using markdown::StyledText;

namespace {

void check(UErrorCode error)
{
    if (U_SUCCESS(error))
        return;
    std::fprintf(stderr, "the expression cannot be applied: %s\n", u_errorName(error));
    std::abort();
}

struct Range {
    std::size_t begin;
    std::size_t end;
};

Range rangeOf(URegularExpression* expression, int group)
{
    UErrorCode error = U_ZERO_ERROR;
    const int begin = uregex_start(expression, group, &error);
    const int end = uregex_end(expression, group, &error);
    check(error);
    return {static_cast<std::size_t>(begin), static_cast<std::size_t>(end)};
}

} // namespace

struct LiteralRules::Rule {
    Rule(std::u16string_view pattern, int keptGroup, Style keptStyle)
        : group(keptGroup)
        , style(keptStyle)
    {
        UErrorCode error = U_ZERO_ERROR;
        expression.reset(
            uregex_open(pattern.data(), static_cast<int32_t>(pattern.size()), 0, nullptr, &error));
        check(error);
    }

    bool replaceFirstMatch(StyledText& text) const
    {
        UErrorCode error = U_ZERO_ERROR;
        uregex_setText(expression.get(), text.text.data(), static_cast<int32_t>(text.text.size()), &error);
        const bool found = uregex_find(expression.get(), 0, &error) != 0;
        check(error);
        if (!found)
            return false;
        const Range match = rangeOf(expression.get(), 0);
        const Range content = rangeOf(expression.get(), group);
        const std::u16string kept = text.text.substr(content.begin, content.end - content.begin);
        text.text.replace(match.begin, match.end - match.begin, kept);
        const auto styles = text.styles.begin();
        const auto at = text.styles.erase(styles + static_cast<std::ptrdiff_t>(match.begin),
                                          styles + static_cast<std::ptrdiff_t>(match.end));
        text.styles.insert(at, kept.size(), style);
        return true;
    }

    struct Close {
        void operator()(URegularExpression* opened) const { uregex_close(opened); }
    };
    std::unique_ptr<URegularExpression, Close> expression;
    int group;
    Style style;
};

LiteralRules::LiteralRules()
    : rules_{std::make_unique<Rule>(uR"(\*\*(.+?)\*\*)", 1, Style::Bold),
             std::make_unique<Rule>(u"__(.+?)__", 1, Style::Bold),
             std::make_unique<Rule>(uR"(`([^`\n]+)`)", 1, Style::Code),
             std::make_unique<Rule>(uR"((?m)^(#{1,3})\s+(.+)$)", 2, Style::Heading)}
{}

LiteralRules::~LiteralRules() = default;

StyledText LiteralRules::render(std::u16string_view source) const
{
    StyledText text = markdown::plain(source);
    for (const auto& rule : rules_) {
        while (rule->replaceFirstMatch(text)) {
        }
    }
    return text;
}

} // namespace velmo::test
