#include "practice/Client.h"
#include "support/practice/PracticeServer.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <gmock/gmock.h>

namespace velmo::practice {

namespace {

QJsonObject jsonOf(const RawAnswer& answer)
{
    return QJsonDocument::fromJson(answer.body).object();
}

QByteArrayList eventNames(const QByteArray& stream)
{
    QByteArrayList names;
    for (const QByteArray& line : stream.split('\n')) {
        if (line.startsWith("event: ") && (names.isEmpty() || names.last() != line.mid(7))) {
            names.append(line.mid(7));
        }
    }
    return names;
}

HeaderList without(HeaderList headers, const QByteArray& name)
{
    headers.removeIf([&](const auto& field) { return field.first == name; });
    return headers;
}

class VendorTest : public testing::TestWithParam<Vendor> {
protected:
    void SetUp() override
    {
        ASSERT_NE(server_.start(), 0);
        server_.setScenario({.kind = ScenarioKind::Pieces});
    }

    RawAnswer ask(const HeaderList& headers, const QJsonObject& body)
    {
        Client client(server_.port());
        return client.exchange(post("/prefix" + pathOf(GetParam()), headers, QJsonDocument(body).toJson()));
    }

    RawAnswer askWithout(const QString& member)
    {
        QJsonObject body = bodyOf(GetParam());
        body.remove(member);
        return ask(headersOf(GetParam()), body);
    }

    RawAnswer askWithContent(const QJsonValue& content)
    {
        QJsonObject body = bodyOf(GetParam());
        body.insert(QStringLiteral("messages"),
                    QJsonArray{QJsonObject{{QStringLiteral("role"), QStringLiteral("user")},
                                           {QStringLiteral("content"), content}}});
        return ask(headersOf(GetParam()), body);
    }

