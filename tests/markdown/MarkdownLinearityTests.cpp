#include "markdown/IncrementalRenderer.h"

#include <chrono>
#include <gtest/gtest.h>

namespace velmo::test {

namespace {

using namespace std::chrono_literals;

// Generous: each takes a fraction of a second, and applied literally it would take hours.
constexpr auto kGuard = 10s;
constexpr std::size_t kMegabyte = std::size_t(1024) * 1024;

std::u16string repeated(std::u16string_view part, std::size_t units)
{
    std::u16string text;
    text.reserve(units + part.size());
    while (text.size() < units)
        text += part;
    return text;
}

template <typename Work>
void expectWithinGuard(Work work)
{
    const auto start = std::chrono::steady_clock::now();
    work();
    EXPECT_LT(std::chrono::steady_clock::now() - start, kGuard);
}

void expectRenderedWithinGuard(const std::u16string& source, std::size_t expectedUnits)
{
    markdown::StyledText rendered;
    expectWithinGuard([&] { rendered = markdown::render(source); });
    EXPECT_EQ(rendered.text.size(), expectedUnits);
    EXPECT_EQ(rendered.styles.size(), expectedUnits);
}

/// Cut into equal pieces.
void expectAppendedWithinGuard(const std::u16string& source, std::size_t pieces)
{
    markdown::IncrementalRenderer renderer;
    expectWithinGuard([&] {
        const std::size_t length = (source.size() + pieces - 1) / pieces;
        for (std::size_t at = 0; at < source.size(); at += length)
            renderer.append(std::u16string_view(source).substr(at, length));
    });
    EXPECT_EQ(renderer.rendering(), markdown::render(source));
}

} // namespace

TEST(MarkdownLinearity, RendersMegabytesOfBackticksInTime)
{
    expectRenderedWithinGuard(repeated(u"`", 2 * kMegabyte), 2 * kMegabyte);
}

TEST(MarkdownLinearity, RendersMegabytesOfNestedBackticksInTime)
{
    expectRenderedWithinGuard(repeated(u"`", kMegabyte) + u"x" + repeated(u"`", kMegabyte), 1);
    expectRenderedWithinGuard(repeated(u"`", kMegabyte) + repeated(u"x`", 2 * kMegabyte), kMegabyte);
}

TEST(MarkdownLinearity, RendersMegabytesOfAsterisksInTime)
{
    // Five of them leave one: all but the last four units go.
    expectRenderedWithinGuard(repeated(u"**", 2 * kMegabyte), 4);
    expectRenderedWithinGuard(repeated(u"**\n", 3 * kMegabyte), 3 * kMegabyte);
}

TEST(MarkdownLinearity, RendersMegabytesOfUnderscoredLettersInTime)
{
    expectRenderedWithinGuard(repeated(u"__a", 3 * kMegabyte), kMegabyte);
}

TEST(MarkdownLinearity, RendersMegabytesOfHashesInTime)
{
    expectRenderedWithinGuard(repeated(u"#", 2 * kMegabyte), 2 * kMegabyte);
    expectRenderedWithinGuard(repeated(u"# ", 2 * kMegabyte), 2);
    expectRenderedWithinGuard(repeated(u"#\n", 2 * kMegabyte), 2);
    expectRenderedWithinGuard(u"#" + repeated(u"\n", 2 * kMegabyte), 2 * kMegabyte + 1);
}

TEST(MarkdownLinearity, RendersAMegabyteOfAnUnfinishedSpanInTime)
{
    expectRenderedWithinGuard(u"**" + repeated(u"a*", 2 * kMegabyte), 2 * kMegabyte + 2);
    expectRenderedWithinGuard(repeated(u"**a__b`c ", 9 * kMegabyte / 8), kMegabyte / 2);
}

TEST(MarkdownLinearity, AppendsToALongPlainLineInTime)
{
    expectAppendedWithinGuard(repeated(u"plain words without an end ", kMegabyte), 1'000);
}

TEST(MarkdownLinearity, AppendsManySmallPiecesToALongLineInTime)
{
    expectAppendedWithinGuard(repeated(u"some **bold** and `code` in_between # and * ", kMegabyte), 100'000);
}

TEST(MarkdownLinearity, AppendsManySmallPiecesToALongHeadingInTime)
{
    expectAppendedWithinGuard(u"# " + repeated(u"a heading that goes on ", kMegabyte), 100'000);
}

TEST(MarkdownLinearity, AppendsManySmallPiecesToManyLinesInTime)
{
    expectAppendedWithinGuard(repeated(u"# title\n\nwith **bold** and **none\n- and `code\n", kMegabyte),
                              100'000);
}

} // namespace velmo::test
