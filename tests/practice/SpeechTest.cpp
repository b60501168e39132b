#include "practice/Client.h"
#include "support/practice/PracticeServer.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QUrl>

#include <gmock/gmock.h>

namespace velmo::practice {

namespace {

using End = SpeechOptions::End;
using Shape = SpeechOptions::Shape;

class SpeechTest : public testing::Test {
protected:
    void SetUp() override { ASSERT_NE(server_.start(), 0); }

    static QJsonObject jsonOf(const RawAnswer& answer)
    {
        return QJsonDocument::fromJson(answer.body).object();
    }

    static QByteArray validBody()
    {
        const QJsonObject input{{QStringLiteral("audio"), QStringLiteral("data:audio/m4a;base64,AAECAwQ=")},
                                {QStringLiteral("task"), QStringLiteral("transcribe")},
                                {QStringLiteral("batch_size"), 64},
                                {QStringLiteral("timestamp"), QStringLiteral("chunk")}};
        return QJsonDocument(QJsonObject{{QStringLiteral("version"), QStringLiteral("v1")},
                                         {QStringLiteral("input"), input}})
            .toJson();
    }

    RawAnswer create(const QByteArray& body = validBody(), const QByteArray& key = "Bearer good-key")
    {
        Client client(server_.port());
        return client.exchange(post("/prefix/v1/predictions", {{"Authorization", key}}, body));
    }

    RawAnswer poll(const QString& url)
    {
        Client client(server_.port());
        return client.exchange("GET " + QUrl(url).path().toUtf8() +
                               " HTTP/1.1\r\nAuthorization: Bearer good-key\r\n\r\n");
    }

    QJsonObject createAndPollOnce(SpeechOptions options)
    {
        options.pollsBeforeEnd = 0;
        server_.setSpeech(options);
        const QJsonObject created = jsonOf(create());
        return jsonOf(poll(created[QStringLiteral("urls")][QStringLiteral("get")].toString()));
    }

    PracticeServer server_;
};

TEST_F(SpeechTest, SucceedsAfterSomePolls)
{
    const RawAnswer created = create();
    EXPECT_EQ(created.status, 201);
    EXPECT_EQ(jsonOf(created)[QStringLiteral("status")].toString(), QStringLiteral("starting"));
    const QString url = jsonOf(created)[QStringLiteral("urls")][QStringLiteral("get")].toString();
    const QString id = jsonOf(created)[QStringLiteral("id")].toString();
    EXPECT_EQ(url, QStringLiteral("http://practice.example/prefix/v1/predictions/") + id);
    EXPECT_EQ(jsonOf(poll(url))[QStringLiteral("status")].toString(), QStringLiteral("processing"));
    EXPECT_EQ(jsonOf(poll(url))[QStringLiteral("status")].toString(), QStringLiteral("processing"));
    const QJsonObject end = jsonOf(poll(url));
    EXPECT_EQ(end[QStringLiteral("status")].toString(), QStringLiteral("succeeded"));
    EXPECT_EQ(end[QStringLiteral("output")][QStringLiteral("text")].toString(),
              QStringLiteral("practice transcript of 5 audio bytes"));
}

TEST_F(SpeechTest, AnswersEachShape)
{
    const QString text = QStringLiteral("hello there");
    const QString output = QStringLiteral("output");
    EXPECT_EQ(createAndPollOnce({.shape = Shape::ObjectTranscription, .text = text})[output],
              (QJsonObject{{QStringLiteral("transcription"), text}}));
    EXPECT_EQ(createAndPollOnce({.shape = Shape::String, .text = text})[output], QJsonValue(text));
    EXPECT_EQ(createAndPollOnce({.shape = Shape::StringList, .text = text})[output],
              (QJsonArray{QStringLiteral("hello"), QStringLiteral(" there")}));
    EXPECT_EQ(createAndPollOnce({.shape = Shape::ObjectList, .text = text})[output][1],
              (QJsonObject{{QStringLiteral("text"), QStringLiteral(" there")}}));
    EXPECT_TRUE(createAndPollOnce({.shape = Shape::Nothing})[output].isNull());
}

TEST_F(SpeechTest, EndsInOtherWays)
{
    const QString status = QStringLiteral("status");
    const QJsonObject failed = createAndPollOnce({.end = End::Failed, .error = QStringLiteral("no voice")});
    EXPECT_EQ(failed[status].toString(), QStringLiteral("failed"));
    EXPECT_EQ(failed[QStringLiteral("error")].toString(), QStringLiteral("no voice"));
    EXPECT_EQ(createAndPollOnce({.end = End::Canceled})[status].toString(), QStringLiteral("canceled"));
    EXPECT_EQ(createAndPollOnce({.end = End::NeverFinishes})[status].toString(),
              QStringLiteral("processing"));
    server_.setSpeech({.endsAtCreation = true});
    EXPECT_EQ(jsonOf(create())[status].toString(), QStringLiteral("succeeded"));
}

TEST_F(SpeechTest, FailsAsAsked)
{
    server_.setSpeech({.createStatus = 429, .echoKey = true});
    const RawAnswer refused = create();
    EXPECT_EQ(refused.status, 429);
    EXPECT_TRUE(refused.body.contains("good-key"));

    server_.setSpeech({.pollStatus = 500});
    const RawAnswer created = create();
    EXPECT_EQ(created.status, 201);
    EXPECT_EQ(poll(jsonOf(created)[QStringLiteral("urls")][QStringLiteral("get")].toString()).status, 500);

    server_.setSpeech({.invalidJsonAtCreation = true});
    EXPECT_TRUE(QJsonDocument::fromJson(create().body).isNull());
    server_.setSpeech({.omitPollUrl = true});
    EXPECT_FALSE(jsonOf(create()).contains(QStringLiteral("urls")));
    server_.setSpeech({.pollOrigin = QStringLiteral("http://127.0.0.1:1")});
    EXPECT_TRUE(jsonOf(create())[QStringLiteral("urls")][QStringLiteral("get")].toString().startsWith(
        QStringLiteral("http://127.0.0.1:1/prefix/v1/predictions/")));
}

TEST_F(SpeechTest, RefusesInvalidRequests)
{
    EXPECT_EQ(create(validBody(), "Bearer bad-key").status, 401);
    EXPECT_EQ(create(validBody(), "good-key").status, 401);
    EXPECT_EQ(create("{}").status, 422);
    EXPECT_EQ(create(validBody().replace("data:audio", "data:video")).status, 422);
    EXPECT_EQ(poll(QStringLiteral("/v1/predictions/unknown")).status, 404);
}

TEST_F(SpeechTest, ObeysTransportScenarios)
{
    server_.enqueue({{.kind = ScenarioKind::DropInBody}, {.kind = ScenarioKind::Status529}});
    const RawAnswer dropped = create();
    EXPECT_EQ(dropped.status, 201);
    EXPECT_FALSE(dropped.body.isEmpty());
    EXPECT_FALSE(dropped.isComplete);
    const RawAnswer status = create();
    EXPECT_EQ(status.status, 529);
    EXPECT_FALSE(jsonOf(status)[QStringLiteral("detail")].toString().isEmpty());
    EXPECT_EQ(create().status, 201);
}

} // namespace

} // namespace velmo::practice
