#include "support/providers/ProviderServerTest.h"

#include <algorithm>

namespace velmo {

namespace {

using practice::PracticeServer;
using practice::Scenario;
using practice::ScenarioKind;

/// What one way of answering must lead to.
struct Expectation {
    Scenario scenario;
    QStringList pieces;
    /// Empty: the answer ends well. Otherwise a description or its beginning.
    QString failure;
    /// The failure comes before the head, and a second try is made.
    bool retried = false;
    bool beforeHead = false;
    int status = 200;
};

const QString kLost = QStringLiteral("The network connection was lost.");
const QString kTimedOut = QStringLiteral("The request timed out.");

QStringList alternating(const QStringList& pieces, qsizetype first)
{
    QStringList result;
    for (qsizetype index = first; index < pieces.size(); index += 2)
        result.append(pieces.at(index));
    return result;
}

QStringList betweenEmpties(const QStringList& pieces)
{
    QStringList result{QString()};
    for (const QString& piece : pieces)
        result << piece << QString();
    return result;
}

QString errorBody(Vendor vendor, int status)
{
    const QString message = QStringLiteral("practice failure with status ") + QString::number(status);
    return QString::fromUtf8(dialectOf(vendor)->errorBody(status, message));
}

Expectation ofStatus(ScenarioKind kind, Vendor vendor, int status)
{
    const QString text = QStringLiteral("HTTP error ") + QString::number(status) + QStringLiteral(": ");
    return {{.kind = kind}, {}, text + errorBody(vendor, status), false, false, status};
}

/// Pieces that are sent over and over.
QStringList repeated(const QStringList& pieces, int count)
{
    QStringList result;
    for (int index = 0; index < count; ++index)
        result.append(pieces.at(index % pieces.size()));
    return result;
}

Expectation expectationOf(ScenarioKind kind, Vendor vendor)
{
    using namespace std::chrono_literals;
    const QStringList all = PracticeServer::defaultPieces();
    const QStringList half = all.first(3);
    switch (kind) {
    case ScenarioKind::Pieces:
    case ScenarioKind::NonUtf8Line:
    case ScenarioKind::PingsAndComments:
    case ScenarioKind::Crlf:
    case ScenarioKind::StrayCr:
    case ScenarioKind::SplitEverywhere:
    case ScenarioKind::MultibyteSplit:
    case ScenarioKind::DoneInMiddle:
    case ScenarioKind::LongLine:
    case ScenarioKind::Http10Close:
        return {{.kind = kind}, all, {}};
    case ScenarioKind::NoFinalNewline:
    case ScenarioKind::NoFinalNewlineClose:
        return {{.kind = kind, .lastEventIsText = true}, all, {}};
    case ScenarioKind::SplitAt:
        return {{.kind = kind, .pieceDelay = 20ms, .splitAt = 300}, all, {}};
    case ScenarioKind::SlowHead:
        return {{.kind = kind, .headDelay = 200ms}, all, {}};
    case ScenarioKind::SlowDrip:
        return {{.kind = kind, .dripDelay = 10ms, .dripPieces = 20}, repeated(all, 20), {}};
    case ScenarioKind::Empty200:
        return {{.kind = kind}, {}, {}};
    case ScenarioKind::InvalidJsonEvents:
        // Every other event has no blank after the colon and does not count; the others have two.
        return {{.kind = kind}, alternating(all, 1), {}};
    case ScenarioKind::ErrorEvent:
        return {{.kind = kind}, half, {}};
    case ScenarioKind::RoleOnlyFirst:
        return {{.kind = kind}, QStringList{QString()} + all, {}};
    case ScenarioKind::EmptyDeltas:
        return {{.kind = kind}, betweenEmpties(all), {}};
    case ScenarioKind::HugeStream:
        return {{.kind = kind, .hugeBytes = 1024 * 1024, .hugePieceBytes = 21},
                QStringList(1024 * 1024 / 21, QStringLiteral("all work and no play ")) +
                    QStringList{QStringLiteral("all ")},
                {}};
    case ScenarioKind::DropBeforeHead:
    case ScenarioKind::ResetBeforeHead:
        return {{.kind = kind}, {}, kLost, true, true};
    case ScenarioKind::NeverAnswers:
        return {{.kind = kind}, {}, kTimedOut, true, true};
    case ScenarioKind::DropInBody:
    case ScenarioKind::DropInBodyLength:
    case ScenarioKind::ResetInBody:
        return {{.kind = kind}, half, kLost};
    case ScenarioKind::BadChunk:
        return {{.kind = kind}, half, QStringLiteral("The request failed: ")};
    case ScenarioKind::GzipClaimed:
        return {{.kind = kind}, {}, QStringLiteral("The request failed: ")};
    case ScenarioKind::OversizedHead:
    case ScenarioKind::NotHttp:
        return {{.kind = kind}, {}, QStringLiteral("The request failed: "), false, true};
    case ScenarioKind::Status401:
        return ofStatus(kind, vendor, 401);
    case ScenarioKind::Status429:
        return ofStatus(kind, vendor, 429);
    case ScenarioKind::Status500:
        return ofStatus(kind, vendor, 500);
    case ScenarioKind::Status529:
        return ofStatus(kind, vendor, 529);
    case ScenarioKind::StatusEmptyBody:
        return {{.kind = kind}, {}, QStringLiteral("HTTP error 500"), false, false, 500};
    case ScenarioKind::NonUtf8Body:
        return {{.kind = kind}, {}, QStringLiteral("HTTP error 500: <non-utf8 body>"), false, false, 500};
    case ScenarioKind::Redirect302:
        return {{.kind = kind, .redirectTo = QStringLiteral("http://127.0.0.1:1")},
                {},
                QStringLiteral("HTTP error 302"),
                false,
                false,
                302};
    case ScenarioKind::Redirect307:
        return {{.kind = kind, .redirectTo = QStringLiteral("http://127.0.0.1:1")},
                {},
                QStringLiteral("HTTP error 307"),
                false,
                false,
                307};
    case ScenarioKind::Custom:
        // Only 200 is a stream, however well another status sounds.
        return {{.kind = kind, .status = 203, .blocks = {"a note"}},
                {},
                QStringLiteral("HTTP error 203: a note"),
                false,
                false,
                203};
    case ScenarioKind::Answer:
        break;
    }
    return {{.kind = kind}, {}, {}};
}

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
