#include "core/async/TaskScope.h"
#include "platform/linux/CurlHttpClient.h"
#include "support/core/Environment.h"
#include "support/core/EventLoop.h"
#include "support/practice/Certificates.h"
#include "support/practice/PracticeServer.h"
#include "support/updates/SigningKey.h"
#include "updates/UpdateCheck.h"

#include <QElapsedTimer>
#include <QFile>
#include <QTcpServer>
#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace velmo {

namespace {

using Kind = UpdateOutcome::Kind;
using practice::Scenario;
using practice::ScenarioKind;
using test::feedText;

Scenario answering(const QByteArray& body, int status = 200)
{
    return {.kind = ScenarioKind::Custom,
            .status = status,
            .contentType = "application/octet-stream",
            .blocks = {body}};
}

class UpdateCheck : public testing::Test {
protected:
    void SetUp() override { ASSERT_NE(server_.start(), 0); }

    void announce(const QByteArray& feed) { announce(feed, key_.sign(feed)); }
    void announce(const QByteArray& feed, const QByteArray& signature)
    {
        server_.enqueue({answering(feed), answering(signature)});
    }

    [[nodiscard]] UpdateSource source() const
    {
        return {QUrl(server_.baseUrl() + QStringLiteral("/feed.json")), key_.publicKey()};
    }

    UpdateOutcome check() { return check(source()); }
    UpdateOutcome check(const UpdateSource& source)
    {
        async::TaskScope scope;
        UpdateOutcome outcome;
        const auto task = scope.start(checkForUpdate(source, QVersionNumber(0, 1, 0), http_));
        scope.start(store(task, &outcome));
        EXPECT_TRUE(turnUntil([&scope] { return !scope.isBusy(); }));
        return outcome;
    }

    static async::Task<> store(async::TaskHandle<UpdateOutcome> task, UpdateOutcome* outcome)
    {
        *outcome = (co_await task.outcome()).value.value();
    }

