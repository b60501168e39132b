#include "LiteralRules.h"
#include "MarkdownNotation.h"
#include "RandomText.h"
#include "markdown/MarkdownRules.h"

#include <gtest/gtest.h>

namespace velmo::test {

namespace {

testing::AssertionResult rendersAsLiterally(const LiteralRules& rules, const std::u16string& source)
{
    const markdown::StyledText expected = rules.render(source);
    const markdown::StyledText actual = markdown::render(source);
    if (actual == expected)
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << "\"" << escaped(source) << "\" is \"" << escaped(notationOf(actual))
                                       << "\", literally \"" << escaped(notationOf(expected)) << "\"";
}

/// Every text of the given length over an alphabet.
void compareAll(const std::u16string& alphabet, std::size_t length)
{
    const LiteralRules rules;
    std::vector<std::size_t> digits(length, 0);
    std::u16string source(length, alphabet[0]);
    while (true) {
        ASSERT_TRUE(rendersAsLiterally(rules, source));
        std::size_t place = 0;
        while (place < length && ++digits[place] == alphabet.size()) {
            digits[place] = 0;
            source[place] = alphabet[0];
            ++place;
        }
        if (place == length)
            return;
        source[place] = alphabet[digits[place]];
    }
}

class MarkdownRandom : public testing::TestWithParam<unsigned> {};

} // namespace

// In parts that can run side by side.
TEST_P(MarkdownRandom, RendersTextsFullOfMarkersAsTheExpressionsDoLiterally)
{
    constexpr int kTexts = 300'000;
    const LiteralRules rules;
    RandomText texts(GetParam());
    int styled = 0;
    for (int count = 0; count < kTexts; ++count) {
        const std::u16string source = texts.next();
        ASSERT_TRUE(rendersAsLiterally(rules, source));
        if (markdown::render(source).text.size() != source.size())
            ++styled;
    }
    // Texts in which nothing matches would prove little.
    EXPECT_GT(styled, kTexts / 3);
}

INSTANTIATE_TEST_SUITE_P(Seeds, MarkdownRandom, testing::Range(1U, 11U));

TEST(MarkdownExhaustive, RendersEveryShortTextOfAsterisksAsTheExpressionsDo)
{
    compareAll(u"*a\n", 9);
    compareAll(u"*a", 14);
}

TEST(MarkdownExhaustive, RendersEveryShortTextOfBackticksAsTheExpressionsDo)
{
    compareAll(u"`a\n", 9);
    compareAll(u"`a", 14);
}

TEST(MarkdownExhaustive, RendersEveryShortTextOfHashesAsTheExpressionsDo)
{
    compareAll(u"# \na", 7);
    compareAll(u"# \r\n", 6);
}

TEST(MarkdownExhaustive, RendersEveryShortTextOfAllMarkersAsTheExpressionsDo)
{
    compareAll(u"*_`# \na", 5);
    compareAll(u"*_a", 9);
}

// A unit in a place where it matters whether "." takes it, and in one where it matters whether "\s" does.
TEST(MarkdownExhaustive, KnowsTheLineTerminatorsAndWhiteSpaceOfTheExpressions)
{
    const LiteralRules rules;
    for (unsigned unit = 0; unit <= 0xffff; ++unit) {
        const auto character = static_cast<char16_t>(unit);
        for (const std::u16string& source :
             {std::u16string(u"**x") + character + u"**", std::u16string(u"`x") + character + u"`",
              std::u16string(u"#") + character + u"a", std::u16string(u"a") + character + u"# b",
              std::u16string(u"# a") + character + u"b", std::u16string(u"# ") + character})
            ASSERT_TRUE(rendersAsLiterally(rules, source));
    }
}

} // namespace velmo::test
