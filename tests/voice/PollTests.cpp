#include "core/Text.h"
#include "support/voice/VoiceTest.h"

namespace velmo {

using namespace std::chrono_literals;
using practice::ScenarioKind;
using End = practice::SpeechOptions::End;
using Shape = practice::SpeechOptions::Shape;

class PollTest : public VoiceTest {
protected:
    /// A recording whose first poll is answered so.
    QString transcribeWithPoll(int status, const QByteArray& body)
    {
        answerPoll(status, body);
        return recordAndTranscribe();
    }
    QString transcribeOutput(const QByteArray& json)
    {
        answerOutput(json);
        return recordAndTranscribe();
    }
    /// The messages after the creation's.
    QStringList pollMessages() { return messages().mid(3); }
};

TEST_F(PollTest, WaitsASecondBeforeEveryPoll)
{
    QStringList events;
    client->onSend = [&events](const HttpRequest& request) {
        events.append(QString::fromLatin1(request.method));
    };
    onPause = [&events] { events.append(QStringLiteral("pause")); };
    (void)recordAndTranscribe();
    EXPECT_EQ(events.join(u' '), u"POST pause GET pause GET pause GET");
    EXPECT_EQ(pauses, (std::vector<std::chrono::milliseconds>(3, 1s)));
}

TEST_F(PollTest, GivesUpAfterSixtyPolls)
{
    QStringList events;
    client->onSend = [&events](const HttpRequest& request) {
        events.append(QString::fromLatin1(request.method));
    };
    onPause = [&events] { events.append(QStringLiteral("pause")); };
    server.setSpeech({.end = End::NeverFinishes});
    EXPECT_EQ(recordAndTranscribe(), u"! Transcription timed out");
    EXPECT_EQ(events.join(u' '), QStringLiteral("POST") + QStringLiteral(" pause GET").repeated(60));
    EXPECT_EQ(server.requests().size(), 61);
    QStringList expected(60, QStringLiteral("Prediction status=processing"));
    expected.append(QStringLiteral("Prediction polling timed out url=") + server.baseUrl() +
                    QStringLiteral("/v1/predictions/practice1"));
    EXPECT_EQ(pollMessages(), expected);
}

TEST_F(PollTest, SuccessAtTheSixtiethPollCounts)
{
    server.setSpeech({.pollsBeforeEnd = 59});
    EXPECT_EQ(recordAndTranscribe(), u"practice transcript of 5 audio bytes");
    EXPECT_EQ(server.requests().size(), 61);
}

TEST_F(PollTest, SuccessAfterTheSixtiethPollComesTooLate)
{
    server.setSpeech({.pollsBeforeEnd = 60});
    EXPECT_EQ(recordAndTranscribe(), u"! Transcription timed out");
    EXPECT_EQ(server.requests().size(), 61);
}

TEST_F(PollTest, EveryStatusOfSuccessIsAccepted)
{
    for (const int status : {200, 201, 202, 226, 299})
        EXPECT_EQ(transcribeWithPoll(status, R"({"status":"succeeded","output":"Hello"})"), u"Hello")
            << status;
}

TEST_F(PollTest, AnyOtherStatusIsAnError)
{
    for (const int status : {300, 302, 304, 400, 401, 404, 429, 500, 503}) {
        const QByteArray body = status == 304 ? "" : R"({"status":"succeeded","output":"Hello"})";
        EXPECT_EQ(transcribeWithPoll(status, body), QStringLiteral("! HTTP ") + QString::number(status) +
                                                        QStringLiteral(" from Replicate API: ") +
                                                        QString::fromUtf8(body));
        EXPECT_EQ(pollMessages(),
                  QStringList{QStringLiteral("Poll response status=") + QString::number(status) +
                              QStringLiteral(" body=") + QString::fromUtf8(body)});
    }
    server.setSpeech({.pollStatus = 500});
    EXPECT_TRUE(recordAndTranscribe().startsWith(QStringLiteral("! HTTP 500 from Replicate API: {")));
}

TEST_F(PollTest, ABodyThatIsNoObjectIsUnexpected)
{
    for (const char* body :
         {"", "[]", "null", "\"succeeded\"", "{\"status\":", "[{\"status\":\"succeeded\"}]", "<html>"}) {
        EXPECT_EQ(transcribeWithPoll(200, body), u"! Unexpected response from Replicate API") << body;
        EXPECT_EQ(pollMessages(),
                  QStringList{QStringLiteral("Poll invalid response body=") + QString::fromUtf8(body)});
    }
    EXPECT_EQ(transcribeWithPoll(200, "{\"status\":\"succeeded\",\"output\":\"\xff\"}"),
              u"! Unexpected response from Replicate API");
    EXPECT_EQ(pollMessages(),
              QStringList{QStringLiteral("Poll invalid response body=<non-utf8 body 35 bytes>")});
    EXPECT_EQ(transcribeWithPoll(500, "\xff"), u"! HTTP 500 from Replicate API: <non-utf8 body 1 bytes>");
    server.setSpeech({.invalidJsonAtPoll = true});
    EXPECT_EQ(recordAndTranscribe(), u"! Unexpected response from Replicate API");
}

TEST_F(PollTest, OtherStatusesMeanThatTheWorkGoesOn)
{
    server.enqueue({{}});
    for (const char* body : {R"({"status":"starting"})", R"({"status":"Succeeded"})", R"({"status":null})",
                             R"({"status":1})", "{}", R"({"output":"early"})", R"({"status":""})"})
        server.enqueue({custom(200, body)});
    server.enqueue({custom(200, R"({"status":"succeeded","output":"Hello"})")});
    EXPECT_EQ(recordAndTranscribe(), u"Hello");
    EXPECT_EQ(
        pollMessages(),
        (QStringList{
            QStringLiteral("Prediction status=starting"), QStringLiteral("Prediction status=Succeeded"),
            QStringLiteral("Prediction status=unknown"), QStringLiteral("Prediction status=unknown"),
            QStringLiteral("Prediction status=unknown"), QStringLiteral("Prediction status=unknown"),
            QStringLiteral("Prediction status="), QStringLiteral("Prediction status=succeeded"),
            QStringLiteral("Prediction succeeded body={\"status\":\"succeeded\",\"output\":\"Hello\"}")}));
}

TEST_F(PollTest, APredictionThatEndedOtherwiseSaysWhy)
{
    for (const char* status : {"failed", "canceled"}) {
        const QString name = QString::fromLatin1(status);
        for (const auto& [json, error] : {std::pair{R"(,"error":"no voice")", "no voice"},
                                          {R"(,"error":"")", ""},
                                          {R"(,"error":null)", "Unknown error"},
                                          {R"(,"error":{"a":1})", "Unknown error"},
                                          {"", "Unknown error"}}) {
            const QByteArray body =
                QByteArray(R"({"status":")") + status + '"' + json + R"(,"output":"Hello"})";
            EXPECT_EQ(transcribeWithPoll(200, body),
                      QStringLiteral("! Transcription failed: ") + QString::fromLatin1(error));
            EXPECT_EQ(pollMessages(),
                      (QStringList{QStringLiteral("Prediction status=") + name,
                                   QStringLiteral("Prediction ended status=") + name +
                                       QStringLiteral(" error=") + QString::fromLatin1(error) +
                                       QStringLiteral(" body=") + QString::fromUtf8(body)}));
        }
    }
    server.setSpeech({.end = End::Failed});
    EXPECT_EQ(recordAndTranscribe(), u"! Transcription failed: practice failure");
    server.setSpeech({.end = End::Canceled});
    EXPECT_EQ(recordAndTranscribe(), u"! Transcription failed: Unknown error");
}

TEST_F(PollTest, EveryShapeOfOutputIsUnderstood)
{
    const QString text = QStringLiteral("Hello world");
    for (const Shape shape : {Shape::ObjectText, Shape::ObjectTranscription, Shape::String}) {
        server.setSpeech({.shape = shape, .text = text});
        EXPECT_EQ(recordAndTranscribe(), text);
    }
    for (const Shape shape : {Shape::StringList, Shape::ObjectList}) {
        server.setSpeech({.shape = shape, .text = text});
        EXPECT_EQ(recordAndTranscribe(), u"Hello  world") << "the second word begins with a space of its own";
    }
    server.setSpeech({.shape = Shape::Nothing});
    EXPECT_EQ(recordAndTranscribe(), u"");
    EXPECT_EQ(transcribeOutput(R"(["Hello","world"])"), u"Hello world");
    for (const char* json : {"[]", "7", "false", R"(["Hello",{"text":"world"}])", "{}", R"([{}])"})
        EXPECT_EQ(transcribeOutput(json), u"") << json;
    EXPECT_EQ(transcribeWithPoll(200, R"({"status":"succeeded"})"), u"");
}

TEST_F(PollTest, LongTranscriptsAreWholeThoughTheLogIsNot)
{
    const QString text = QString::fromUtf8("ä👩🏽‍🚀 ").repeated(20'000);
    EXPECT_EQ(transcribeOutput('"' + text.toUtf8() + '"'), text);
    const QString line = pollMessages().constLast();
    const QString start = QStringLiteral("Prediction succeeded body={\"status\":\"succeeded\",\"output\":\"");
    EXPECT_TRUE(line.startsWith(start));
    EXPECT_TRUE(line.endsWith(u'…'));
    EXPECT_EQ(characterCount(line), 4001 + qsizetype(qstrlen("Prediction succeeded body=")));
}

TEST_F(PollTest, ErrorsOfTheNetworkPassThrough)
{
    client->limit = 200ms;
    server.enqueue({{}, {.kind = ScenarioKind::NeverAnswers}});
    EXPECT_EQ(recordAndTranscribe(), u"! The request timed out.");
    client->limit.reset();
    server.enqueue({{}, {.kind = ScenarioKind::DropInBody}});
    EXPECT_EQ(recordAndTranscribe(), u"! The network connection was lost.");
    EXPECT_EQ(server.requests().size(), 4) << "no step is tried twice";
}

TEST_F(PollTest, TheUsualPauseIsMeasuredOnTheMonotonicClock)
{
    const auto before = std::chrono::steady_clock::now();
    const auto task = tasks->start(VoiceCollaborators{recorders, *client}.pause(50ms));
    ASSERT_TRUE(turnUntil([&task] { return task.isFinished(); }));
    EXPECT_GE(std::chrono::steady_clock::now() - before, 50ms);
}

} // namespace velmo
