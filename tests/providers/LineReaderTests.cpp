#include "providers/LineReader.h"
#include "support/core/Printing.h"

#include <QByteArrayList>
#include <gmock/gmock.h>

namespace velmo {

namespace {

/// The lines that come of these pieces of a stream.
QByteArrayList linesOf(const QByteArrayList& pieces)
{
    QByteArrayList lines;
    LineReader reader([&lines](QByteArrayView line) { lines.append(line.toByteArray()); });
    for (const QByteArray& piece : pieces)
        reader.feed(piece);
    reader.finish();
    return lines;
}

const QByteArray kStream =
    "event: a\r\ndata: {\"t\":\"pr\xC3\xA4\xE2\x80\x94\xF0\x9F\x8E\xAF\"}\n\n\r\n: c\rd\r\r\n"
    "bad \xC3\x28 line\ndata: [DONE]\r\nlast";
const QByteArrayList kLines{
    "event: a", "data: {\"t\":\"pr\xC3\xA4\xE2\x80\x94\xF0\x9F\x8E\xAF\"}", "", "", ": cd", "data: [DONE]",
    "last"};

} // namespace

TEST(LineReaderTest, CutsLinesAtLineFeedsDropsCarriageReturnsAndSkipsWhatIsNotUtf8)
{
    EXPECT_EQ(linesOf({kStream}), kLines);
}

TEST(LineReaderTest, GivesTheSameLinesHoweverTheStreamIsSplitInTwo)
{
    for (qsizetype cut = 0; cut <= kStream.size(); ++cut)
        EXPECT_EQ(linesOf({kStream.first(cut), kStream.sliced(cut)}), kLines) << "cut at " << cut;
}

TEST(LineReaderTest, GivesTheSameLinesHoweverTheStreamIsSplitInThree)
{
    for (qsizetype first = 0; first <= kStream.size(); ++first) {
        for (qsizetype second = first; second <= kStream.size(); second += 5) {
            const QByteArrayList pieces{kStream.first(first), kStream.sliced(first, second - first),
                                        kStream.sliced(second)};
            ASSERT_EQ(linesOf(pieces), kLines) << "cut at " << first << " and " << second;
        }
    }
}

TEST(LineReaderTest, GivesTheSameLinesByteByByte)
{
    QByteArrayList bytes;
    for (const char byte : kStream)
        bytes.append(QByteArray(1, byte));
    EXPECT_EQ(linesOf(bytes), kLines);
}

TEST(LineReaderTest, OneBadLineAmongManyOfOnePieceIsTheOnlyOneSkipped)
{
    EXPECT_EQ(linesOf({"a\nb\n\xFF\nc\nd"}), (QByteArrayList{"a", "b", "c", "d"}));
    EXPECT_EQ(linesOf({"a\nb\n\xC3\n\xA4\nc\n"}), (QByteArrayList{"a", "b", "c"}));
    EXPECT_EQ(linesOf({"a\nb\rb\nc\n"}), (QByteArrayList{"a", "bb", "c"}));
}

TEST(LineReaderTest, ACarriageReturnAloneEndsNoLine)
{
    EXPECT_EQ(linesOf({"one\rtwo\r"}), QByteArrayList{"onetwo"});
}

TEST(LineReaderTest, ALastLineWithoutALineFeedCounts)
{
    EXPECT_EQ(linesOf({"a\nb"}), (QByteArrayList{"a", "b"}));
    EXPECT_EQ(linesOf({"a\n", "b"}), (QByteArrayList{"a", "b"}));
}

TEST(LineReaderTest, NothingAfterTheLastLineFeedIsNoLine)
{
    EXPECT_EQ(linesOf({"a\n"}), QByteArrayList{"a"});
    EXPECT_EQ(linesOf({"a\n\r\r"}), QByteArrayList{"a"});
    EXPECT_EQ(linesOf({}), QByteArrayList{});
}

TEST(LineReaderTest, EmptyLinesAreHandedOver)
{
    EXPECT_EQ(linesOf({"\n\n\r\n"}), (QByteArrayList{"", "", ""}));
}

TEST(LineReaderTest, ALastLineThatIsNotUtf8IsSkipped)
{
    EXPECT_EQ(linesOf({"a\n\xFF\xFE"}), QByteArrayList{"a"});
    EXPECT_EQ(linesOf({"a\n\xC3"}), QByteArrayList{"a"}) << "a sequence that the end cut off";
}

TEST(LineReaderTest, ALineThatIsNotUtf8TakesNoOtherWithIt)
{
    EXPECT_EQ(linesOf({"\xFF", "\xFF\nb\n"}), QByteArrayList{"b"});
    EXPECT_EQ(linesOf({"\xED\xA0\x80\nb\n"}), QByteArrayList{"b"}) << "half a surrogate pair is no text";
    EXPECT_EQ(linesOf({"\xC0\xAF\nb\n"}), QByteArrayList{"b"}) << "nor is an overlong form";
}

TEST(LineReaderTest, ACharacterSplitByACarriageReturnIsOneCharacter)
{
    EXPECT_EQ(linesOf({"\xC3\r\xA4\n"}), QByteArrayList{"\xC3\xA4"});
}

TEST(LineReaderTest, ALineOfTheGreatestLengthIsHandedOver)
{
    const QByteArray line(LineReader::kMaximumLineBytes, 'x');
    EXPECT_EQ(linesOf({line + "\r\nnext\n"}), (QByteArrayList{line, "next"}));
    EXPECT_EQ(linesOf({line, "\nnext\n"}), (QByteArrayList{line, "next"}));
    EXPECT_EQ(linesOf({line}), QByteArrayList{line}) << "also at the end";
}

TEST(LineReaderTest, ALongerLineIsDroppedWholeAndTheStreamGoesOn)
{
    const QByteArray line(LineReader::kMaximumLineBytes + 1, 'x');
    EXPECT_EQ(linesOf({"first\n" + line + "\nnext\n"}), (QByteArrayList{"first", "next"}));
    EXPECT_EQ(linesOf({line, "tail\nnext"}), QByteArrayList{"next"});
    EXPECT_EQ(linesOf({line.first(10), line.sliced(10), line, "\r\nnext\n"}), QByteArrayList{"next"});
    EXPECT_EQ(linesOf({"first\n", line, "tail"}), QByteArrayList{"first"})
        << "nor does its rest count at the end";
}

TEST(LineReaderTest, CanBeUsedAgainAfterItsEnd)
{
    QByteArrayList lines;
    LineReader reader([&lines](QByteArrayView line) { lines.append(line.toByteArray()); });
    reader.feed("one");
    reader.finish();
    reader.finish();
    reader.feed("two\n");
    EXPECT_EQ(lines, (QByteArrayList{"one", "two"}));
}

} // namespace velmo