    test::SigningKey key_;
    practice::PracticeServer server_;
    CurlHttpClient http_;
};

TEST_F(UpdateCheck, TellsANewerTheSameAndAnOlderVersionApart)
{
    const std::vector<std::pair<QByteArray, Kind>> versions{
        {"0.1.1", Kind::Newer},    {"0.10", Kind::Newer},   {"1", Kind::Newer},
        {"0.1.0", Kind::UpToDate}, {"0.1", Kind::UpToDate}, {"0.1.0.0", Kind::UpToDate},
        {"0.0.9", Kind::Ahead},
    };
    for (const auto& [version, kind] : versions) {
        announce(feedText(version));
        const UpdateOutcome outcome = check();
        EXPECT_EQ(outcome.kind, kind) << version.toStdString();
        EXPECT_EQ(outcome.page, QUrl(QStringLiteral("https://example.org/releases")));
    }
}

TEST_F(UpdateCheck, AsksForTheFeedAndThenForItsSignature)
{
    announce(feedText("0.2"));
    check();
    const auto requests = server_.requests();
    ASSERT_EQ(requests.size(), 2);
    EXPECT_EQ(requests.at(0).method, "GET");
    EXPECT_EQ(requests.at(0).path, "/feed.json");
    EXPECT_EQ(requests.at(1).path, "/feed.json.sig");
}

TEST_F(UpdateCheck, DoesNotBelieveAnOldFeed)
{
    announce(feedText("0.2", "https://example.org/", "2020-01-01T00:00:00Z"));
    EXPECT_EQ(check().kind, Kind::Expired);
}

TEST_F(UpdateCheck, DoesNotReadWhatIsTamperedWith)
{
    announce(feedText("0.2"), key_.sign(feedText("0.3")));
    EXPECT_EQ(check().kind, Kind::Tampered);
}

TEST_F(UpdateCheck, DoesNotReadWhatIsNotSigned)
{
    server_.enqueue({answering(feedText("0.2")), answering("Not found", 404)});
    EXPECT_EQ(check().kind, Kind::Unsigned);
    announce(feedText("0.2"), "");
    EXPECT_EQ(check().kind, Kind::Unsigned);
}

TEST_F(UpdateCheck, SaysThatASignedFeedMeansNothingToIt)
{
    announce("{}");
    EXPECT_EQ(check().kind, Kind::Malformed);
}

TEST_F(UpdateCheck, NamesTheStatusOfARefusal)
{
    server_.enqueue({answering("Not found", 404)});
    UpdateOutcome outcome = check();
    EXPECT_EQ(outcome.kind, Kind::Refused);
    EXPECT_EQ(outcome.status, 404);
    server_.enqueue({answering(feedText("0.2")), answering("broken", 500)});
    outcome = check();
    EXPECT_EQ(outcome.kind, Kind::Refused);
    EXPECT_EQ(outcome.status, 500);
}

TEST_F(UpdateCheck, FollowsNobodyElsewhere)
{
    practice::PracticeServer elsewhere;
    ASSERT_NE(elsewhere.start(), 0);
    server_.enqueue({{.kind = ScenarioKind::Redirect302, .redirectTo = elsewhere.baseUrl()}});
    const UpdateOutcome outcome = check();
    EXPECT_EQ(outcome.kind, Kind::Refused);
    EXPECT_EQ(outcome.status, 302);
    EXPECT_TRUE(elsewhere.requests().isEmpty());
}

TEST_F(UpdateCheck, ReadsNoMoreThanAFeedCanBe)
{
    constexpr qsizetype kLimit = qsizetype(64) * 1024;
    QByteArray feed = feedText("0.2");
    feed += QByteArray(kLimit - feed.size(), ' ');
    announce(feed);
    EXPECT_EQ(check().kind, Kind::Newer);
    server_.enqueue({answering(feed + ' ')});
    EXPECT_EQ(check().kind, Kind::TooLarge);
    announce(feedText("0.2"), QByteArray(kLimit + 1, 'A'));
    EXPECT_EQ(check().kind, Kind::TooLarge);
}

TEST_F(UpdateCheck, IsOverInThreeSecondsWhateverTheServerDoes)
{
    const Scenario drip{.kind = ScenarioKind::Custom,
                        .pieceDelay = std::chrono::milliseconds(100),
                        .blocks = QByteArrayList(100, " ")};
    for (const Scenario& slow : {Scenario{.kind = ScenarioKind::NeverAnswers}, drip}) {
        server_.enqueue({slow});
        QElapsedTimer time;
        time.start();
        EXPECT_EQ(check().kind, Kind::TimedOut);
        EXPECT_GE(time.elapsed(), 2'500);
        EXPECT_LT(time.elapsed(), 6'000);
    }
    // The signature has what the feed has left.
    server_.enqueue({{.kind = ScenarioKind::Custom,
                      .pieceDelay = std::chrono::milliseconds(1500),
                      .blocks = {feedText("0.2"), " "}},
                     {.kind = ScenarioKind::NeverAnswers}});
    QElapsedTimer time;
    time.start();
    EXPECT_EQ(check().kind, Kind::TimedOut);
    EXPECT_LT(time.elapsed(), 4'400);
}

TEST_F(UpdateCheck, SaysThatNobodyAnswersThere)
{
    quint16 port = 0;
    {
        QTcpServer nobody;
        ASSERT_TRUE(nobody.listen(QHostAddress::LocalHost));
        port = nobody.serverPort();
    }
    UpdateSource gone = source();
    gone.feed.setPort(port);
    const UpdateOutcome outcome = check(gone);
    EXPECT_EQ(outcome.kind, Kind::Unreachable);
    EXPECT_FALSE(outcome.description.isEmpty());
}

TEST_F(UpdateCheck, TrustsNoServerThatCannotProveItself)
{
    const QTemporaryDir folder;
    const auto files =
        practice::makeSelfSignedCertificate(folder.path(), {QStringLiteral("127.0.0.1")}, false);
    ASSERT_TRUE(files.has_value());
    server_.stop();
    ASSERT_NE(server_.start({.tlsCertificateFile = files->certificate, .tlsKeyFile = files->key}), 0);
    EXPECT_EQ(check().kind, Kind::UntrustedServer);
    EXPECT_TRUE(server_.requests().isEmpty());

    EnvironmentVariable roots("SSL_CERT_FILE");
    roots.assign(QFile::encodeName(files->certificate));
    announce(feedText("0.2"));
    EXPECT_EQ(check().kind, Kind::Newer);
}

TEST_F(UpdateCheck, SaysThatTheBuildKnowsOfNoFeed)
{
    EXPECT_EQ(check({}).kind, Kind::NotConfigured);
    EXPECT_EQ(check({source().feed, {}}).kind, Kind::NotConfigured);
    EXPECT_EQ(check({{}, key_.publicKey()}).kind, Kind::NotConfigured);
    EXPECT_TRUE(server_.requests().isEmpty());
}

} // namespace

} // namespace velmo
