#include "support/providers/ProviderServerTest.h"

#include <QJsonDocument>

namespace velmo {

namespace {

using namespace std::chrono_literals;
using practice::PracticeServer;
using practice::Scenario;
using practice::ScenarioKind;

Scenario drip(int pieces, std::chrono::milliseconds delay)
{
    return {.kind = ScenarioKind::SlowDrip, .dripDelay = delay, .dripPieces = pieces};
}

} // namespace

INSTANTIATE_TEST_SUITE_P(Providers, BothProviders, testing::Values(Vendor::Anthropic, Vendor::OpenAI),
                         vendorName);

TEST_P(BothProviders, SendTheirOwnHeadersAndOnlyWhatHttpDemands)
{
    AnswerRun run(ask(GetParam()));
    ASSERT_TRUE(run.waitForEnd());
    const auto requests = server.requests();
    ASSERT_EQ(requests.size(), 1);
    QStringList names;
    for (const auto& [name, value] : requests.first().headers)
        names.append(QString::fromLatin1(name.toLower()));
    names.sort();
    const bool anthropic = GetParam() == Vendor::Anthropic;
    QStringList expected{QStringLiteral("accept-encoding"), QStringLiteral("content-length"),
                         QStringLiteral("content-type"), QStringLiteral("host")};
    expected += anthropic ? QStringList{QStringLiteral("x-api-key"), QStringLiteral("anthropic-version")}
                          : QStringList{QStringLiteral("authorization")};
    expected.sort();
    EXPECT_EQ(names, expected);
    EXPECT_EQ(requests.first().method, "POST");
    EXPECT_EQ(requests.first().header("Content-Type"), "application/json");
    if (anthropic) {
        EXPECT_EQ(requests.first().path, "/v1/messages");
        EXPECT_EQ(requests.first().header("x-api-key"), kKey.toUtf8());
        EXPECT_EQ(requests.first().header("anthropic-version"), "2023-06-01");
    } else {
        EXPECT_EQ(requests.first().path, "/v1/chat/completions");
        EXPECT_EQ(requests.first().header("Authorization"), "Bearer " + kKey.toUtf8());
    }
}

TEST_P(BothProviders, SendTheBodyThatTheyBuild)
{
    AnswerRun run(ask(GetParam()));
    ASSERT_TRUE(run.waitForEnd());
    const QList<LLMMessage> messages{{LLMMessage::Role::User, QStringLiteral("What is this?"), std::nullopt}};
    const QString prompt = QStringLiteral("Be brief.");
    const QByteArray built = GetParam() == Vendor::Anthropic
                                 ? AnthropicProvider::buildRequestBody(kModel, messages, prompt).value()
                                 : OpenAIProvider::buildRequestBody(kModel, messages, prompt);
    ASSERT_EQ(server.requests().size(), 1);
    EXPECT_EQ(server.requests().first().body, built);
}

TEST_P(BothProviders, DoNothingInsideTheCall)
{
    const auto reader = ask(GetParam());
    EXPECT_EQ(log.take(), QStringList{});
    ASSERT_TRUE(turnUntil(
        [this] { return log.text().contains(completed(0).chopped(1)) || !server.requests().empty(); }));
}

TEST_P(BothProviders, DeliverPiecesAsTheyArrive)
{
    server.setScenario(drip(6, 150ms));
    AnswerRun run(ask(GetParam()));
    ASSERT_TRUE(turnUntil([&run] { return !run.pieces().isEmpty(); }));
    EXPECT_LT(run.pieces().size(), 6);
    EXPECT_FALSE(run.hasEnded());
    ASSERT_TRUE(run.waitForEnd());
    EXPECT_EQ(run.pieces(), PracticeServer::defaultPieces());
}

TEST_P(BothProviders, RunOnToTheirEndWhenNobodyReadsAnyMore)
{
    server.setScenario(drip(8, 40ms));
    {
        AnswerRun run(ask(GetParam()));
        ASSERT_TRUE(turnUntil([&run] { return !run.pieces().isEmpty(); }));
    }
    ASSERT_TRUE(
        turnUntil([this] { return log.text().contains(QStringLiteral("Streaming response completed")); }));
    EXPECT_EQ(log.take(), lines(GetParam(), {kPreparing, kFirstAttempt, kStarted, completed(8)}));
    EXPECT_EQ(server.closedConnections(), 0) << "the transfer was not broken off";
}

TEST_P(BothProviders, RunEvenWhenNobodyEverRead)
{
    {
        const auto reader = ask(GetParam());
    }
    server.setScenario({.kind = ScenarioKind::Pieces});
    ASSERT_TRUE(
        turnUntil([this] { return log.text().contains(QStringLiteral("Streaming response completed")); }));
    EXPECT_EQ(log.take(), lines(GetParam(), {kPreparing, kFirstAttempt, kStarted, completed(6)}));
}

TEST_P(BothProviders, LogTheirFailureWhenNobodyReadsAnyMore)
{
    server.setScenario({.kind = ScenarioKind::DropInBody, .pieceDelay = 30ms});
    {
        AnswerRun run(ask(GetParam()));
        ASSERT_TRUE(turnUntil([&run] { return !run.pieces().isEmpty(); }));
    }
    ASSERT_TRUE(turnUntil([this] { return log.text().contains(QStringLiteral("Streaming failed")); }));
    EXPECT_EQ(log.take(), lines(GetParam(), {kPreparing, kFirstAttempt, kStarted,
                                             failed(QStringLiteral("The network connection was lost."))}));
}

TEST_P(BothProviders, HideAKeyThatTheServiceRepeats)
{
    server.setScenario(
        {.kind = ScenarioKind::Status401, .echoKey = true, .message = QStringLiteral("%1 of no use")});
    AnswerRun run(ask(GetParam()));
    ASSERT_TRUE(run.waitForEnd());
    EXPECT_FALSE(run.failureText().contains(kKey));
    EXPECT_TRUE(run.failureText().startsWith(QStringLiteral("HTTP error 401: ")));
    EXPECT_TRUE(run.failureText().contains(QStringLiteral("%1 of no use for the key '***'")));
    const QString body = run.failureText().sliced(QStringLiteral("HTTP error 401: ").size());
    EXPECT_EQ(log.take(), lines(GetParam(), {kPreparing, kFirstAttempt,
                                             QStringLiteral("HTTP error status=401 body=") + body,
                                             failed(run.failureText())}));
}

TEST_P(BothProviders, DoNotCarryTheKeyToAnotherHost)
{
    for (const ScenarioKind kind : {ScenarioKind::Redirect302, ScenarioKind::Redirect307}) {
        PracticeServer other;
        ASSERT_NE(other.start(), 0);
        server.setScenario({.kind = kind, .redirectTo = other.baseUrl()});
        AnswerRun run(ask(GetParam()));
        ASSERT_TRUE(run.waitForEnd());
        EXPECT_TRUE(run.failureText().startsWith(QStringLiteral("HTTP error 30")));
        EXPECT_EQ(other.openedConnections(), 0);
    }
    EXPECT_EQ(server.requests().size(), 2);
}

TEST_P(BothProviders, RefusePlainHttpToAnotherHostWithoutASecondTry)
{
    pointAt(QStringLiteral("http://192.0.2.1"));
    AnswerRun run(ask(GetParam()));
    ASSERT_TRUE(run.waitForEnd());
    EXPECT_TRUE(run.failureText().contains(QStringLiteral("must begin with https")));
    EXPECT_EQ(log.take(),
              lines(GetParam(), {kPreparing, kFirstAttempt, attemptFailed(1, false, run.failureText()),
                                 failed(run.failureText())}));
}

TEST_P(BothProviders, KeepWhatCameBeforeATimeOut)
{
    LLMTransport::installClient([] { return std::make_unique<ImpatientClient>(300ms, 20s); });
    const auto dialect = dialectOf(GetParam());
    const QByteArray event = dialect->piece(kModel, QStringLiteral("first"));
    // The second event has come but for its end, so it is none.
    server.setScenario(
        {.kind = ScenarioKind::Custom, .pieceDelay = 5s, .blocks = {event + event.chopped(4), "\n\n"}});
    AnswerRun run(ask(GetParam()));
    ASSERT_TRUE(run.waitForEnd());
    EXPECT_EQ(run.pieces(), QStringList{QStringLiteral("first")});
    EXPECT_EQ(log.take(), lines(GetParam(), {kPreparing, kFirstAttempt, kStarted,
                                             failed(QStringLiteral("The request timed out."))}));
    EXPECT_EQ(server.requests().size(), 1) << "what broke off in the body is not tried again";
}

TEST_P(BothProviders, StopATransferThatIsWholeTimeIsOver)
{
    LLMTransport::installClient([] { return std::make_unique<ImpatientClient>(10s, 400ms); });
    server.setScenario(drip(1000, 20ms));
    AnswerRun run(ask(GetParam()));
    ASSERT_TRUE(run.waitForEnd());
    EXPECT_FALSE(run.pieces().isEmpty());
    EXPECT_EQ(run.failureText(), QStringLiteral("The request timed out."));
}

TEST_P(BothProviders, ReuseTheConnection)
{
    for (int count = 0; count < 2; ++count) {
        AnswerRun run(ask(GetParam()));
        ASSERT_TRUE(run.waitForEnd());
    }
    EXPECT_EQ(server.requests().size(), 2);
    EXPECT_EQ(server.openedConnections(), 1);
}

TEST_P(BothProviders, AnswerAfterASecondTryAsAfterTheFirst)
{
    server.enqueue({{.kind = ScenarioKind::DropBeforeHead}, {.kind = ScenarioKind::Pieces}});
    AnswerRun run(ask(GetParam()));
    ASSERT_TRUE(run.waitForEnd());
    EXPECT_EQ(run.pieces(), PracticeServer::defaultPieces());
    const QString lost = QStringLiteral("The network connection was lost.");
    EXPECT_EQ(log.take(), lines(GetParam(), {kPreparing, kFirstAttempt, attemptFailed(1, true, lost),
                                             kSecondAttempt, kStarted, completed(6)}));
    EXPECT_EQ(server.requests().size(), 2);
}

TEST_P(BothProviders, ReadAnAnswerThatIsSplitAnywhere)
{
    server.setScenario({.kind = ScenarioKind::Pieces});
    AnswerRun whole(ask(GetParam()));
    ASSERT_TRUE(whole.waitForEnd());
    // Every byte of the first two events with a text, and some beyond; the line reader's own test has all of
    // them.
    for (qsizetype at = 0; at < 700; at += 13) {
        server.setScenario({.kind = ScenarioKind::SplitAt, .pieceDelay = 2ms, .splitAt = at});
        AnswerRun run(ask(GetParam()));
        ASSERT_TRUE(run.waitForEnd());
        ASSERT_EQ(run.pieces(), whole.pieces()) << "split at " << at;
    }
}

TEST_P(BothProviders, AnswerSeveralQuestionsAtOnceEachForItself)
{
    server.enqueue({drip(6, 20ms), {.kind = ScenarioKind::Status500}, {.kind = ScenarioKind::Pieces}});
    AnswerRun first(ask(GetParam()));
    ASSERT_TRUE(turnUntil([this] { return server.requests().size() == 1; }));
    AnswerRun second(ask(GetParam()));
    ASSERT_TRUE(turnUntil([this] { return server.requests().size() == 2; }));
    AnswerRun third(ask(GetParam()));
    ASSERT_TRUE(first.waitForEnd());
    ASSERT_TRUE(second.waitForEnd());
    ASSERT_TRUE(third.waitForEnd());
    EXPECT_EQ(first.pieces(), PracticeServer::defaultPieces());
    EXPECT_TRUE(second.failure().has_value());
    EXPECT_EQ(third.pieces(), PracticeServer::defaultPieces());
}

TEST_F(ProviderServerTest, AnImageThatCannotBePreparedSendsNothing)
{
    for (const QByteArray& bytes : {QByteArray(""), QByteArray("no picture")}) {
        const LLMMessage question{LLMMessage::Role::User, QStringLiteral("What is this?"), bytes};
        AnswerRun run(AnthropicProvider(kKey, kModel).stream({question}, {}));
        ASSERT_TRUE(run.waitForEnd());
        const QString error = QStringLiteral("Could not decode screenshot for Anthropic upload");
        EXPECT_EQ(run.failureText(), error);
        EXPECT_EQ(
            log.take(),
            lines(Vendor::Anthropic,
                  {QStringLiteral("Preparing request model=model-under-test messages=1 imageAttached=true"),
                   failed(error)}));
    }
    EXPECT_EQ(server.requests().size(), 0);
}

TEST_F(ProviderServerTest, TheConstantsOfTheProvidersAreThePromisedOnes)
{
    const AnthropicProvider anthropic(kKey, kModel);
    EXPECT_EQ(anthropic.id(), QStringLiteral("anthropic"));
    EXPECT_EQ(anthropic.displayName(), QStringLiteral("Anthropic (Claude)"));
    EXPECT_EQ(anthropic.availableModels(),
              (QStringList{QStringLiteral("claude-sonnet-4-6"), QStringLiteral("claude-opus-4-6"),
                           QStringLiteral("claude-haiku-4-5-20251001")}));
    EXPECT_EQ(AnthropicProvider::kMaxImageBytes, 5242880);
    const OpenAIProvider openAI(kKey, kModel);
    EXPECT_EQ(openAI.id(), QStringLiteral("openai"));
    EXPECT_EQ(openAI.displayName(), QStringLiteral("OpenAI"));
    EXPECT_EQ(openAI.availableModels(),
              (QStringList{QStringLiteral("gpt-5.4"), QStringLiteral("gpt-5.4-mini"),
                           QStringLiteral("gpt-5.4-nano")}));
}

} // namespace velmo
