#include "platform/linux/CurlHttpClient.h"
#include "support/core/Environment.h"
#include "support/core/Printing.h"
#include "support/practice/PracticeServer.h"
#include "support/providers/Fetch.h"

#include <QElapsedTimer>
#include <gmock/gmock.h>

namespace velmo {

namespace {

using namespace std::chrono_literals;
using practice::Scenario;
using practice::ScenarioKind;

Scenario custom(const QByteArrayList& blocks, std::chrono::milliseconds delay = 0ms)
{
    return {.kind = ScenarioKind::Custom, .pieceDelay = delay, .blocks = blocks};
}

} // namespace

class CurlHttpClientTest : public testing::Test {
protected:
    void SetUp() override { ASSERT_NE(server.start(), 0) << server.errorString().toStdString(); }

    [[nodiscard]] HttpRequest post(const QByteArray& body = "{}") const
    {
        HttpRequest request;
        request.method = "POST";
        request.url = QUrl(server.baseUrl() + QStringLiteral("/some/path?x=1"));
        request.headers = {{"Content-Type", "application/json"}, {"x-api-key", "dummy"}};
        request.body = body;
        return request;
    }

    practice::PracticeServer server;
    CurlHttpClient client;
};

TEST_F(CurlHttpClientTest, GivesStatusHeadersAndBody)
{
    Scenario scenario = custom({"one", "two", "three"});
    scenario.status = 418;
    scenario.headers = {{"X-Note", "  a note "}};
    server.setScenario(scenario);
    const Fetch fetch(client, post("question"));
    ASSERT_TRUE(fetch.run());
    EXPECT_FALSE(fetch.error().has_value());
    EXPECT_EQ(fetch.head().status, 418);
    EXPECT_EQ(fetch.bytes(), "onetwothree");
    const auto& headers = fetch.head().headers;
    EXPECT_TRUE(std::any_of(headers.begin(), headers.end(), [](const HttpHeader& header) {
        return header.name == "X-Note" && header.value == "a note";
    }));
    ASSERT_EQ(server.requests().size(), 1);
    EXPECT_EQ(server.requests().first().method, "POST");
    EXPECT_EQ(server.requests().first().path, "/some/path?x=1");
    EXPECT_EQ(server.requests().first().body, "question");
}

TEST_F(CurlHttpClientTest, SendsTheRequestsOwnHeadersAndOnlyWhatHttpDemands)
{
    server.setScenario(custom({"x"}));
    // Also with a body so large that libcurl would first ask whether it may send it.
    for (const qsizetype size : {qsizetype(2), qsizetype(3) * 1024 * 1024}) {
        QElapsedTimer timer;
        timer.start();
        const Fetch fetch(client, post(QByteArray(size, 'b')));
        ASSERT_TRUE(fetch.run());
        EXPECT_LT(timer.elapsed(), 900) << "something waited for a permission to send";
        const practice::RecordedRequest seen = server.requests().last();
        QStringList names;
        for (const auto& [name, value] : seen.headers)
            names.append(QString::fromLatin1(name + ": " + value));
        names.sort();
        EXPECT_EQ(names, (QStringList{QStringLiteral("Accept-Encoding: identity"),
                                      QStringLiteral("Content-Length: ") + QString::number(size),
                                      QStringLiteral("Content-Type: application/json"),
                                      QStringLiteral("Host: 127.0.0.1:") + QString::number(server.port()),
                                      QStringLiteral("x-api-key: dummy")}));
        EXPECT_EQ(seen.body.size(), size);
    }
}

TEST_F(CurlHttpClientTest, GetsWithoutABody)
{
    server.setScenario(custom({"x"}));
    HttpRequest request = post();
    request.method = "GET";
    request.body.clear();
    const Fetch fetch(client, request);
    ASSERT_TRUE(fetch.run());
    EXPECT_EQ(server.requests().first().method, "GET");
    EXPECT_TRUE(server.requests().first().header("Content-Length").isNull());
}

TEST_F(CurlHttpClientTest, ReusesItsConnection)
{
    server.setScenario(custom({"x"}));
    for (int count = 0; count < 3; ++count)
        ASSERT_TRUE(Fetch(client, post()).run());
    EXPECT_EQ(server.requests().size(), 3);
    EXPECT_EQ(server.openedConnections(), 1);
}

TEST_F(CurlHttpClientTest, CarriesManyRequestsAtOnce)
{
    server.setScenario(custom({"a", "b"}, 100ms));
    QElapsedTimer timer;
    timer.start();
    constexpr int kRequests = 12;
    std::vector<std::unique_ptr<Fetch>> fetches;
    fetches.reserve(kRequests);
    for (int count = 0; count < kRequests; ++count)
        fetches.push_back(std::make_unique<Fetch>(client, post()));
    for (const auto& fetch : fetches) {
        ASSERT_TRUE(fetch->run());
        EXPECT_EQ(fetch->bytes(), "ab");
    }
    EXPECT_LT(timer.elapsed(), kRequests * 100) << "they waited for each other";
}

TEST_F(CurlHttpClientTest, TheHeadComesBeforeTheBodyDoes)
{
    server.setScenario(custom({"first", "second"}, 10s));
    const Fetch fetch(client, post());
    ASSERT_TRUE(fetch.waitForHead());
    fetch.read();
    ASSERT_TRUE(fetch.waitForBytes(5));
    EXPECT_EQ(fetch.bytes(), "first");
}

TEST_F(CurlHttpClientTest, WhatCameBeforeReadingIsKept)
{
    server.setScenario(custom({"first", "second"}, 10s));
    HttpRequest request = post();
    request.idleTimeout = 200ms;
    const Fetch fetch(client, request);
    ASSERT_TRUE(fetch.waitForHead());
    // The transfer ends with a time-out before anybody reads; neither the bytes nor the end may be lost.
    ASSERT_TRUE(server.waitForClosedConnections(1, 5s));
    fetch.read();
    ASSERT_TRUE(fetch.waitForEnd());
    EXPECT_EQ(fetch.bytes(), "first");
    ASSERT_TRUE(fetch.error().has_value());
    EXPECT_EQ(fetch.error()->kind, HttpErrorKind::TimedOut);
}

TEST_F(CurlHttpClientTest, SilenceLongerThanTheIdleLimitIsATimeOut)
{
    server.setScenario({.kind = ScenarioKind::NeverAnswers});
    HttpRequest request = post();
    request.idleTimeout = 200ms;
    QElapsedTimer timer;
    timer.start();
    const Fetch fetch(client, request);
    ASSERT_TRUE(fetch.waitForHead());
    EXPECT_GE(timer.elapsed(), 200);
    ASSERT_TRUE(fetch.error().has_value());
    EXPECT_EQ(fetch.error()->kind, HttpErrorKind::TimedOut);
    EXPECT_EQ(fetch.error()->description, QStringLiteral("The request timed out."));
    EXPECT_EQ(server.requests().size(), 1);
}

TEST_F(CurlHttpClientTest, ATimeOutInTheBodyKeepsWhatWasRead)
{
    server.setScenario(custom({"first", "second", "third"}, 5s));
    HttpRequest request = post();
    request.idleTimeout = 250ms;
    const Fetch fetch(client, request);
    ASSERT_TRUE(fetch.run());
    EXPECT_EQ(fetch.bytes(), "first");
    ASSERT_TRUE(fetch.error().has_value());
    EXPECT_EQ(fetch.error()->kind, HttpErrorKind::TimedOut);
    EXPECT_EQ(fetch.ends(), 1);
}

TEST_F(CurlHttpClientTest, AByteNowAndThenIsNoSilence)
{
    server.setScenario(custom(QByteArrayList(12, "x"), 60ms));
    HttpRequest request = post();
    request.idleTimeout = 400ms;
    const Fetch fetch(client, request);
    ASSERT_TRUE(fetch.run());
    EXPECT_FALSE(fetch.error().has_value());
    EXPECT_EQ(fetch.bytes(), QByteArray(12, 'x'));
}

TEST_F(CurlHttpClientTest, TheLimitForTheWholeHoldsAlsoWhileBytesCome)
{
    server.setScenario(custom(QByteArrayList(1000, "x"), 20ms));
    HttpRequest request = post();
    request.totalTimeout = 400ms;
    QElapsedTimer timer;
    timer.start();
    const Fetch fetch(client, request);
    ASSERT_TRUE(fetch.run());
    EXPECT_GE(timer.elapsed(), 400);
    EXPECT_GT(fetch.bytes().size(), 0);
    ASSERT_TRUE(fetch.error().has_value());
    EXPECT_EQ(fetch.error()->kind, HttpErrorKind::TimedOut);
}

TEST_F(CurlHttpClientTest, DestroyingAnExchangeEndsTheRequestWithoutAWord)
{
    server.setScenario({.kind = ScenarioKind::NeverAnswers});
    Fetch fetch(client, post());
    ASSERT_TRUE(server.waitForRequests(1, 5s));
    fetch.dropExchange();
    EXPECT_TRUE(server.waitForClosedConnections(1, 5s));
    EXPECT_EQ(fetch.heads(), 0);
}

TEST_F(CurlHttpClientTest, DestroyingAnExchangeAfterTheHeadDoesNothing)
{
    server.setScenario(custom({"first", "second"}, 50ms));
    Fetch fetch(client, post());
    ASSERT_TRUE(fetch.waitForHead());
    fetch.dropExchange();
    fetch.read();
    ASSERT_TRUE(fetch.waitForEnd());
    EXPECT_FALSE(fetch.error().has_value());
    EXPECT_EQ(fetch.bytes(), "firstsecond");
}

TEST_F(CurlHttpClientTest, DestroyingABodyEndsTheTransferWithoutAWord)
{
    server.setScenario(custom({"first", "second"}, 10s));
    const Fetch fetch(client, post());
    ASSERT_TRUE(fetch.waitForHead());
    fetch.read();
    ASSERT_TRUE(fetch.waitForBytes(5));
    fetch.dropBody();
    EXPECT_TRUE(server.waitForClosedConnections(1, 5s));
    EXPECT_EQ(fetch.ends(), 0);
}

TEST_F(CurlHttpClientTest, DestroyingTheClientEndsEverythingAsCancelled)
{
    server.enqueue({{.kind = ScenarioKind::NeverAnswers}, custom({"first", "second"}, 10s)});
    auto own = std::make_unique<CurlHttpClient>();
    const Fetch waiting(*own, post());
    ASSERT_TRUE(server.waitForRequests(1, 5s));
    const Fetch reading(*own, post());
    ASSERT_TRUE(reading.waitForHead());
    reading.read();
    ASSERT_TRUE(reading.waitForBytes(5));
    own.reset();
    ASSERT_TRUE(waiting.error().has_value());
    EXPECT_EQ(waiting.error()->kind, HttpErrorKind::Cancelled);
    ASSERT_TRUE(reading.error().has_value());
    EXPECT_EQ(reading.error()->kind, HttpErrorKind::Cancelled);
    EXPECT_EQ(reading.bytes(), "first");
}

TEST_F(CurlHttpClientTest, PlainHttpGoesToThisComputerOnly)
{
    for (const char* address :
         {"http://192.0.2.1/", "http://example.com/v1", "http://localhost.example.com/"}) {
        HttpRequest request = post();
        request.url = QUrl(QString::fromLatin1(address));
        const Fetch fetch(client, request);
        ASSERT_TRUE(fetch.waitForHead());
        ASSERT_TRUE(fetch.error().has_value()) << address;
        EXPECT_EQ(fetch.error()->kind, HttpErrorKind::Unsupported);
        EXPECT_TRUE(fetch.error()->description.contains(QStringLiteral("must begin with https")));
    }
    server.setScenario(custom({"x"}));
    for (const char* host : {"localhost", "127.0.0.1", "some.localhost"}) {
        HttpRequest request = post();
        request.url.setHost(QString::fromLatin1(host));
        const Fetch fetch(client, request);
        ASSERT_TRUE(fetch.run());
        EXPECT_FALSE(fetch.error().has_value()) << host << ": " << fetch.error()->description.toStdString();
    }
}

TEST_F(CurlHttpClientTest, WhatIsNoWebAddressIsRefused)
{
    for (const char* address : {"", "ftp://127.0.0.1/", "file:///etc/passwd", "https://", "127.0.0.1"}) {
        HttpRequest request = post();
        request.url = QUrl(QString::fromLatin1(address));
        const Fetch fetch(client, request);
        ASSERT_TRUE(fetch.waitForHead());
        ASSERT_TRUE(fetch.error().has_value()) << address;
        EXPECT_EQ(fetch.error()->kind, HttpErrorKind::Unsupported);
    }
}

TEST_F(CurlHttpClientTest, AHeaderThatWouldBreakTheLineIsRefused)
{
    server.setScenario(custom({"x"}));
    for (const char* value : {"dummy\n", "dummy\r\nX-Other: 1", "a\rb"}) {
        HttpRequest request = post();
        request.headers.push_back({"Authorization", value});
        const Fetch fetch(client, request);
        ASSERT_TRUE(fetch.waitForHead());
        ASSERT_TRUE(fetch.error().has_value());
        EXPECT_EQ(fetch.error()->kind, HttpErrorKind::Unsupported);
        EXPECT_FALSE(fetch.error()->description.contains(QStringLiteral("dummy")));
    }
    EXPECT_EQ(server.requests().size(), 0);
}

TEST_F(CurlHttpClientTest, ANameThatDoesNotExistCannotBeFound)
{
    // A proxy would look the name up in our place.
    const EnvironmentVariable secure("https_proxy");
    const EnvironmentVariable secureUpper("HTTPS_PROXY");
    const EnvironmentVariable all("all_proxy");
    const EnvironmentVariable allUpper("ALL_PROXY");
    HttpRequest request = post();
    request.url = QUrl(QStringLiteral("https://no-such-host.invalid/"));
    request.totalTimeout = 5s;
    const Fetch fetch(client, request);
    ASSERT_TRUE(fetch.waitForHead());
    ASSERT_TRUE(fetch.error().has_value());
    // Which of the three depends on the network that the test runs in; each allows a second try.
    EXPECT_THAT(fetch.error()->kind, testing::AnyOf(HttpErrorKind::CannotFindHost,
                                                    HttpErrorKind::DnsLookupFailed, HttpErrorKind::TimedOut));
}

TEST_F(CurlHttpClientTest, ARedirectIsHandedBackAndNotFollowed)
{
    practice::PracticeServer other;
    ASSERT_NE(other.start(), 0);
    server.setScenario({.kind = ScenarioKind::Redirect307, .redirectTo = other.baseUrl()});
    const Fetch fetch(client, post());
    ASSERT_TRUE(fetch.run());
    EXPECT_EQ(fetch.head().status, 307);
    EXPECT_EQ(other.openedConnections(), 0);
}

} // namespace velmo
