#include "MarkdownNotation.h"
#include "RandomText.h"
#include "markdown/IncrementalRenderer.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace velmo::test {

namespace {

using markdown::IncrementalRenderer;
using markdown::StyledText;

bool isWithinPair(const std::u16string& text, std::size_t index)
{
    return index > 0 && index < text.size() && text[index - 1] >= 0xd800 && text[index - 1] < 0xdc00 &&
           text[index] >= 0xdc00 && text[index] < 0xe000;
}

std::size_t firstChange(const StyledText& before, const StyledText& after)
{
    std::size_t index = 0;
    while (index < std::min(before.text.size(), after.text.size()) &&
           before.text[index] == after.text[index] && before.styles[index] == after.styles[index])
        ++index;
    return isWithinPair(before.text, index) || isWithinPair(after.text, index) ? index - 1 : index;
}

/// Appends the text in pieces and holds each step against rendering it whole. `nextLength` says how long the
/// next piece is.
template <typename NextLength>
testing::AssertionResult appendsTruthfully(std::u16string_view text, NextLength nextLength)
{
    IncrementalRenderer renderer;
    StyledText before;
    for (std::size_t at = 0; at < text.size();) {
        const std::u16string_view piece = text.substr(at, nextLength());
        at += piece.size();
        const std::size_t changed = renderer.append(piece);
        const StyledText whole = markdown::render(text.substr(0, at));
        if (renderer.rendering() != whole) {
            return testing::AssertionFailure() << "after \"" << escaped(text.substr(0, at)) << "\": \""
                                               << escaped(notationOf(renderer.rendering()))
                                               << "\" instead of \"" << escaped(notationOf(whole)) << "\"";
        }
        if (changed != firstChange(before, whole)) {
            return testing::AssertionFailure()
                   << "after \"" << escaped(text.substr(0, at)) << "\": changed from " << changed << ", not "
                   << firstChange(before, whole);
        }
        before = whole;
    }
    return testing::AssertionSuccess();
}

class IncrementalRandom : public testing::TestWithParam<unsigned> {};

} // namespace

TEST_P(IncrementalRandom, IsAtEveryPieceWhatTheWholeTextRendersTo)
{
    RandomText texts(GetParam());
    for (int count = 0; count < 40'000; ++count) {
        const std::u16string text = texts.next();
        const std::size_t most = 1 + texts.below(8);
        ASSERT_TRUE(appendsTruthfully(text, [&] { return 1 + texts.below(most); }));
    }
}

TEST_P(IncrementalRandom, IsAtEveryUnitOfALongTextWhatTheWholeRendersTo)
{
    RandomText texts(GetParam() + 1000);
    for (int count = 0; count < 20; ++count) {
        std::u16string text;
        while (text.size() < 1500)
            text += texts.below(2) == 0 ? texts.next() : u"plain words, " + texts.next().substr(0, 3);
        ASSERT_TRUE(appendsTruthfully(text, [&] { return 1 + texts.below(3); }));
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, IncrementalRandom, testing::Range(1U, 6U));

TEST(IncrementalRenderer, TellsWhereABoldSpanChangedTheText)
{
    IncrementalRenderer renderer;
    EXPECT_EQ(renderer.append(u"so **bo"), 0U);
    EXPECT_EQ(renderer.append(u"ld*"), 7U);
    EXPECT_EQ(notationOf(renderer.rendering()), u"so **bold*");
    EXPECT_EQ(renderer.append(u"*"), 3U);
    EXPECT_EQ(notationOf(renderer.rendering()), u"so {b bold}");
}

TEST(IncrementalRenderer, TellsTheEndWhenNothingChanged)
{
    IncrementalRenderer renderer;
    EXPECT_EQ(renderer.append({}), 0U);
    renderer.append(u"abc");
    EXPECT_EQ(renderer.append({}), 3U);
    EXPECT_EQ(renderer.append(u"d"), 3U);
}

TEST(IncrementalRenderer, DoesNotPointIntoASurrogatePairThatAPieceCompletes)
{
    IncrementalRenderer renderer;
    const std::u16string smile = u"\U0001f600";
    renderer.append(u"a" + smile.substr(0, 1));
    EXPECT_EQ(renderer.append(smile.substr(1)), 1U);
    EXPECT_EQ(renderer.rendering().text, u"a" + smile);
}

TEST(IncrementalRenderer, DoesNotPointIntoASurrogatePairThatAPieceJoins)
{
    // The markers go and leave two halves together: one was before them, the other is bold.
    IncrementalRenderer renderer;
    const std::u16string smile = u"\U0001f600";
    renderer.append(smile.substr(0, 1) + u"**" + smile.substr(1) + u"*");
    EXPECT_EQ(renderer.append(u"*"), 0U);
    EXPECT_EQ(renderer.rendering().text, smile);
}

TEST(IncrementalRenderer, CarriesAHeadingOverPieces)
{
    IncrementalRenderer renderer;
    for (const std::u16string_view piece : {u"#", u"#", u" ", u"A", u" b", u"\r", u"\n", u"c"})
        renderer.append(piece);
    EXPECT_EQ(notationOf(renderer.rendering()), u"{h A b}\r\nc");
}

TEST(IncrementalRenderer, TakesAHeadingWhoseTextComesLinesLater)
{
    IncrementalRenderer renderer;
    renderer.append(u"before\n#\n\n \n");
    EXPECT_EQ(notationOf(renderer.rendering()), u"before\n{h  }\n");
    EXPECT_EQ(renderer.append(u"Text"), 7U);
    EXPECT_EQ(notationOf(renderer.rendering()), u"before\n{h Text}");
}

TEST(IncrementalRenderer, LeavesAHashOpenWhileAMarkerBehindItMayVanish)
{
    IncrementalRenderer renderer;
    renderer.append(u"#__ ");
    EXPECT_EQ(notationOf(renderer.rendering()), u"#__ ");
    renderer.append(u"x__");
    EXPECT_EQ(notationOf(renderer.rendering()), u"{h x}");
}

TEST(IncrementalRenderer, BeginsAnewWhenCleared)
{
    IncrementalRenderer renderer;
    renderer.append(u"# heading **with");
    renderer.clear();
    EXPECT_EQ(renderer.rendering(), StyledText());
    EXPECT_EQ(renderer.append(u"text**"), 0U);
    EXPECT_EQ(notationOf(renderer.rendering()), u"text**");
}

} // namespace velmo::test
