#include "MarkdownNotation.h"
#include "markdown/MarkdownRules.h"

#include <gtest/gtest.h>

namespace velmo::test {

using namespace std::string_view_literals;

namespace {

struct Reading {
    std::u16string_view source;
    std::u16string_view expected; ///< In the notation of notationOf().
};

void expectReadings(std::initializer_list<Reading> readings)
{
    for (const Reading& reading : readings) {
        EXPECT_EQ(escaped(notationOf(markdown::render(reading.source))), escaped(reading.expected))
            << "of \"" << escaped(reading.source) << "\"";
    }
}

} // namespace

TEST(MarkdownRules, LeavesWhatIsNotMarked)
{
    expectReadings({
        {u"", u""},
        {u"Plain text.", u"Plain text."},
        {u"- a\n* b\n1. c", u"- a\n* b\n1. c"},
        {u"> quoted", u"> quoted"},
        {u"[text](https://example.org) ~~gone~~", u"[text](https://example.org) ~~gone~~"},
        {u"two\n\n\nlines \n", u"two\n\n\nlines \n"},
    });
}

TEST(MarkdownRules, MakesPairsBold)
{
    expectReadings({
        {u"**a**", u"{b a}"},
        {u"__a__", u"{b a}"},
        {u"x **a** y", u"x {b a} y"},
        {u"**a** and **b**", u"{b a} and {b b}"},
        {u"** a **", u"{b  a }"},
        {u"** **", u"{b  }"},
        {u"**a\u00a0b**", u"{b a\u00a0b}"},
        {u"snake__case__name", u"snake{b case}name"},
        {u"**a****b**", u"{b ab}"},
        {u"**\U0001f600**", u"{b \U0001f600}"},
    });
}

TEST(MarkdownRules, KeepsSingleMarkersAndWhatIsUnfinished)
{
    expectReadings({
        {u"*a*", u"*a*"},
        {u"_a_", u"_a_"},
        {u"2 * 3 * 4", u"2 * 3 * 4"},
        {u"**bo", u"**bo"},
        {u"bo**", u"bo**"},
        {u"**bo*", u"**bo*"},
        {u"__init_", u"__init_"},
        {u"**a__", u"**a__"},
        {u"****", u"****"},
        {u"____", u"____"},
        {u"**a*b**", u"{b a*b}"},
    });
}

TEST(MarkdownRules, KeepsBoldWithinALine)
{
    expectReadings({
        {u"**a\nb**", u"**a\nb**"},
        {u"**a\rb**", u"**a\rb**"},
        {u"__a\r\nb__", u"__a\r\nb__"},
        {u"**a\vb**", u"**a\vb**"},
        {u"**a\fb**", u"**a\fb**"},
        {u"**a\u0085b**", u"**a\u0085b**"},
        {u"**a\u2028b**", u"**a\u2028b**"},
        {u"**a\u2029b**", u"**a\u2029b**"},
        {u"**a\n**b**", u"**a\n{b b}"},
    });
}

TEST(MarkdownRules, TakesTheFirstPairThatClosesAndSearchesAnew)
{
    expectReadings({
        {u"**a**b**", u"{b a}b**"},
        {u"***a***", u"{b *a}*"},
        {u"****a****", u"{b a}"},
        {u"****a**", u"{b **a}"},
        {u"**a****", u"{b a}**"},
        {u"****a***", u"{b **a}*"},
        {u"****a** b** c**", u"{b a b} c**"},
        {u"**a*****b", u"{b a}***b"},
        {u"**a*******b", u"{b a*}b"},
        {u"a*****b**", u"a{b *}b**"},
    });
}

TEST(MarkdownRules, LosesFourMarkersOfFive)
{
    expectReadings({
        {u"*****", u"{b *}"},
        {u"******", u"{b *}*"},
        {u"*******", u"{b *}**"},
        {u"********", u"{b *}***"},
        {u"*********", u"{b *}"},
        {u"_____", u"{b _}"},
        {u"a\n-----\n*****\n", u"a\n-----\n{b *}\n"},
    });
}

TEST(MarkdownRules, AppliesUnderscoresToWhatAsterisksLeave)
{
    expectReadings({
        {u"**__a__**", u"{b a}"},
        {u"__**a**__", u"{b a}"},
        {u"**a__b**c__", u"{b abc}"},
        {u"__a**b__c**", u"{b abc}"},
        {u"_**_a**_", u"_{b _a}_"},
        {u"_**_a**__", u"{b a}"},
    });
}

TEST(MarkdownRules, MakesBackticksCode)
{
    expectReadings({
        {u"`x`", u"{c x}"},
        {u"a `b c` d", u"a {c b c} d"},
        {u"` `", u"{c  }"},
        {u"``x``", u"{c x}"},
        {u"```x```", u"{c x}"},
        {u"``", u"``"},
        {u"`", u"`"},
        {u"`x", u"`x"},
        {u"``a`", u"`{c a}"},
        {u"`a``", u"{c a}`"},
        {u"`a`b`", u"{c a}b`"},
        {u"`a``b`", u"{c ab}"},
        {u"``a`b`", u"{c ab}"},
        {u"``a`b", u"`{c a}b"},
        {u"``` a `b` ```", u"{c  a b }``"},
    });
}

TEST(MarkdownRules, KeepsCodeBeforeALineFeedButNotOtherTerminators)
{
    expectReadings({
        {u"`a\nb`", u"`a\nb`"},
        {u"`a\r\nb`", u"`a\r\nb`"},
        {u"`a\rb`", u"{c a\rb}"},
        {u"`a\u2028b`", u"{c a\u2028b}"},
        {u"`a\n`b`", u"`a\n{c b}"},
    });
}

TEST(MarkdownRules, LeavesFencedBlocksButWhatTheirLinesMatch)
{
    expectReadings({
        {u"```\ncode\n```", u"```\ncode\n```"},
        {u"```cpp\nint a;\n```\nafter", u"```cpp\nint a;\n```\nafter"},
        {u"```cpp x```", u"{c cpp x}"},
        {u"```\n`a`\n```", u"```\n{c a}\n```"},
        {u"```\n**a**\n```", u"```\n{b a}\n```"},
        {u"```sh\n# comment\n```", u"```sh\n{h comment}\n```"},
        {u"```py\ndef __init__(self):\n```", u"```py\ndef {b init}(self):\n```"},
    });
}

TEST(MarkdownRules, WipesBoldInsideCode)
{
    expectReadings({
        {u"`**a**`", u"{c a}"},
        {u"**`x`**", u"{c x}"},
        {u"`__init__`", u"{c init}"},
        {u"**a `x` b**", u"{b a }{c x}{b  b}"},
        {u"`a**b`c**", u"{c ab}{b c}"},
        {u"**a`b**c`", u"{b a}{c bc}"},
        {u"`a **b`", u"{c a **b}"},
    });
}

TEST(MarkdownRules, MakesLinesWithHashesHeadings)
{
    expectReadings({
        {u"# A", u"{h A}"},
        {u"## A", u"{h A}"},
        {u"### A", u"{h A}"},
        {u"#   A b", u"{h A b}"},
        {u"#\tA", u"{h A}"},
        {u"#\u00a0A", u"{h A}"},
        {u"#\u3000A", u"{h A}"},
        {u"# A\nb", u"{h A}\nb"},
        {u"a\n# B", u"a\n{h B}"},
        {u"# a\n# b", u"{h a}\n{h b}"},
        {u"# A\r\nB", u"{h A}\r\nB"},
        {u"a\r\n# B\r\n", u"a\r\n{h B}\r\n"},
        {u"a\r# B", u"a\r{h B}"},
        {u"a\u2028# B\u2029c", u"a\u2028{h B}\u2029c"},
        {u"a\u0085# B\vc", u"a\u0085{h B}\vc"},
        {u"# a ", u"{h a }"},
        {u"# a #", u"{h a #}"},
    });
}

TEST(MarkdownRules, LeavesHashesThatHeadNothing)
{
    expectReadings({
        {u"#### A", u"#### A"},
        {u"#A", u"#A"},
        {u" # A", u" # A"},
        {u"a # B", u"a # B"},
        {u"#\u200bA", u"#\u200bA"},
        {u"#", u"#"},
        {u"# ", u"# "},
        {u"#\n", u"#\n"},
        {u"# \n", u"# \n"},
        {u"#\n\n\n", u"#\n\n\n"},
    });
}

TEST(MarkdownRules, LetsTheWhiteSpaceOfAHeadingCrossLines)
{
    expectReadings({
        {u"#\n\nText", u"{h Text}"},
        {u"#\nText\nmore", u"{h Text}\nmore"},
        {u"# \r\n\t Text", u"{h Text}"},
        {u"#\n# b", u"{h b}"},
        {u"###\n####\n", u"{h ####}\n"},
        // With no text to come, the last white space that is no line terminator becomes the heading.
        {u"#  ", u"{h  }"},
        {u"#\n ", u"{h  }"},
        {u"#  \n\n", u"{h  }\n\n"},
        {u"# \n\t\n \n", u"{h  }\n"},
    });
}

TEST(MarkdownRules, TakesHeadingsOutOfHeadings)
{
    expectReadings({
        {u"# # a", u"{h a}"},
        {u"## # ### a", u"{h a}"},
        {u"# #### a", u"{h #### a}"},
        {u"# #a", u"{h #a}"},
        {u"# #", u"{h #}"},
        {u"# # ", u"{h # }"},
    });
}

TEST(MarkdownRules, WipesOtherStylesInsideHeadings)
{
    expectReadings({
        {u"# **a** b", u"{h a b}"},
        {u"# `a` b", u"{h a b}"},
        {u"**# a**", u"{h a}"},
        {u"`# x`", u"{h x}"},
        {u"x `# y`", u"x {c # y}"},
        {u"**#** a", u"{h a}"},
        {u"#** a**", u"{h a}"},
        {u"`#\n` a", u"`#\n` a"},
        {u"`a\r# b`", u"{c a\r}{h b}"},
    });
}

TEST(MarkdownRules, TakesAnyUnitsWhatever)
{
    expectReadings({
        {u"**\0**"sv, u"{b \0}"sv},
        {u"`\x01\x7f`", u"{c \x01\x7f}"},
        {u"# \0"sv, u"{h \0}"sv},
    });
    const std::u16string high(1, u'\xd83d');
    const std::u16string low(1, u'\xde00');
    for (const std::u16string& stray : {high, low, low + high}) {
        EXPECT_EQ(notationOf(markdown::render(u"**" + stray + u"**")), u"{b " + stray + u"}");
        EXPECT_EQ(notationOf(markdown::render(u"`" + stray + u"`")), u"{c " + stray + u"}");
        EXPECT_EQ(notationOf(markdown::render(u"# " + stray)), u"{h " + stray + u"}");
    }
    EXPECT_EQ(notationOf(markdown::render(high + u"**" + low + u"**")), high + u"{b " + low + u"}");
}

TEST(MarkdownRules, GivesTheRunsOfAText)
{
    using markdown::Run;
    using markdown::Style;
    const markdown::StyledText text = markdown::render(u"a **b** c");
    EXPECT_EQ(markdown::runs(text),
              (std::vector<Run>{{0, 2, Style::Base}, {2, 3, Style::Bold}, {3, 5, Style::Base}}));
    EXPECT_EQ(markdown::runs(text, 4), (std::vector<Run>{{4, 5, Style::Base}}));
    EXPECT_TRUE(markdown::runs(text, 5).empty());
}

} // namespace velmo::test
