#include "practice/Client.h"
#include "support/practice/PracticeServer.h"

#include <QElapsedTimer>

#include <gmock/gmock.h>

#include <future>
#include <memory>
#include <vector>

namespace velmo::practice {

namespace {

using namespace std::chrono_literals;

class ExchangeTest : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_NE(server_.start(), 0) << server_.errorString().toStdString();
        server_.setScenario(
            {.kind = ScenarioKind::Custom, .contentType = "text/plain", .blocks = {"first ", "second"}});
    }

    PracticeServer server_;
};

TEST_F(ExchangeTest, RecordsWhatWasSentAsItWasSent)
{
    Client client(server_.port());
    const auto before = std::chrono::steady_clock::now();
    const RawAnswer answer =
        client.exchange(post("/any/path?q=1", {{"X-CaSe", "a  b"}, {"x-case", "c"}}, "the body"));

    EXPECT_EQ(answer.status, 200);
    EXPECT_EQ(answer.header("content-type"), "text/plain");
    EXPECT_EQ(answer.chunks, (QByteArrayList{"first ", "second"}));
    const auto requests = server_.requests();
    ASSERT_EQ(requests.size(), 1);
    EXPECT_EQ(requests[0].method, "POST");
    EXPECT_EQ(requests[0].path, "/any/path?q=1");
    EXPECT_EQ(requests[0].plainPath(), "/any/path");
    EXPECT_EQ(requests[0].body, "the body");
    const HeaderList expected{
        {"Host", "practice.example"}, {"X-CaSe", "a  b"}, {"x-case", "c"}, {"Content-Length", "8"}};
    EXPECT_EQ(requests[0].headers, expected);
    EXPECT_GE(requests[0].arrivedAt, before);
    EXPECT_LE(requests[0].arrivedAt, std::chrono::steady_clock::now());
}

TEST_F(ExchangeTest, ReusesConnectionsAndNumbersThem)
{
    Client first(server_.port());
    Client second(server_.port());
    EXPECT_TRUE(first.exchange(post("/1", {}, {})).isComplete);
    EXPECT_TRUE(second.exchange(post("/2", {}, {})).isComplete);
    EXPECT_TRUE(first.exchange(post("/3", {}, {})).isComplete);

    const auto requests = server_.requests();
    ASSERT_EQ(requests.size(), 3);
    EXPECT_EQ(requests[0].connection, requests[2].connection);
    EXPECT_NE(requests[0].connection, requests[1].connection);
    EXPECT_EQ(requests[2].order, 3);
    EXPECT_EQ(server_.openedConnections(), 2);
}

TEST_F(ExchangeTest, ClosesWhenTheClientAsksForIt)
{
    Client client(server_.port());
    client.send(post("/", {{"Connection", "close"}}, {}));
    EXPECT_EQ(client.receive().header("Connection"), "close");
    EXPECT_TRUE(server_.waitForClosedConnections(1, 5s));
}

TEST_F(ExchangeTest, AnswersPipelinedRequestsInOrder)
{
    Client client(server_.port());
    client.send(post("/1", {}, "one") + post("/2", {}, "two"));
    ASSERT_TRUE(server_.waitForRequests(2, 5s));
    EXPECT_EQ(server_.requests()[0].body, "one");
    EXPECT_EQ(server_.requests()[1].body, "two");
}

TEST_F(ExchangeTest, ReadsChunkedBodiesByteByByte)
{
    Client client(server_.port());
    const QByteArray request = "POST /c HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n"
                               "5;name=value\r\nhello\r\n7\r\n, world\r\n0\r\nTrailer: x\r\n\r\n";
    for (const char byte : request) {
        client.send(QByteArray(1, byte));
    }
    EXPECT_EQ(client.receive().status, 200);
    ASSERT_EQ(server_.requests().size(), 1);
    EXPECT_EQ(server_.requests()[0].body, "hello, world");
}

TEST_F(ExchangeTest, AnswersTheWishToContinueBeforeTheBody)
{
    Client client(server_.port());
    client.send("POST /e HTTP/1.1\r\nExpect: 100-continue\r\nContent-Length: 4\r\n\r\n");
    EXPECT_EQ(client.receive(300ms).raw, "HTTP/1.1 100 Continue\r\n\r\n");
    EXPECT_TRUE(server_.requests().isEmpty());
    EXPECT_EQ(client.exchange("body").status, 200);
    ASSERT_EQ(server_.requests().size(), 1);
    EXPECT_EQ(server_.requests()[0].header("expect"), "100-continue");
    EXPECT_EQ(server_.requests()[0].body, "body");
}

