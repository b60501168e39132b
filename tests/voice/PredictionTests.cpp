#include "support/voice/VoiceTest.h"

#include <QJsonDocument>
#include <QJsonObject>

namespace velmo {

using namespace std::chrono_literals;
using practice::ScenarioKind;

class PredictionTest : public VoiceTest {
protected:
    [[nodiscard]] QByteArray pollAddress() const { return server.baseUrl().toUtf8() + "/v1/predictions/p1"; }
    [[nodiscard]] static QString created(int status, const QString& body)
    {
        return QStringLiteral("Create prediction response status=") + QString::number(status) +
               QStringLiteral(" body=") + body;
    }
    /// A recording whose creation is answered so.
    QString transcribeWithCreation(int status, const QByteArray& body)
    {
        server.enqueue({custom(status, body)});
        return recordAndTranscribe();
    }
};

TEST_F(PredictionTest, TurnsARecordingIntoText)
{
    EXPECT_EQ(recordAndTranscribe(), u"practice transcript of 5 audio bytes");
    const QStringList lines = messages();
    ASSERT_EQ(lines.size(), 7);
    EXPECT_EQ(lines.mid(0, 2), beginning());
    EXPECT_TRUE(lines.at(2).startsWith(created(201, QStringLiteral("{"))));
    EXPECT_TRUE(lines.at(2).contains(server.baseUrl() + QStringLiteral("/v1/predictions/practice1")));
    EXPECT_EQ(lines.at(3), u"Prediction status=processing");
    EXPECT_EQ(lines.at(4), u"Prediction status=processing");
    EXPECT_EQ(lines.at(5), u"Prediction status=succeeded");
    EXPECT_TRUE(lines.at(6).startsWith(QStringLiteral("Prediction succeeded body={")));
    EXPECT_TRUE(lines.at(6).contains(QStringLiteral("practice transcript of 5 audio bytes")));
}

TEST_F(PredictionTest, SendsExactlyWhatIsPromised)
{
    recorders.sound = QByteArray::fromHex("00fbff3e3f");
    (void)recordAndTranscribe();
    const auto requests = server.requests();
    ASSERT_EQ(requests.size(), 4);
    const auto& creation = requests.at(0);
    EXPECT_EQ(creation.method, "POST");
    EXPECT_EQ(creation.path, "/v1/predictions");
    const QByteArray host = server.baseUrl().toUtf8().sliced(7);
    EXPECT_EQ(creation.headers,
              (practice::HeaderList{{"Host", host},
                                    {"Accept-Encoding", "identity"},
                                    {"Authorization", "Bearer " + kKey.toUtf8()},
                                    {"Content-Type", "application/json"},
                                    {"Content-Length", QByteArray::number(creation.body.size())}}));
    const QByteArray promised =
        R"({"version":")" + kVersion.toUtf8() +
        R"(","input":{"audio":"data:audio/m4a;base64,APv/Pj8=","task":"transcribe","batch_size":24,"timestamp":"chunk"}})";
    EXPECT_EQ(QJsonDocument::fromJson(creation.body), QJsonDocument::fromJson(promised));

    for (qsizetype poll = 1; poll < requests.size(); ++poll) {
        EXPECT_EQ(requests.at(poll).method, "GET");
        EXPECT_EQ(requests.at(poll).path, "/v1/predictions/practice1");
        EXPECT_EQ(requests.at(poll).headers,
                  (practice::HeaderList{{"Host", host},
                                        {"Accept-Encoding", "identity"},
                                        {"Authorization", "Bearer " + kKey.toUtf8()}}));
        EXPECT_EQ(requests.at(poll).body, "");
    }
}

TEST_F(PredictionTest, LimitsEveryRequest)
{
    (void)recordAndTranscribe();
    ASSERT_EQ(client->requests.size(), 4U);
    for (const HttpRequest& request : client->requests) {
        const std::chrono::milliseconds limit = request.method == "POST" ? 90s : 30s;
        EXPECT_EQ(request.idleTimeout, limit);
        EXPECT_EQ(request.totalTimeout, limit);
    }
}

TEST_F(PredictionTest, BothStatusesOfACreationAreAccepted)
{
    for (const int status : {200, 201}) {
        server.setSpeech({.createStatus = status});
        EXPECT_EQ(recordAndTranscribe(), u"practice transcript of 5 audio bytes") << status;
    }
}

TEST_F(PredictionTest, AnyOtherStatusOfACreationIsAnError)
{
    const QByteArray good = R"({"urls":{"get":")" + pollAddress() + R"("}})";
    for (const int status :
         {202, 203, 206, 299, 300, 302, 304, 400, 401, 402, 404, 422, 429, 500, 503, 529}) {
        // A 304 has no body.
        const QByteArray body = status == 304 ? QByteArray() : good;
        EXPECT_EQ(transcribeWithCreation(status, body), QStringLiteral("! HTTP ") + QString::number(status) +
                                                            QStringLiteral(" from Replicate API: ") +
                                                            QString::fromUtf8(body));
        EXPECT_EQ(messages(), beginning() + QStringList{created(status, QString::fromUtf8(body))});
    }
    EXPECT_TRUE(pauses.empty());
}

