#include "support/providers/FaultExpectations.h"
#include "support/providers/ProviderServerTest.h"

namespace velmo {

namespace {

using practice::PracticeServer;
using practice::ScenarioKind;

std::string faultName(const testing::TestParamInfo<std::tuple<Vendor, int>>& info)
{
    QString name = practice::scenarioNames().at(std::get<int>(info.param));
    return (categoryOf(std::get<Vendor>(info.param)) + u'_' + name.replace(u'-', u'_').replace(u'.', u'_'))
        .toStdString();
}

} // namespace

class EveryFault : public ProviderServerTest, public testing::WithParamInterface<std::tuple<Vendor, int>> {
protected:
    QStringList expectedLines(const Expectation& expected, const QString& failure, qsizetype pieces)
    {
        QStringList result{kPreparing, kFirstAttempt};
        if (expected.beforeHead)
            result << attemptFailed(1, expected.retried, failure);
        if (expected.retried)
            result << kSecondAttempt << attemptFailed(2, true, failure);
        if (!expected.beforeHead && expected.status == 200)
            result << kStarted;
        if (expected.status != 200) {
            const qsizetype colon = failure.indexOf(QStringLiteral(": "));
            result << QStringLiteral("HTTP error status=") + QString::number(expected.status) +
                          QStringLiteral(" body=") + (colon < 0 ? QString() : failure.sliced(colon + 2));
        }
        result << (expected.failure.isEmpty() ? completed(pieces) : failed(failure));
        return result;
    }
};

TEST_P(EveryFault, EndsAsPromisedWithThePromisedLogLinesAndRequests)
{
    const auto [vendor, index] = GetParam();
    const auto kind = practice::scenarioKind(practice::scenarioNames().at(index));
    ASSERT_TRUE(kind.has_value());
    const Expectation expected = expectationOf(*kind, vendor);
    if (*kind == ScenarioKind::NeverAnswers) {
        using namespace std::chrono_literals;
        LLMTransport::installClient([] { return std::make_unique<ImpatientClient>(300ms, 20s); });
    }
    server.setScenario(expected.scenario);

    AnswerRun run(ask(vendor));
    ASSERT_TRUE(run.waitForEnd());

    if (*kind == ScenarioKind::Answer) {
        EXPECT_THAT(run.pieces().join(QString()).toStdString(),
                    testing::HasSubstr("- question: What is this?\n- system prompt: 9 characters"));
    } else {
        EXPECT_EQ(run.pieces(), expected.pieces);
    }
    EXPECT_EQ(run.failure().has_value(), !expected.failure.isEmpty()) << run.failureText().toStdString();
    if (expected.failure.endsWith(QStringLiteral(": "))) {
        EXPECT_TRUE(run.failureText().startsWith(expected.failure)) << run.failureText().toStdString();
    } else if (!expected.failure.isEmpty()) {
        EXPECT_EQ(run.failureText(), expected.failure);
    }
    EXPECT_EQ(log.take(), lines(vendor, expectedLines(expected, run.failureText(), run.pieces().size())));
    EXPECT_EQ(server.requests().size(), expected.retried ? 2 : 1);
}

TEST_P(EveryFault, LeavesTheNextQuestionInOrder)
{
    const auto [vendor, index] = GetParam();
    const auto kind = practice::scenarioKind(practice::scenarioNames().at(index));
    const Expectation expected = expectationOf(*kind, vendor);
    if (*kind == ScenarioKind::NeverAnswers) {
        using namespace std::chrono_literals;
        LLMTransport::installClient([] { return std::make_unique<ImpatientClient>(300ms, 20s); });
    }
    if (expected.retried)
        server.enqueue({expected.scenario});
    server.enqueue({expected.scenario, {.kind = ScenarioKind::Pieces}});
    AnswerRun broken(ask(vendor));
    ASSERT_TRUE(broken.waitForEnd());

    AnswerRun next(ask(vendor));
    ASSERT_TRUE(next.waitForEnd());

    EXPECT_EQ(next.pieces(), PracticeServer::defaultPieces());
    EXPECT_FALSE(next.failure().has_value()) << next.failureText().toStdString();
    EXPECT_EQ(server.requests().size(), expected.retried ? 3 : 2);
}

INSTANTIATE_TEST_SUITE_P(Faults, EveryFault,
                         testing::Combine(testing::Values(Vendor::Anthropic, Vendor::OpenAI),
                                          testing::Range(0,
                                                         static_cast<int>(practice::scenarioNames().size()))),
                         faultName);

} // namespace velmo
