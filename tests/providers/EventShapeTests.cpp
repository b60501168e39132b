#include "providers/AnthropicProvider.h"
#include "providers/EventShape.h"
#include "providers/OpenAIProvider.h"
#include "support/core/Printing.h"

#include <gmock/gmock.h>
#include <random>

namespace velmo {

namespace {

QByteArray anthropicEvent(const QByteArray& text, int index = 0)
{
    return R"(data: {"type":"content_block_delta","index":)" + QByteArray::number(index) +
           R"(,"delta":{"type":"text_delta","text":")" + text + R"("}})";
}

QByteArray openAIEvent(const QByteArray& text)
{
    return R"(data: {"id":"chat-1","choices":[{"index":0,"delta":{"role":"assistant","content":")" + text +
           R"("},"finish_reason":null}],"obfuscation":"content"})";
}

/// Counts how often it had to parse.
struct CountedShape {
    explicit CountedShape(std::function<std::optional<QString>(QByteArrayView)> process)
        : shape([this, parse = std::move(process)](QByteArrayView line) {
            ++parsed;
            return parse(line);
        })
    {}
    CountedShape(const CountedShape&) = delete;
    CountedShape& operator=(const CountedShape&) = delete;

    int parsed = 0;
    EventShape shape;
};

/// Raw contents of a JSON string, valid and not.
const QByteArrayList kStrings{"",
                              "Hi",
                              " \xC3\xA4\xF0\x9F\x8E\xAF",
                              "\\n",
                              "a\\tb\\r\\n\\/",
                              "\\\"quoted\\\"",
                              "\\\\",
                              "ends with two\\\\",
                              "\\u00e4\\ud83c\\udfaf",
                              "\\b\\f",
                              "\\ud83c",
                              "\\x",
                              "\\",
                              "a\\",
                              "\"",
                              "a\",\"text\":\"b",
                              "a\"}},\"x\":{\"y\":{\"z\":\"b",
                              "a\"}}]},{\"delta\":{\"content\":\"b",
                              "\x01",
                              "tab\there",
                              "\x7F",
                              "\xEF\xBB\xBFmarked",
                              "in\xEF\xBB\xBFside",
                              "\xEF\xBF\xBE",
                              "one probe",
                              "another probe",
                              "text_delta",
                              "content",
                              "assistant",
                              "%1 {} [] : ,"};

} // namespace

TEST(EventShapeTest, AlwaysSaysWhatParsingSays)
{
    EventShape anthropic(&AnthropicProvider::processLine);
    EventShape openAI(&OpenAIProvider::processLine);
    // Each string right after every other, so that each is met with every shape that another may have left.
    for (const QByteArray& first : kStrings) {
        for (const QByteArray& second : kStrings) {
            for (const QByteArray& line :
                 {anthropicEvent(first), anthropicEvent(second), anthropicEvent(first, 1)})
                ASSERT_EQ(anthropic.pieceIn(line), AnthropicProvider::processLine(line)) << line.constData();
            for (const QByteArray& line : {openAIEvent(first), openAIEvent(second)})
                ASSERT_EQ(openAI.pieceIn(line), OpenAIProvider::processLine(line)) << line.constData();
        }
    }
}

TEST(EventShapeTest, AlwaysSaysWhatParsingSaysAlsoOfDamagedEvents)
{
    std::minstd_rand random(7);
    const auto below = [&random](qsizetype limit) { return static_cast<qsizetype>(random()) % limit; };
    const QByteArray letters = "\"\\{}[]:, axn0u\xC3\xA4";
    for (const bool isAnthropic : {true, false}) {
        const auto process = isAnthropic ? &AnthropicProvider::processLine : &OpenAIProvider::processLine;
        EventShape shape(process);
        for (int round = 0; round < 20'000; ++round) {
            const QByteArray& text = kStrings.at(below(kStrings.size()));
            QByteArray line = isAnthropic ? anthropicEvent(text) : openAIEvent(text);
            for (qsizetype damage = below(3); damage > 0; --damage) {
                const qsizetype at = below(line.size());
                if (below(2) == 0)
                    line.insert(at, letters.at(below(letters.size())));
                else
                    line.remove(at, 1 + below(3));
            }
            // Lines that are not UTF-8 do not get this far.
            if (line.isValidUtf8()) {
                ASSERT_EQ(shape.pieceIn(line), process(line)) << line.constData();
            }
        }
    }
}

TEST(EventShapeTest, ParsesOnlyTheFirstOfManyLikeEvents)
{
    for (const bool isAnthropic : {true, false}) {
        CountedShape counted(isAnthropic ? &AnthropicProvider::processLine : &OpenAIProvider::processLine);
        for (int count = 0; count < 1000; ++count) {
            const QByteArray text = "piece " + QByteArray::number(count) + "\\n";
            const auto piece = counted.shape.pieceIn(isAnthropic ? anthropicEvent(text) : openAIEvent(text));
            EXPECT_EQ(piece, QStringLiteral("piece ") + QString::number(count) + u'\n');
        }
        EXPECT_LE(counted.parsed, 20);
    }
}

TEST(EventShapeTest, FollowsAServiceThatChangesItsEvents)
{
    CountedShape counted(&AnthropicProvider::processLine);
    for (int index = 0; index < 50; ++index) {
        for (int count = 0; count < 100; ++count)
            ASSERT_EQ(counted.shape.pieceIn(anthropicEvent("x", index)), QStringLiteral("x"));
    }
    EXPECT_LE(counted.parsed, 50 * 20);
}

TEST(EventShapeTest, GivesUpOnAServiceWhoseEventsAreNeverAlike)
{
    CountedShape counted(&AnthropicProvider::processLine);
    constexpr int kEvents = 1000;
    for (int index = 0; index < kEvents; ++index)
        ASSERT_EQ(counted.shape.pieceIn(anthropicEvent("x", index)), QStringLiteral("x"));
    EXPECT_LE(counted.parsed, kEvents + 100)
        << "each was parsed once, and only the first ones were looked at closely";
}

TEST(EventShapeTest, KeepsNoEventsThatAreVeryLong)
{
    CountedShape counted(&AnthropicProvider::processLine);
    const QByteArray line = anthropicEvent(QByteArray(100'000, 'x'));
    for (int count = 0; count < 3; ++count)
        EXPECT_EQ(counted.shape.pieceIn(line), QString(100'000, u'x'));
    EXPECT_EQ(counted.parsed, 3);
}

} // namespace velmo
