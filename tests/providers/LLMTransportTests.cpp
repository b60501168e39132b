#include "core/async/TaskScope.h"
#include "platform/linux/CurlHttpClient.h"
#include "providers/LLMTransport.h"
#include "support/core/EventLoop.h"
#include "support/core/LogLines.h"
#include "support/core/Printing.h"
#include "support/practice/PracticeServer.h"
#include "support/providers/ScriptedHttpClient.h"

#include <gmock/gmock.h>

namespace velmo {

namespace {

using namespace std::chrono_literals;
using practice::ScenarioKind;

constexpr auto kPause = 1000ms;
/// A busy machine may be late; a timer of a few percent's tolerance would still be found out to be early.
constexpr auto kLateness = 600ms;

HttpRequest requestTo(const QString& host)
{
    HttpRequest request;
    request.method = "POST";
    request.url = QUrl(QStringLiteral("https://") + host + QStringLiteral("/v1/messages"));
    request.body = "{}";
    return request;
}

HttpError errorOf(HttpErrorKind kind)
{
    return {kind, QStringLiteral("%1 of kind ") + QString::number(static_cast<int>(kind))};
}

const std::vector<std::pair<HttpErrorKind, bool>> kKinds{
    {HttpErrorKind::TimedOut, true},
    {HttpErrorKind::ConnectionLost, true},
    {HttpErrorKind::CannotConnectToHost, true},
    {HttpErrorKind::CannotFindHost, true},
    {HttpErrorKind::DnsLookupFailed, true},
    {HttpErrorKind::NotConnectedToInternet, true},
    {HttpErrorKind::Cancelled, false},
    {HttpErrorKind::Tls, false},
    {HttpErrorKind::Unsupported, false},
    {HttpErrorKind::Other, false},
};

QString hostOf(HttpErrorKind kind)
{
    return QStringLiteral("host") + QString::number(static_cast<int>(kind));
}

QString failedLine(const QString& category, int attempt, bool retryable, const QString& error)
{
    return u'[' + category + QStringLiteral("] Request attempt failed attempt=") + QString::number(attempt) +
           QStringLiteral(" retryable=") + (retryable ? QStringLiteral("true") : QStringLiteral("false")) +
           QStringLiteral(" error=") + error;
}

QString startLine(const QString& category, int attempt)
{
    return u'[' + category + QStringLiteral("] Starting request attempt=") + QString::number(attempt);
}

using Outcome = Result<HttpResponse, HttpError>;

async::Task<> keepOutcome(HttpRequest request, QString category, std::shared_ptr<std::optional<Outcome>> kept)
{
    kept->emplace(co_await LLMTransport::bytes(std::move(request), std::move(category)));
}

} // namespace

class LLMTransportTest : public testing::Test {
protected:
    LLMTransportTest()
    {
        LLMTransport::installClient([this] { return std::make_unique<ScriptedHttpClient>(script); });
    }
    ~LLMTransportTest() override
    {
        LLMTransport::shutDown();
        settle();
    }

    std::shared_ptr<std::optional<Outcome>> start(HttpRequest request,
                                                  const QString& category = QStringLiteral("Anthropic"))
    {
        auto kept = std::make_shared<std::optional<Outcome>>();
        handle = tasks.start(keepOutcome(std::move(request), category, kept));
        return kept;
    }

    QStringList linesOf(const QString& category) const
    {
        QStringList result;
        for (const QString& line : allLines) {
            if (line.startsWith(u'[' + category + u']'))
                result.append(line);
        }
        return result;
    }

