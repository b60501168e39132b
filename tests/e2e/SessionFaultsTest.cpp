// The session, the real providers and a server that misbehaves: what people read, and that they can go on
// asking.

#include "platform/linux/CurlHttpClient.h"
#include "providers/AnthropicProvider.h"
#include "providers/LLMTransport.h"
#include "providers/OpenAIProvider.h"
#include "support/core/SessionTest.h"
#include "support/practice/PracticeServer.h"
#include "support/providers/FaultExpectations.h"
#include "support/providers/ProviderServerTest.h"

namespace velmo {
namespace {

using practice::PracticeServer;
using practice::ScenarioKind;

class SessionOnARealServer : public SessionTest {
protected:
    SessionOnARealServer()
    {
        EXPECT_NE(server.start(), 0);
        qputenv("ANTHROPIC_BASE_URL", server.baseUrl().toUtf8());
        qputenv("OPENAI_BASE_URL", (server.baseUrl() + QStringLiteral("/v1")).toUtf8());
        LLMTransport::installClient([] { return std::make_unique<CurlHttpClient>(); });
        SessionCollaborators real = collaborators();
        real.makeAnthropicProvider = [](const QString& key, const QString& model) {
            return std::make_unique<AnthropicProvider>(key, model);
        };
        real.makeOpenAIProvider = [](const QString& key, const QString& model) {
            return std::make_unique<OpenAIProvider>(key, model);
        };
        session = std::make_unique<AnnotationSession>(std::move(real));
        session->setSettings(settings);
    }
    ~SessionOnARealServer() override
    {
        LLMTransport::shutDown();
        qunsetenv("ANTHROPIC_BASE_URL");
        qunsetenv("OPENAI_BASE_URL");
    }

    /// Draws, and goes on without a picture, which is not what is tried here.
    void goToQuestion()
    {
        drawAndAdvance();
        capture.fail(capture.requests.size() - 1, QStringLiteral("no picture"));
        settle();
        ASSERT_EQ(state(), SessionState::Querying);
    }

    [[nodiscard]] bool awaitAnswer()
    {
        return turnUntil([this] { return state() == SessionState::Querying; });
    }

    PracticeServer server;
    qsizetype completions = 0;
};

class EveryFaultInTheChat : public SessionOnARealServer,
                            public testing::WithParamInterface<std::tuple<Vendor, int>> {};

TEST_P(EveryFaultInTheChat, ShowsThePromisedTextAndTakesTheNextQuestion)
{
    const auto [vendor, index] = GetParam();
    const auto kind = practice::scenarioKind(practice::scenarioNames().at(index));
    ASSERT_TRUE(kind.has_value());
    if (*kind == ScenarioKind::NeverAnswers) {
        using namespace std::chrono_literals;
        LLMTransport::installClient([] { return std::make_unique<ImpatientClient>(300ms, 20s); });
    }
    const Expectation expected = expectationOf(*kind, vendor);
    settings->selectedProvider.set(vendor == Vendor::OpenAI ? ProviderID::OpenAI : ProviderID::Anthropic);
    if (expected.retried)
        server.enqueue({expected.scenario});
    server.enqueue({expected.scenario, {.kind = ScenarioKind::Pieces}});
    goToQuestion();

    session->submit(QStringLiteral("one"));
    ASSERT_TRUE(awaitAnswer());

    ASSERT_EQ(messages().size(), 2);
    const ChatMessage answer = messages().back();
    EXPECT_FALSE(answer.isStreaming);
    EXPECT_EQ(session->streamedResponse().value(), answer.text);
    QString promised = expected.pieces.join(QString());
    if (!expected.failure.isEmpty()) {
        if (!promised.isEmpty())
            promised += QStringLiteral("\n\n");
        promised += QStringLiteral("[Error: ") + expected.failure;
    }
    if (*kind == ScenarioKind::Answer) {
        EXPECT_TRUE(answer.text.contains(QStringLiteral("question: one"))) << answer.text.toStdString();
    } else if (expected.failure.endsWith(QStringLiteral(": "))) {
        EXPECT_TRUE(answer.text.startsWith(promised) && answer.text.endsWith(u']'))
            << answer.text.toStdString();
    } else {
        EXPECT_EQ(answer.text, expected.failure.isEmpty() ? promised : promised + u']');
    }
    const QString lastLine = log.takeSession().last();
    EXPECT_TRUE(lastLine.contains(expected.failure.isEmpty()
                                      ? QStringLiteral("Streaming task completed responseLength=")
                                      : QStringLiteral("Streaming task failed error=") + expected.failure))
        << lastLine.toStdString();
    EXPECT_EQ(server.requests().size(), expected.retried ? 2 : 1);

    session->submit(QStringLiteral("two"));
    ASSERT_TRUE(awaitAnswer());
    EXPECT_EQ(server.requests().size(), expected.retried ? 3 : 2);
    if (answer.text.isEmpty() && vendor == Vendor::Anthropic) {
        // An empty answer is part of the chat that is sent, and this service takes no empty texts.
        EXPECT_TRUE(messages().back().text.startsWith(QStringLiteral("[Error: HTTP error 400: ")));
        return;
    }
    EXPECT_EQ(messages().back().text, PracticeServer::defaultPieces().join(QString()));
}

std::string faultName(const testing::TestParamInfo<std::tuple<Vendor, int>>& info)
{
    QString name = practice::scenarioNames().at(std::get<int>(info.param));
    return (categoryOf(std::get<Vendor>(info.param)) + u'_' + name.replace(u'-', u'_').replace(u'.', u'_'))
        .toStdString();
}

INSTANTIATE_TEST_SUITE_P(Faults, EveryFaultInTheChat,
                         testing::Combine(testing::Values(Vendor::Anthropic, Vendor::OpenAI),
                                          testing::Range(0,
                                                         static_cast<int>(practice::scenarioNames().size()))),
                         faultName);

TEST_F(SessionOnARealServer, ShowsNothingOfAnOldAnswerInANewSession)
{
    using namespace std::chrono_literals;
    server.enqueue({{.kind = ScenarioKind::SlowDrip, .dripDelay = 20ms, .dripPieces = 30},
                    {.kind = ScenarioKind::Pieces}});
    goToQuestion();
    session->submit(QStringLiteral("old"));
    ASSERT_TRUE(turnUntil([this] { return !session->streamedResponse().value().isEmpty(); }));

    session->cancel();
    goToQuestion();
    EXPECT_TRUE(messages().isEmpty());
    session->submit(QStringLiteral("new"));
    ASSERT_TRUE(awaitAnswer());

    EXPECT_EQ(transcript(),
              (QStringList{QStringLiteral("user: new"),
                           QStringLiteral("assistant: ") + PracticeServer::defaultPieces().join(QString())}));
    // The old answer is still arriving, and its producer runs to its end; none of it is shown.
    const auto completed = [this] {
        completions +=
            log.take().filter(QStringLiteral("Streaming response completed emittedChunks=")).size();
        return completions == 2;
    };
    EXPECT_TRUE(turnUntil(completed));
    EXPECT_EQ(messages().size(), 2);
    EXPECT_EQ(messages().back().text, PracticeServer::defaultPieces().join(QString()));
}

} // namespace
} // namespace velmo