TEST_F(ExchangeTest, RefusesWhatIsNoRequest)
{
    Client client(server_.port());
    const RawAnswer answer = client.exchange("hello\r\n\r\n");
    EXPECT_EQ(answer.status, 400);
    EXPECT_TRUE(server_.waitForClosedConnections(1, 5s));
    EXPECT_TRUE(server_.requests().isEmpty());
}

TEST_F(ExchangeTest, TakesSixtyFourMegabytesQuickly)
{
    const QByteArray body(qsizetype{64} * 1024 * 1024, 'b');
    Client client(server_.port());
    QElapsedTimer timer;
    timer.start();
    client.send(post("/large", {}, body));
    EXPECT_EQ(client.receive(40s).status, 200);
    // A fifth of a second on an idle machine; anything that grows with the square of the size takes minutes.
    EXPECT_LT(timer.elapsed(), 30000);
    ASSERT_EQ(server_.requests().size(), 1);
    EXPECT_EQ(server_.requests()[0].body, body);
}

TEST_F(ExchangeTest, WaitsForRequestsWithoutAnEventLoop)
{
    EXPECT_FALSE(server_.waitForRequests(1, 20ms));
    auto waiting = std::async(std::launch::async, [this] { return server_.waitForRequests(1, 5s); });
    Client client(server_.port());
    EXPECT_EQ(client.exchange(post("/", {}, {})).status, 200);
    EXPECT_TRUE(waiting.get());
    server_.clearRequests();
    EXPECT_TRUE(server_.requests().isEmpty());
    EXPECT_FALSE(server_.waitForRequests(1, 20ms));
}

TEST_F(ExchangeTest, TakesQueuedScenariosBeforeTheDefault)
{
    server_.enqueue({{.kind = ScenarioKind::Custom, .status = 503},
                     {.kind = ScenarioKind::Custom, .status = 404, .headers = {{"Content-Length", "0"}}}});
    Client client(server_.port());
    EXPECT_EQ(client.exchange(post("/", {}, {})).status, 503);
    EXPECT_EQ(client.exchange(post("/", {}, {})).status, 404);
    EXPECT_EQ(client.exchange(post("/", {}, {})).status, 200);
    server_.enqueue({{.kind = ScenarioKind::Custom, .status = 503}});
    server_.clearQueue();
    EXPECT_EQ(client.exchange(post("/", {}, {})).status, 200);
}

TEST_F(ExchangeTest, ServesManyConnectionsAtOnce)
{
    std::vector<std::unique_ptr<Client>> clients;
    for (int index = 0; index < 20; ++index) {
        clients.push_back(std::make_unique<Client>(server_.port()));
        clients.back()->send(post("/", {}, QByteArray::number(index)));
    }
    for (const auto& client : clients) {
        EXPECT_EQ(client->receive().body, "first second");
    }
    EXPECT_EQ(server_.requests().size(), 20);
    EXPECT_EQ(server_.openedConnections(), 20);
}

TEST_F(ExchangeTest, StopsAndStartsAgain)
{
    Client client(server_.port());
    EXPECT_EQ(client.exchange(post("/", {}, {})).status, 200);
    server_.stop();
    EXPECT_EQ(server_.port(), 0);
    EXPECT_EQ(server_.requests().size(), 1);
    EXPECT_TRUE(client.exchange(post("/", {}, {})).isClosed);

    ASSERT_NE(server_.start(), 0);
    EXPECT_TRUE(server_.requests().isEmpty());
    Client again(server_.port());
    EXPECT_EQ(again.exchange(post("/", {}, {})).status, 200);
    EXPECT_EQ(server_.requests()[0].order, 1);
}

TEST_F(ExchangeTest, SaysWhyItCannotListen)
{
    PracticeServer other;
    EXPECT_EQ(other.start({.port = server_.port()}), 0);
    EXPECT_FALSE(other.errorString().isEmpty());
}

} // namespace

} // namespace velmo::practice
