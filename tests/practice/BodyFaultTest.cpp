#include "practice/Client.h"
#include "support/practice/PracticeServer.h"
#include "support/practice/Scenario.h"

#include <QJsonDocument>
#include <QSet>
#include <QStringDecoder>

#include <gmock/gmock.h>

namespace velmo::practice {

namespace {

class BodyFaultTest : public testing::TestWithParam<Vendor> {
protected:
    void SetUp() override { ASSERT_NE(server_.start(), 0); }

    RawAnswer ask(const Scenario& scenario)
    {
        server_.setScenario(scenario);
        Client client(server_.port());
        return client.exchange(requestOf(GetParam()));
    }

    static QJsonObject errorOf(const RawAnswer& answer)
    {
        return QJsonDocument::fromJson(answer.body).object()[QStringLiteral("error")].toObject();
    }

    PracticeServer server_;
};

TEST_P(BodyFaultTest, AnswersStatusCodesWithTheVendorsErrors)
{
    struct Case {
        ScenarioKind kind;
        int status;
        const char* messagesType;
        const char* chatType;
    };
    for (const Case& expected :
         {Case{ScenarioKind::Status401, 401, "authentication_error", "invalid_request_error"},
          Case{ScenarioKind::Status429, 429, "rate_limit_error", "requests"},
          Case{ScenarioKind::Status500, 500, "api_error", "server_error"},
          Case{ScenarioKind::Status529, 529, "overloaded_error", "server_error"}}) {
        const RawAnswer answer = ask({.kind = expected.kind});
        EXPECT_EQ(answer.status, expected.status);
        EXPECT_EQ(answer.header("Content-Type"), "application/json");
        EXPECT_EQ(errorOf(answer)[QStringLiteral("type")].toString(),
                  QLatin1String(GetParam() == Vendor::Messages ? expected.messagesType : expected.chatType));
        EXPECT_FALSE(answer.body.contains("good-key"));
        EXPECT_EQ(answer.header("Retry-After"), expected.status == 429 ? QByteArray("7") : QByteArray());
    }
}

TEST_P(BodyFaultTest, RepeatsTheKeyWhenAsked)
{
    const RawAnswer answer =
        ask({.kind = ScenarioKind::Status401, .echoKey = true, .message = QStringLiteral("Go away")});
    EXPECT_EQ(errorOf(answer)[QStringLiteral("message")].toString(),
              QStringLiteral("Go away for the key 'good-key'"));
}

TEST_P(BodyFaultTest, AnswersEmptyBodies)
{
    const RawAnswer failure = ask({.kind = ScenarioKind::StatusEmptyBody});
    EXPECT_EQ(failure.status, 500);
    EXPECT_TRUE(failure.isComplete);
    EXPECT_TRUE(failure.body.isEmpty());
    const RawAnswer success = ask({.kind = ScenarioKind::Empty200});
    EXPECT_EQ(success.status, 200);
    EXPECT_TRUE(success.isComplete);
    EXPECT_TRUE(success.body.isEmpty());
}

TEST_P(BodyFaultTest, AnswersABodyThatIsNotUtf8)
{
    const RawAnswer answer = ask({.kind = ScenarioKind::NonUtf8Body});
    EXPECT_EQ(answer.status, 500);
    QStringDecoder decoder(QStringDecoder::Utf8);
    const QString text = decoder(answer.body);
    EXPECT_TRUE(text.contains(QStringLiteral("broken")));
    EXPECT_TRUE(decoder.hasError());
}

TEST_P(BodyFaultTest, TransportFaultsNeedNoValidRequest)
{
    server_.setScenario({.kind = ScenarioKind::Status500});
    Client client(server_.port());
    EXPECT_EQ(client.exchange("GET /elsewhere HTTP/1.1\r\n\r\n").status, 500);
    server_.setScenario({.kind = ScenarioKind::Crlf});
    EXPECT_EQ(client.exchange(post(pathOf(GetParam()), {}, "{}")).status, 401);
}

INSTANTIATE_TEST_SUITE_P(Both, BodyFaultTest, testing::Values(Vendor::Messages, Vendor::Chat),
                         testing::PrintToStringParamName());

TEST(ScenarioNamesTest, EveryKindHasANameOfItsOwn)
{
    const QStringList names = scenarioNames();
    EXPECT_EQ(names.size(), static_cast<int>(ScenarioKind::Custom) + 1);
    EXPECT_EQ(QSet<QString>(names.begin(), names.end()).size(), names.size());
    for (int kind = 0; kind < names.size(); ++kind) {
        EXPECT_EQ(scenarioName(static_cast<ScenarioKind>(kind)), names[kind]);
        EXPECT_EQ(scenarioKind(names[kind]), static_cast<ScenarioKind>(kind));
    }
    EXPECT_FALSE(scenarioKind(QStringLiteral("nonsense")).has_value());
}

} // namespace

} // namespace velmo::practice
