#include "practice/Client.h"
#include "support/practice/PracticeServer.h"

#include <QElapsedTimer>
#include <QJsonDocument>

#include <gmock/gmock.h>

#include <thread>

namespace velmo::practice {

namespace {

using namespace std::chrono_literals;

class WireFaultTest : public testing::TestWithParam<Vendor> {
protected:
    void SetUp() override
    {
        ASSERT_NE(server_.start(), 0);
        server_.setPieces({QStringLiteral("one"), QStringLiteral("two"), QStringLiteral("three"),
                           QString::fromUtf8("\xF0\x9F\x8E\xAF\xC3\xA9")});
    }

    RawAnswer ask(const Scenario& scenario)
    {
        server_.setScenario(scenario);
        Client client(server_.port());
        return client.exchange(requestOf(GetParam()));
    }

    static std::string textOf(const RawAnswer& answer)
    {
        return textsOf(answer.body).join(QLatin1Char('|')).toStdString();
    }

    static inline const std::string kAll = "one|two|three|\xF0\x9F\x8E\xAF\xC3\xA9";
    PracticeServer server_;
};

TEST_P(WireFaultTest, WaitsBeforeTheHead)
{
    QElapsedTimer timer;
    timer.start();
    EXPECT_EQ(textOf(ask({.kind = ScenarioKind::SlowHead, .headDelay = 120ms})), kAll);
    EXPECT_GE(timer.elapsed(), 115);
}

TEST_P(WireFaultTest, DripsManyPieces)
{
    QElapsedTimer timer;
    timer.start();
    const RawAnswer answer = ask({.kind = ScenarioKind::SlowDrip, .dripDelay = 10ms, .dripPieces = 9});
    EXPECT_EQ(textOf(answer), kAll + "|" + kAll + "|one");
    EXPECT_GE(timer.elapsed(), 85);
}

TEST_P(WireFaultTest, ClosesOrResetsBeforeTheHead)
{
    const RawAnswer dropped = ask({.kind = ScenarioKind::DropBeforeHead});
    EXPECT_TRUE(dropped.raw.isEmpty());
    EXPECT_TRUE(dropped.isClosed);
    EXPECT_FALSE(dropped.wasReset);
    const RawAnswer reset = ask({.kind = ScenarioKind::ResetBeforeHead});
    EXPECT_TRUE(reset.raw.isEmpty());
    EXPECT_TRUE(reset.wasReset);
}

TEST_P(WireFaultTest, BreaksOffInTheBody)
{
    for (const ScenarioKind kind :
         {ScenarioKind::DropInBody, ScenarioKind::DropInBodyLength, ScenarioKind::ResetInBody}) {
        const RawAnswer answer = ask({.kind = kind, .cutAfter = 3});
        EXPECT_EQ(answer.status, 200);
        EXPECT_EQ(textOf(answer), "one|two|three") << scenarioName(kind).toStdString();
        EXPECT_TRUE(answer.isClosed);
        EXPECT_FALSE(answer.isComplete);
        EXPECT_EQ(answer.wasReset, kind == ScenarioKind::ResetInBody);
        EXPECT_EQ(answer.header("Content-Length").isNull(), kind != ScenarioKind::DropInBodyLength);
    }
    EXPECT_EQ(textOf(ask({.kind = ScenarioKind::DropInBody})), "one|two");
}

TEST_P(WireFaultTest, NeverAnswersUntilTheClientLeaves)
{
    server_.setScenario({.kind = ScenarioKind::NeverAnswers});
    Client client(server_.port());
    client.send(requestOf(GetParam()));
    ASSERT_TRUE(server_.waitForRequests(1, 5s));
    const RawAnswer answer = client.receive(100ms);
    EXPECT_TRUE(answer.raw.isEmpty());
    EXPECT_FALSE(answer.isClosed);
    EXPECT_EQ(server_.closedConnections(), 0);
    client.disconnect();
    EXPECT_TRUE(server_.waitForClosedConnections(1, 5s));
}

TEST_P(WireFaultTest, RedirectsToAnotherOrigin)
{
    for (const auto& [kind, status] :
         {std::pair(ScenarioKind::Redirect302, 302), std::pair(ScenarioKind::Redirect307, 307)}) {
        const RawAnswer answer = ask({.kind = kind, .redirectTo = QStringLiteral("http://127.0.0.1:1234")});
        EXPECT_EQ(answer.status, status);
        EXPECT_EQ(answer.header("Location"), "http://127.0.0.1:1234" + pathOf(GetParam()));
        EXPECT_TRUE(answer.isComplete);
    }
}

TEST_P(WireFaultTest, SpeaksTheOldVersion)
{
    const RawAnswer answer = ask({.kind = ScenarioKind::Http10Close});
    EXPECT_EQ(answer.statusLine, "HTTP/1.0 200 OK");
    EXPECT_TRUE(answer.header("Transfer-Encoding").isNull());
    EXPECT_TRUE(answer.header("Content-Length").isNull());
    EXPECT_TRUE(answer.isClosed);
    EXPECT_EQ(textOf(answer), kAll);
}

TEST_P(WireFaultTest, SendsABadChunk)
{
    const RawAnswer answer = ask({.kind = ScenarioKind::BadChunk, .cutAfter = 1});
    EXPECT_TRUE(answer.isBadlyFramed);
    EXPECT_EQ(textOf(answer), "one");
}

TEST_P(WireFaultTest, SendsAnOversizedHead)
{
    const RawAnswer answer = ask({.kind = ScenarioKind::OversizedHead, .oversizedHeadBytes = 300000});
    EXPECT_EQ(answer.header("X-Padding").size(), 300000);
    EXPECT_EQ(textOf(answer), kAll);
}

TEST_P(WireFaultTest, SendsWhatIsNotHttp)
{
    const RawAnswer answer = ask({.kind = ScenarioKind::NotHttp});
    EXPECT_EQ(answer.status, 0);
    EXPECT_TRUE(answer.raw.startsWith("220 "));
    EXPECT_TRUE(answer.isClosed);
}

TEST_P(WireFaultTest, ClaimsGzip)
{
    const RawAnswer answer = ask({.kind = ScenarioKind::GzipClaimed});
    EXPECT_EQ(answer.header("Content-Encoding"), "gzip");
    EXPECT_EQ(textOf(answer), kAll);
}

TEST_P(WireFaultTest, SplitsTheBodyAsAsked)
{
    const RawAnswer bytewise = ask({.kind = ScenarioKind::SplitEverywhere});
    EXPECT_EQ(textOf(bytewise), kAll);
    EXPECT_EQ(bytewise.chunks.size(), bytewise.body.size());

    const RawAnswer once = ask({.kind = ScenarioKind::SplitAt, .splitAt = 17});
    EXPECT_EQ(textOf(once), kAll);
    ASSERT_EQ(once.chunks.size(), 2);
    EXPECT_EQ(once.chunks[0].size(), 17);

    const RawAnswer inside = ask({.kind = ScenarioKind::MultibyteSplit});
    EXPECT_EQ(textOf(inside), kAll);
    EXPECT_EQ(inside.chunks.size(), 5); // Three cuts in the first sequence, one in the second.
    EXPECT_TRUE(inside.chunks[0].endsWith('\xF0'));
}

TEST_P(WireFaultTest, StreamsAHugeAnswerCompletely)
{
    const qint64 bytes = qint64{8} * 1024 * 1024 + 7;
    server_.setScenario({.kind = ScenarioKind::HugeStream, .hugeBytes = bytes, .hugePieceBytes = 1000});
    QByteArray request = requestOf(GetParam());
    Client client(server_.port());
    client.send(request.insert(request.indexOf("\r\n") + 2, "Connection: close\r\n"));
    const RawAnswer answer = parseAnswer(client.receiveAll(), true);
    EXPECT_TRUE(answer.isComplete);
    const QStringList texts = textsOf(answer.body);
    EXPECT_EQ(texts.size(), bytes / 1000 + 1);
    EXPECT_EQ(texts.join(QString()).size(), bytes);
    EXPECT_TRUE(
        answer.body.endsWith(GetParam() == Vendor::Chat ? "data: [DONE]\n\n" : "\"message_stop\"}\n\n"));
}

TEST_P(WireFaultTest, HoldsAHugeAnswerBackWhileNobodyReads)
{
    server_.setScenario({.kind = ScenarioKind::HugeStream, .hugeBytes = qint64{1024} * 1024 * 1024});
    Client client(server_.port());
    client.send(requestOf(GetParam()));
    ASSERT_TRUE(server_.waitForRequests(1, 5s));
    quint64 before = 0;
    quint64 now = server_.sentBytes();
    for (int round = 0; round < 50 && (now == 0 || now != before); ++round) {
        std::this_thread::sleep_for(60ms);
        before = std::exchange(now, server_.sentBytes());
    }
    EXPECT_EQ(now, before);
    EXPECT_GT(now, 0U);
    EXPECT_LT(now, 64U * 1024 * 1024);
}

INSTANTIATE_TEST_SUITE_P(Both, WireFaultTest, testing::Values(Vendor::Messages, Vendor::Chat),
                         testing::PrintToStringParamName());

} // namespace

} // namespace velmo::practice