    LogLines log;
    QStringList allLines;
    HttpScript script;
    async::TaskHandle<> handle;
    async::TaskScope tasks;
};

TEST_F(LLMTransportTest, ASuccessIsOneRequestAndOneLine)
{
    script.answers[QStringLiteral("good")] = {std::nullopt};
    const auto outcome = start(requestTo(QStringLiteral("good")));
    ASSERT_TRUE(turnUntil([&] { return outcome->has_value(); }));
    EXPECT_TRUE(outcome->value());
    EXPECT_EQ(log.take(), QStringList{startLine(QStringLiteral("Anthropic"), 1)});
    ASSERT_EQ(script.requests.size(), 1U);
    EXPECT_EQ(script.requests[0].method, "POST");
    EXPECT_EQ(script.requests[0].body, "{}");
    EXPECT_EQ(script.requests[0].idleTimeout, 180s);
    EXPECT_EQ(script.requests[0].totalTimeout, 600s);
}

TEST_F(LLMTransportTest, NothingHappensInsideTheCall)
{
    script.answers[QStringLiteral("good")] = {std::nullopt};
    const auto outcome = start(requestTo(QStringLiteral("good")));
    EXPECT_TRUE(script.requests.empty());
    EXPECT_EQ(log.take(), QStringList{});
    ASSERT_TRUE(turnUntil([&] { return outcome->has_value(); }));
}

TEST_F(LLMTransportTest, AnyStatusIsHandedBackWithoutASecondTry)
{
    script.answers[QStringLiteral("busy")] = {std::nullopt, std::nullopt};
    script.status = 500;
    const auto outcome = start(requestTo(QStringLiteral("busy")), QStringLiteral("OpenAI"));
    ASSERT_TRUE(turnUntil([&] { return outcome->has_value(); }));
    ASSERT_TRUE(outcome->value());
    EXPECT_EQ(outcome->value().value().head.status, 500);
    EXPECT_EQ(log.take(), QStringList{startLine(QStringLiteral("OpenAI"), 1)});
    EXPECT_EQ(script.requests.size(), 1U);
}

TEST_F(LLMTransportTest, EachKindOfFailureIsTriedAgainOrNotAndASecondTryMaySucceed)
{
    std::vector<std::shared_ptr<std::optional<Outcome>>> outcomes;
    for (const auto& [kind, retryable] : kKinds) {
        script.answers[hostOf(kind)] = {errorOf(kind), std::nullopt};
        outcomes.push_back(start(requestTo(hostOf(kind)), hostOf(kind)));
    }
    ASSERT_TRUE(turnUntil([&] {
        return std::all_of(outcomes.begin(), outcomes.end(),
                           [](const auto& outcome) { return outcome->has_value(); });
    }));
    allLines = log.take();
    for (size_t index = 0; index < kKinds.size(); ++index) {
        const auto [kind, retryable] = kKinds[index];
        const QString category = hostOf(kind);
        QStringList expected{startLine(category, 1),
                             failedLine(category, 1, retryable, errorOf(kind).description)};
        if (retryable)
            expected << startLine(category, 2);
        EXPECT_EQ(linesOf(category), expected);
        EXPECT_EQ(script.requestsTo(category), retryable ? 2 : 1) << category.toStdString();
        EXPECT_EQ(bool(outcomes[index]->value()), retryable) << category.toStdString();
    }
}

TEST_F(LLMTransportTest, ASecondFailureIsLoggedTheSameWayAndIsTheLast)
{
    std::vector<std::shared_ptr<std::optional<Outcome>>> outcomes;
    for (const auto& [kind, retryable] : kKinds) {
        script.answers[hostOf(kind)] = {errorOf(HttpErrorKind::ConnectionLost), errorOf(kind), std::nullopt};
        outcomes.push_back(start(requestTo(hostOf(kind)), hostOf(kind)));
    }
    ASSERT_TRUE(turnUntil([&] {
        return std::all_of(outcomes.begin(), outcomes.end(),
                           [](const auto& outcome) { return outcome->has_value(); });
    }));
    allLines = log.take();
    for (size_t index = 0; index < kKinds.size(); ++index) {
        const auto [kind, retryable] = kKinds[index];
        const QString category = hostOf(kind);
        EXPECT_EQ(
            linesOf(category),
            (QStringList{startLine(category, 1),
                         failedLine(category, 1, true, errorOf(HttpErrorKind::ConnectionLost).description),
                         startLine(category, 2),
                         failedLine(category, 2, retryable, errorOf(kind).description)}));
        EXPECT_EQ(script.requestsTo(category), 2);
        ASSERT_FALSE(outcomes[index]->value());
        EXPECT_EQ(outcomes[index]->value().error().kind, kind) << "the second failure is the one that counts";
    }
}

TEST_F(LLMTransportTest, TheSecondTryComesASecondAfterTheFirstFailureAndIsTheSameRequest)
{
    script.answers[QStringLiteral("lost")] = {errorOf(HttpErrorKind::DnsLookupFailed), std::nullopt};
    HttpRequest request = requestTo(QStringLiteral("lost"));
    request.headers = {{"x-api-key", "dummy"}};
    const auto outcome = start(request);
    ASSERT_TRUE(turnUntil([&] { return outcome->has_value(); }));
    ASSERT_EQ(script.times.size(), 2U);
    EXPECT_GE(script.times[1] - script.times[0], kPause);
    EXPECT_LE(script.times[1] - script.times[0], kPause + kLateness);
    EXPECT_EQ(script.requests[1].url, script.requests[0].url);
    EXPECT_EQ(script.requests[1].body, script.requests[0].body);
    ASSERT_EQ(script.requests[1].headers.size(), 1U);
    EXPECT_EQ(script.requests[1].headers[0].value, "dummy");
}

TEST_F(LLMTransportTest, CancellingDuringThePauseEndsTheCallWithoutASecondTry)
{
    script.answers[QStringLiteral("lost")] = {errorOf(HttpErrorKind::ConnectionLost), std::nullopt};
    const auto outcome = start(requestTo(QStringLiteral("lost")));
    ASSERT_TRUE(turnUntil([&] { return log.text().contains(QStringLiteral("Request attempt failed")); }));
    handle.cancel();
    ASSERT_TRUE(turnUntil([&] { return handle.isFinished(); }, 500ms))
        << "it did not wait for the pause to end";
    EXPECT_FALSE(outcome->has_value());
    EXPECT_EQ(script.requests.size(), 1U);
}

TEST_F(LLMTransportTest, CancellingWhileTheRequestRunsLetsGoOfIt)
{
    const auto outcome = start(requestTo(QStringLiteral("silent")));
    ASSERT_TRUE(turnUntil([&] { return script.openExchanges == 1; }));
    handle.cancel();
    ASSERT_TRUE(turnUntil([&] { return handle.isFinished(); }, 500ms));
    EXPECT_EQ(script.openExchanges, 0);
    EXPECT_FALSE(outcome->has_value());
}

TEST_F(LLMTransportTest, TheClientIsMadeAtTheFirstRequestAndShared)
{
    int made = 0;
    LLMTransport::installClient([this, &made] {
        ++made;
        return std::make_unique<ScriptedHttpClient>(script);
    });
    script.answers[QStringLiteral("good")] = {std::nullopt, std::nullopt};
    EXPECT_EQ(made, 0);
    const auto first = start(requestTo(QStringLiteral("good")));
    const auto second = start(requestTo(QStringLiteral("good")));
    ASSERT_TRUE(turnUntil([&] { return first->has_value() && second->has_value(); }));
    EXPECT_EQ(made, 1);
}

TEST_F(LLMTransportTest, WithTheRealClientEachLoggedAttemptIsOneRequestASecondApart)
{
    practice::PracticeServer server;
    ASSERT_NE(server.start(), 0);
    server.enqueue({{.kind = ScenarioKind::ResetBeforeHead}, {.kind = ScenarioKind::Status500}});
    LLMTransport::installClient([] { return std::make_unique<CurlHttpClient>(); });
    HttpRequest request = requestTo(QString());
    request.url = QUrl(server.baseUrl() + QStringLiteral("/v1/messages"));
    const auto outcome = start(request);
    ASSERT_TRUE(turnUntil([&] { return outcome->has_value(); }));

    ASSERT_TRUE(outcome->value());
    EXPECT_EQ(outcome->value().value().head.status, 500);
    const QString category = QStringLiteral("Anthropic");
    EXPECT_EQ(log.take(),
              (QStringList{startLine(category, 1),
                           failedLine(category, 1, true, QStringLiteral("The network connection was lost.")),
                           startLine(category, 2)}));
    const auto requests = server.requests();
    ASSERT_EQ(requests.size(), 2);
    const auto apart = requests.at(1).arrivedAt - requests.at(0).arrivedAt;
    EXPECT_GE(apart, kPause - 50ms);
    EXPECT_LE(apart, kPause + kLateness);
}

TEST_F(LLMTransportTest, WithTheRealClientARefusedConnectionIsTriedTwice)
{
    quint16 port = 0;
    {
        practice::PracticeServer gone;
        port = gone.start();
    }
    LLMTransport::installClient([] { return std::make_unique<CurlHttpClient>(); });
    HttpRequest request = requestTo(QString());
    request.url = QUrl(QStringLiteral("http://127.0.0.1:") + QString::number(port));
    const auto outcome = start(request);
    ASSERT_TRUE(turnUntil([&] { return outcome->has_value(); }));

    ASSERT_FALSE(outcome->value());
    EXPECT_EQ(outcome->value().error().kind, HttpErrorKind::CannotConnectToHost);
    const QString category = QStringLiteral("Anthropic");
    const QString error = QStringLiteral("Could not connect to the server 127.0.0.1.");
    EXPECT_EQ(log.take(), (QStringList{startLine(category, 1), failedLine(category, 1, true, error),
                                       startLine(category, 2), failedLine(category, 2, true, error)}));
}

} // namespace velmo
