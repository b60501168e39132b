#include "practice/Client.h"
#include "support/practice/PracticeServer.h"

#include <QStringDecoder>

#include <gmock/gmock.h>

namespace velmo::practice {

namespace {

class StreamFaultTest : public testing::TestWithParam<Vendor> {
protected:
    void SetUp() override
    {
        ASSERT_NE(server_.start(), 0);
        server_.setPieces({QStringLiteral("one"), QStringLiteral("two"), QStringLiteral("three"),
                           QStringLiteral("four"), QStringLiteral("five")});
    }

    RawAnswer ask(const Scenario& scenario)
    {
        server_.setScenario(scenario);
        Client client(server_.port());
        RawAnswer answer = client.exchange(requestOf(GetParam()));
        EXPECT_EQ(answer.status, 200);
        EXPECT_TRUE(answer.isComplete);
        return answer;
    }

    static std::string textOf(const RawAnswer& answer)
    {
        return textsOf(answer.body).join(QLatin1Char('|')).toStdString();
    }

    [[nodiscard]] static QByteArray endMarker()
    {
        return GetParam() == Vendor::Chat ? "data: [DONE]" : "data: {\"type\":\"message_stop\"}";
    }

    static inline const std::string kAll = "one|two|three|four|five";
    PracticeServer server_;
};

TEST_P(StreamFaultTest, PutsALineThatIsNotUtf8BetweenValidOnes)
{
    const RawAnswer answer = ask({.kind = ScenarioKind::NonUtf8Line, .cutAfter = 2});
    int broken = 0;
    for (const QByteArray& line : answer.body.split('\n')) {
        QStringDecoder decoder(QStringDecoder::Utf8);
        const QString text = decoder(line);
        broken += text.isEmpty() || !decoder.hasError() ? 0 : 1;
    }
    EXPECT_EQ(broken, 1);
    EXPECT_EQ(textOf(answer), kAll);
    EXPECT_GT(answer.body.indexOf('\xFF'), answer.body.indexOf("two"));
    EXPECT_LT(answer.body.indexOf('\xFF'), answer.body.indexOf("three"));
}

TEST_P(StreamFaultTest, MixesInvalidJsonWithValidEvents)
{
    const RawAnswer answer = ask({.kind = ScenarioKind::InvalidJsonEvents});
    EXPECT_EQ(textOf(answer), kAll);
    for (const char* line : {"data: {\"choices\": [not json\n", "data: [1, 2, 3]\n", "data: \"a string\"\n",
                             "data: 42\n", "data: null\n", "data:\n", "\ndata:{\"", "\ndata:  {\""}) {
        EXPECT_TRUE(answer.body.contains(line)) << line;
    }
}

TEST_P(StreamFaultTest, EndsWithAnErrorInTheStream)
{
    const RawAnswer answer =
        ask({.kind = ScenarioKind::ErrorEvent, .cutAfter = 2, .message = QStringLiteral("Too much")});
    EXPECT_EQ(textOf(answer), "one|two");
    const QByteArray last = answer.chunks.last();
    EXPECT_TRUE(last.contains("\"message\":\"Too much\""));
    EXPECT_EQ(last.startsWith("event: error\n"), GetParam() == Vendor::Messages);
    EXPECT_FALSE(answer.body.contains(endMarker()));
}

TEST_P(StreamFaultTest, AddsPingsAndComments)
{
    const RawAnswer answer = ask({.kind = ScenarioKind::PingsAndComments});
    EXPECT_EQ(textOf(answer), kAll);
    for (const char* noise : {"\n: keep-alive\n", "event: ping\n", "\nretry: 3000\n", "\n\n\n\n", "\n:\n"}) {
        EXPECT_TRUE(answer.body.contains(noise)) << noise;
    }
}

TEST_P(StreamFaultTest, EndsLinesInCrLf)
{
    const RawAnswer answer = ask({.kind = ScenarioKind::Crlf});
    EXPECT_EQ(textOf(answer), kAll);
    EXPECT_EQ(answer.body.count('\n'), answer.body.count("\r\n"));
    EXPECT_GT(answer.body.count("\r\n\r\n"), 5);
}

TEST_P(StreamFaultTest, PutsReturnsInsideLines)
{
    const RawAnswer answer = ask({.kind = ScenarioKind::StrayCr});
    EXPECT_EQ(textOf(answer), kAll);
    EXPECT_EQ(answer.body.count("data: {\r\""), 5);
    EXPECT_EQ(answer.body.count("comment\rwith"), 5);
}

TEST_P(StreamFaultTest, LeavesTheFinalNewlineOut)
{
    for (const ScenarioKind kind : {ScenarioKind::NoFinalNewline, ScenarioKind::NoFinalNewlineClose}) {
        const RawAnswer answer = ask({.kind = kind});
        EXPECT_EQ(textOf(answer), kAll);
        EXPECT_TRUE(answer.body.endsWith('\n' + endMarker()));
        EXPECT_EQ(answer.isClosed, kind == ScenarioKind::NoFinalNewlineClose);
        EXPECT_EQ(answer.header("Transfer-Encoding").isNull(), kind == ScenarioKind::NoFinalNewlineClose);

        const RawAnswer text = ask({.kind = kind, .lastEventIsText = true});
        EXPECT_EQ(textOf(text), kAll);
        EXPECT_GT(text.body.indexOf("five"), text.body.lastIndexOf('\n'));
    }
}

TEST_P(StreamFaultTest, GoesOnAfterTheEndMarker)
{
    const RawAnswer answer = ask({.kind = ScenarioKind::DoneInMiddle, .cutAfter = 2});
    EXPECT_EQ(textOf(answer), kAll);
    EXPECT_EQ(answer.body.count(endMarker()), 2);
    EXPECT_GT(answer.body.indexOf(endMarker()), answer.body.indexOf("two"));
    EXPECT_LT(answer.body.indexOf(endMarker()), answer.body.indexOf("three"));
}

TEST_P(StreamFaultTest, StartsWithDeltasWithoutText)
{
    const RawAnswer answer = ask({.kind = ScenarioKind::RoleOnlyFirst});
    EXPECT_EQ(textOf(answer), '|' + kAll);
    const char* textless = GetParam() == Vendor::Chat ? "\"content\":null" : "\"partial_json\"";
    EXPECT_TRUE(answer.body.contains(textless));
    EXPECT_LT(answer.body.indexOf(textless), answer.body.indexOf("one"));
}

TEST_P(StreamFaultTest, SendsEmptyDeltas)
{
    EXPECT_EQ(textOf(ask({.kind = ScenarioKind::EmptyDeltas})), "|one||two||three||four||five|");
}

TEST_P(StreamFaultTest, SendsALongLine)
{
    const RawAnswer answer = ask({.kind = ScenarioKind::LongLine, .longLineBytes = 1000000});
    const QStringList texts = textsOf(answer.body);
    ASSERT_EQ(texts.size(), 6);
    EXPECT_EQ(texts[0], QString(1000000, QLatin1Char('x')));
    EXPECT_EQ(texts[5], QStringLiteral("five"));
}

INSTANTIATE_TEST_SUITE_P(Both, StreamFaultTest, testing::Values(Vendor::Messages, Vendor::Chat),
                         testing::PrintToStringParamName());

} // namespace

} // namespace velmo::practice
