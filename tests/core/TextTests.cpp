#include "core/Text.h"
#include "support/core/Printing.h"

#include <QElapsedTimer>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <limits>

namespace velmo {
namespace {

struct CountCase {
    const char16_t* text;
    qsizetype characters;
    const char* name;
};

class CharacterCountTest : public testing::TestWithParam<CountCase> {};

TEST_P(CharacterCountTest, CountsWhatAReaderCounts)
{
    EXPECT_EQ(characterCount(QStringView(GetParam().text)), GetParam().characters);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, CharacterCountTest,
    testing::Values(
        CountCase{u"", 0, "Nothing"}, CountCase{u"plain text", 10, "Ascii"},
        CountCase{u"\r\n", 1, "CarriageReturnLineFeed"}, CountCase{u"\n\r", 2, "LineFeedCarriageReturn"},
        CountCase{u"a\r\nb\nc\r", 6, "MixedLineEnds"}, CountCase{u"\r\r\n\n", 3, "RunsOfLineEnds"},
        CountCase{u"e\u0301", 1, "CombiningAccent"}, CountCase{u"\u0301", 1, "LoneCombiningAccent"},
        CountCase{u"\n\u0301", 2, "AccentAfterALineFeed"}, CountCase{u"\r\n\u0301", 2, "AccentAfterALineEnd"},
        CountCase{u"ab\u0301\u0302cd", 4, "TwoAccents"}, CountCase{u"\u00e9", 1, "PrecomposedAccent"},
        CountCase{u"\U0001F600", 1, "Emoji"}, CountCase{u"x\U0001F600y", 3, "EmojiBetweenLetters"},
        CountCase{u"\U0001F44D\U0001F3FD", 1, "SkinTone"},
        CountCase{u"\U0001F468\u200D\U0001F469\u200D\U0001F467\u200D\U0001F466", 1, "Family"},
        CountCase{u"\U0001F3F3\uFE0F\u200D\U0001F308", 1, "RainbowFlag"},
        CountCase{u"\u00A9\uFE0F", 1, "CopyrightSignAsEmoji"}, CountCase{u"1\uFE0F\u20E3", 1, "Keycap"},
        CountCase{u"\U0001F1E9\U0001F1EA", 1, "Flag"},
        CountCase{u"\U0001F1E9\U0001F1EA\U0001F1EB\U0001F1F7", 2, "TwoFlags"},
        CountCase{u"a\U0001F1E9\U0001F1EA\U0001F1EB", 3, "FlagAndHalf"},
        CountCase{u"\u1100\u1161\u11A8", 1, "HangulSyllable"}, CountCase{u"日本語", 3, "Kanji"},
        CountCase{u"שָׁלוֹם", 4, "PointedHebrew"}, CountCase{u"é\r\né\r\n", 4, "LineEndsAmongAccents"}),
    [](const auto& text) { return std::string(text.param.name); });

TEST(TextTest, CountsHalfASurrogatePairAsOne)
{
    const QChar half(0xD83D);
    EXPECT_EQ(characterCount(QString(half)), 1);
    EXPECT_EQ(characterCount(QString(u'a') + half + u'b'), 3);
}

/// The shortest of some runs, since the machine may be busy with something else during any one of them.
qint64 nanosecondsToCount(qsizetype repeats)
{
    constexpr int kRuns = 5;
    const QString text = QStringLiteral("word é\U0001F600 ").repeated(repeats);
    qint64 best = std::numeric_limits<qint64>::max();
    for (int run = 0; run < kRuns; ++run) {
        QElapsedTimer timer;
        timer.start();
        EXPECT_EQ(characterCount(text), 8 * repeats);
        best = std::min(best, timer.nsecsElapsed());
    }
    return best;
}

TEST(TextTest, CountingIsLinear)
{
    // A quadratic count would take ten thousand times as long for a hundred times the text.
    EXPECT_LT(nanosecondsToCount(50'000), 1000 * nanosecondsToCount(500));
}

TEST(TextTest, APrefixKeepsWholeCharacters)
{
    const QString text = QStringLiteral("a\r\n\U0001F468\u200D\U0001F469e\u0301z");
    EXPECT_EQ(characterPrefix(text, 0), QStringView());
    EXPECT_EQ(characterPrefix(text, -1), QStringView());
    EXPECT_EQ(characterPrefix(text, 1), u"a");
    EXPECT_EQ(characterPrefix(text, 2), u"a\r\n");
    EXPECT_EQ(characterPrefix(text, 3), u"a\r\n\U0001F468\u200D\U0001F469");
    EXPECT_EQ(characterPrefix(text, 4), u"a\r\n\U0001F468\u200D\U0001F469e\u0301");
    EXPECT_EQ(characterPrefix(text, 5), text);
    EXPECT_EQ(characterPrefix(text, 6), text);
}

TEST(TextTest, APrefixOfFourThousandCountsClusters)
{
    const QString cluster = QStringLiteral("e\u0301");
    const QString text = cluster.repeated(4001);
    const QStringView prefix = characterPrefix(text, 4000);

    EXPECT_EQ(prefix.size(), 8000);
    EXPECT_EQ(characterCount(prefix), 4000);
    EXPECT_EQ(characterPrefix(cluster.repeated(4000), 4000).size(), 8000);
    EXPECT_EQ(characterPrefix(QStringLiteral("\r\n").repeated(4001), 4000).size(), 8000);
}

TEST(TextTest, OnlyValidUtf8IsDecoded)
{
    EXPECT_EQ(decodeUtf8("caf\xC3\xA9"), QStringLiteral("café"));
    EXPECT_EQ(decodeUtf8(QByteArrayView()), QString());
    EXPECT_EQ(decodeUtf8("caf\xE9"), std::nullopt);
    EXPECT_EQ(decodeUtf8("\xC3"), std::nullopt);
    EXPECT_EQ(decodeUtf8("\xED\xA0\x80"), std::nullopt) << "half a surrogate pair";
    EXPECT_EQ(decodeUtf8("\xC0\xAF"), std::nullopt) << "an overlong form";
}

TEST(TextTest, IdentifiersAreUpperCaseWithoutBraces)
{
    const QUuid id(QStringLiteral("{0a1b2c3d-0e0f-4a4b-8c8d-aabbccddeeff}"));
    EXPECT_EQ(uuidText(id), u"0A1B2C3D-0E0F-4A4B-8C8D-AABBCCDDEEFF");
}

TEST(TextTest, SecretsAreBlanked)
{
    EXPECT_EQ(withoutSecret(QStringLiteral("key=abc, abcabc"), QStringLiteral("abc")), u"key=***, ******");
    EXPECT_EQ(withoutSecret(QStringLiteral("ABC"), QStringLiteral("abc")), u"ABC");
    EXPECT_EQ(withoutSecret(QStringLiteral("text"), QString()), u"text");
}

TEST(TextTest, TheSystemsErrorsHaveWords)
{
    EXPECT_EQ(systemErrorText(ENOENT), u"No such file or directory");
    EXPECT_EQ(systemErrorText(ENOSPC), u"No space left on device");
}

TEST(TextTest, TruthIsSpelledOut)
{
    EXPECT_EQ(boolText(true), u"true");
    EXPECT_EQ(boolText(false), u"false");
}

} // namespace
} // namespace velmo