    PracticeServer server_;
};

TEST_P(VendorTest, StreamsThePiecesOneEventEach)
{
    const QStringList pieces{QStringLiteral("One "), QString::fromUtf8("zw\xC3\xB6lf "),
                             QStringLiteral("\n")};
    server_.setPieces(pieces);
    const RawAnswer answer = ask(headersOf(GetParam()), bodyOf(GetParam()));
    EXPECT_EQ(answer.status, 200);
    EXPECT_THAT(answer.header("Content-Type").toStdString(), testing::StartsWith("text/event-stream"));
    EXPECT_EQ(answer.header("Transfer-Encoding"), "chunked");
    QStringList texts = textsOf(answer.body);
    EXPECT_EQ(texts, pieces);
}

TEST_P(VendorTest, AcceptsContentThatIsAString)
{
    EXPECT_EQ(askWithContent(QStringLiteral("a question")).status, 200);
}

TEST_P(VendorTest, RefusesKeysWith401)
{
    const QByteArray keyHeader = headersOf(GetParam()).first().first;
    const RawAnswer missing = ask(without(headersOf(GetParam()), keyHeader), bodyOf(GetParam()));
    const RawAnswer bad = ask(headersOf(GetParam(), "bad-key"), bodyOf(GetParam()));
    for (const RawAnswer& answer : {missing, bad}) {
        EXPECT_EQ(answer.status, 401);
        const QJsonObject error = jsonOf(answer)[QStringLiteral("error")].toObject();
        EXPECT_FALSE(error[QStringLiteral("message")].toString().isEmpty());
        EXPECT_FALSE(answer.body.contains("bad-key"));
    }
    const QJsonObject error = jsonOf(bad)[QStringLiteral("error")].toObject();
    if (GetParam() == Vendor::Messages) {
        EXPECT_EQ(jsonOf(bad)[QStringLiteral("type")].toString(), QStringLiteral("error"));
        EXPECT_EQ(error[QStringLiteral("type")].toString(), QStringLiteral("authentication_error"));
    } else {
        EXPECT_EQ(error[QStringLiteral("code")].toString(), QStringLiteral("invalid_api_key"));
    }
}

TEST_P(VendorTest, RefusesIncompleteRequestsWith400)
{
    EXPECT_EQ(askWithout(QStringLiteral("model")).status, 400);
    EXPECT_EQ(askWithout(QStringLiteral("stream")).status, 400);
    EXPECT_EQ(askWithout(QStringLiteral("messages")).status, 400);
    EXPECT_EQ(askWithContent(QJsonArray()).status, 400);
    EXPECT_EQ(
        askWithContent(QJsonArray{QJsonObject{{QStringLiteral("type"), QStringLiteral("video")}}}).status,
        400);
    EXPECT_EQ(ask(headersOf(GetParam()), {}).status, 400);
    EXPECT_EQ(ask(without(headersOf(GetParam()), "Content-Type"), bodyOf(GetParam())).status, 400);
    EXPECT_EQ(askWithout(QStringLiteral("no such member")).status, 200);
}

TEST_P(VendorTest, RefusesOtherMethodsAndPaths)
{
    Client client(server_.port());
    EXPECT_EQ(client.exchange("GET " + pathOf(GetParam()) + " HTTP/1.1\r\n\r\n").status, 405);
    EXPECT_EQ(client.exchange("GET /v1/other HTTP/1.1\r\n\r\n").status, 404);
}

INSTANTIATE_TEST_SUITE_P(Both, VendorTest, testing::Values(Vendor::Messages, Vendor::Chat),
                         testing::PrintToStringParamName());

class MessagesTest : public VendorTest {};
class ChatTest : public VendorTest {};

TEST_P(MessagesTest, SendsTheEventsInTheirOrder)
{
    const RawAnswer answer = ask(headersOf(GetParam()), bodyOf(GetParam()));
    const QByteArrayList expected{"message_start",       "content_block_start", "ping",
                                  "content_block_delta", "content_block_stop",  "message_delta",
                                  "message_stop"};
    EXPECT_EQ(eventNames(answer.body), expected);
    EXPECT_TRUE(answer.body.contains("event: ping\ndata: {"));
    EXPECT_TRUE(answer.body.endsWith("}\n\n"));
    EXPECT_TRUE(answer.body.contains("\"model\":\"practice-model\""));
}

TEST_P(MessagesTest, WantsVersionTokenLimitAndValidImages)
{
    EXPECT_EQ(ask(without(headersOf(GetParam()), "anthropic-version"), bodyOf(GetParam())).status, 400);
    EXPECT_EQ(askWithout(QStringLiteral("max_tokens")).status, 400);

    QJsonObject source{{QStringLiteral("type"), QStringLiteral("base64")},
                       {QStringLiteral("media_type"), QStringLiteral("image/png")},
                       {QStringLiteral("data"), QStringLiteral("AAAA")}};
    const auto statusWith = [&](const QString& member, const QString& value) {
        QJsonObject changed = source;
        changed.insert(member, value);
        return askWithContent(QJsonArray{QJsonObject{{QStringLiteral("type"), QStringLiteral("image")},
                                                     {QStringLiteral("source"), changed}}})
            .status;
    };
    EXPECT_EQ(statusWith(QStringLiteral("data"), QStringLiteral("AAAA")), 200);
    EXPECT_EQ(statusWith(QStringLiteral("data"), QStringLiteral("A*A")), 400);
    EXPECT_EQ(statusWith(QStringLiteral("data"), QString()), 400);
    EXPECT_EQ(statusWith(QStringLiteral("media_type"), QStringLiteral("image/tiff")), 400);
    EXPECT_EQ(statusWith(QStringLiteral("type"), QStringLiteral("url")), 400);
}

TEST_P(ChatTest, StartsWithTheRoleAndEndsWithDone)
{
    const RawAnswer answer = ask(headersOf(GetParam()), bodyOf(GetParam()));
    const QByteArrayList events = answer.body.split('\n');
    EXPECT_TRUE(events.first().contains("\"delta\":{\"role\":\"assistant\"}"));
    EXPECT_TRUE(answer.body.contains("\"finish_reason\":\"stop\""));
    EXPECT_TRUE(answer.body.endsWith("\n\ndata: [DONE]\n\n"));
}

TEST_P(ChatTest, WantsDataUrls)
{
    const auto statusOf = [&](const QString& url) {
        const QJsonObject part{{QStringLiteral("type"), QStringLiteral("image_url")},
                               {QStringLiteral("image_url"), QJsonObject{{QStringLiteral("url"), url}}}};
        return askWithContent(QJsonArray{part}).status;
    };
    EXPECT_EQ(statusOf(QStringLiteral("data:image/png;base64,AAAA")), 200);
    EXPECT_EQ(statusOf(QStringLiteral("data:image/png;base64,A*A")), 400);
    EXPECT_EQ(statusOf(QStringLiteral("data:text/plain;base64,AAAA")), 400);
    EXPECT_EQ(statusOf(QStringLiteral("/tmp/picture.png")), 400);
}

INSTANTIATE_TEST_SUITE_P(Only, MessagesTest, testing::Values(Vendor::Messages));
INSTANTIATE_TEST_SUITE_P(Only, ChatTest, testing::Values(Vendor::Chat));

} // namespace

} // namespace velmo::practice