TEST_F(PredictionTest, AKeyThatIsRefusedIsAnError)
{
    renewService(QStringLiteral("bad-key"));
    EXPECT_TRUE(recordAndTranscribe().startsWith(
        QStringLiteral("! HTTP 401 from Replicate API: {\"detail\":\"You did not pass a valid")));
}

TEST_F(PredictionTest, AResponseWithoutAnAddressIsUnexpected)
{
    for (const char* body :
         {"", "{}", "[]", "null", "\"text\"", R"({"urls":)", R"({"urls":{}})", R"({"urls":[]})",
          R"({"urls":"http://127.0.0.1"})", R"({"urls":{"get":null}})", R"({"urls":{"get":7}})",
          R"({"urls":{"get":""}})", R"({"urls":{"get":["http://127.0.0.1"]}})", R"({"urls":{"cancel":"x"}})",
          R"({"get":"http://127.0.0.1"})", "{\"urls\":{\"get\":\"\xff\"}}"}) {
        EXPECT_EQ(transcribeWithCreation(201, body), u"! Unexpected response from Replicate API") << body;
        const bool isText = QByteArrayView(body).isValidUtf8();
        EXPECT_EQ(messages(), beginning() + QStringList{created(
                                                201, isText ? QString::fromUtf8(body)
                                                            : QStringLiteral("<non-utf8 body 20 bytes>"))});
    }
    server.setSpeech({.omitPollUrl = true});
    EXPECT_EQ(recordAndTranscribe(), u"! Unexpected response from Replicate API");
    server.setSpeech({.invalidJsonAtCreation = true});
    EXPECT_EQ(recordAndTranscribe(), u"! Unexpected response from Replicate API");
    EXPECT_TRUE(pauses.empty());
}

TEST_F(PredictionTest, LongErrorBodiesAreCutInLogAndText)
{
    const QString character = QString::fromUtf8("👩🏽‍🚀");
    const QString cut = character.repeated(4000) + u'…';
    EXPECT_EQ(transcribeWithCreation(500, character.repeated(4100).toUtf8()),
              QStringLiteral("! HTTP 500 from Replicate API: ") + cut);
    EXPECT_EQ(messages(), beginning() + QStringList{created(500, cut)});
}

TEST_F(PredictionTest, TheAddressIsReadFromTheWholeResponse)
{
    // What is logged ends long before the address.
    const QByteArray body =
        R"({"input":")" + QByteArray(100'000, 'x') + R"(","urls":{"get":")" + pollAddress() + R"("}})";
    server.enqueue({custom(201, body), custom(200, R"({"status":"succeeded","output":"Hello"})")});
    EXPECT_EQ(recordAndTranscribe(), u"Hello");
    EXPECT_TRUE(messages().at(2).endsWith(u'…'));
}

TEST_F(PredictionTest, ACreationThatAlreadyEndedIsPolledAllTheSame)
{
    server.setSpeech({.pollsBeforeEnd = 0, .endsAtCreation = true});
    EXPECT_EQ(recordAndTranscribe(), u"practice transcript of 5 audio bytes");
    EXPECT_EQ(server.requests().size(), 2);
}

TEST_F(PredictionTest, ErrorsOfTheNetworkPassThrough)
{
    client->limit = 200ms;
    server.enqueue({{.kind = ScenarioKind::NeverAnswers}});
    EXPECT_EQ(recordAndTranscribe(), u"! The request timed out.");
    EXPECT_EQ(messages(), beginning());
    client->limit.reset();

    server.enqueue({{.kind = ScenarioKind::DropBeforeHead}});
    EXPECT_EQ(recordAndTranscribe(), u"! The network connection was lost.");
    EXPECT_EQ(messages(), beginning());

    server.enqueue({{.kind = ScenarioKind::DropInBody}});
    EXPECT_EQ(recordAndTranscribe(), u"! The network connection was lost.");
    EXPECT_EQ(messages(), beginning());
    EXPECT_EQ(server.requests().size(), 3) << "no step is tried twice";

    server.stop();
    EXPECT_EQ(recordAndTranscribe(), u"! Could not connect to the server 127.0.0.1.");
    EXPECT_EQ(messages(), beginning());
}

TEST_F(PredictionTest, NothingLiesOnTheDiskWhileTheTranscriptionRuns)
{
    client->onSend = [this](const HttpRequest&) {
        EXPECT_EQ(temporaryFiles(), QStringList());
        EXPECT_EQ(recorders.recordersAlive(), 0);
    };
    EXPECT_EQ(recordAndTranscribe(), u"practice transcript of 5 audio bytes");
}

TEST_F(PredictionTest, WithoutARecordingThereIsNothingToTranscribe)
{
    const Run run = transcribe();
    ASSERT_TRUE(turnUntil([&run] { return run.hasEnded(); }));
    EXPECT_EQ(run.text(), u"! No audio file to transcribe");
    EXPECT_EQ(messages(), QStringList());
    EXPECT_TRUE(client->requests.empty());
}

TEST_F(PredictionTest, ARecordingIsTranscribedOnce)
{
    (void)recordAndTranscribe();
    const Run again = transcribe();
    ASSERT_TRUE(turnUntil([&again] { return again.hasEnded(); }));
    EXPECT_EQ(again.text(), u"! No audio file to transcribe");
}

} // namespace velmo
