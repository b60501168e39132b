#include "providers/AnthropicProvider.h"
#include "providers/OpenAIProvider.h"
#include "support/core/LogLines.h"
#include "support/core/Printing.h"

#include <QBuffer>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <gmock/gmock.h>

namespace velmo {

namespace {

QByteArray pngOf(int width, int height)
{
    QImage image(width, height, QImage::Format_RGB32);
    image.fill(Qt::darkGreen);
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return bytes;
}

LLMMessage user(const QString& text, std::optional<QByteArray> image = std::nullopt)
{
    return {LLMMessage::Role::User, text, std::move(image)};
}

LLMMessage assistant(const QString& text)
{
    return {LLMMessage::Role::Assistant, text, std::nullopt};
}

const QString kModel = QStringLiteral("some-model");
const QString kQuestion = QString::fromUtf8("What's \"%1\"?\n\xF0\x9F\x8E\xAF");

QJsonObject parsed(const QByteArray& body)
{
    return QJsonDocument::fromJson(body).object();
}

QJsonObject anthropicBody(const QList<LLMMessage>& messages, const QString& prompt)
{
    const auto body = AnthropicProvider::buildRequestBody(kModel, messages, prompt);
    return body ? parsed(body.value()) : QJsonObject();
}

QJsonObject json(const char* text)
{
    const QJsonDocument document = QJsonDocument::fromJson(text);
    EXPECT_TRUE(document.isObject()) << text;
    return document.object();
}

} // namespace

class RequestBodyTest : public testing::Test {
protected:
    LogLines log;
};

TEST_F(RequestBodyTest, AnthropicGetsBlocksAndNothingThatIsNotStated)
{
    const QJsonObject body =
        anthropicBody({user(QStringLiteral("Q1")), assistant(QStringLiteral("A1")), user({})}, {});
    EXPECT_EQ(body, json(R"({"model":"some-model","max_tokens":1024,"stream":true,"messages":[
        {"role":"user","content":[{"type":"text","text":"Q1"}]},
        {"role":"assistant","content":[{"type":"text","text":"A1"}]},
        {"role":"user","content":[{"type":"text","text":""}]}]})"));
}

TEST_F(RequestBodyTest, OpenAIGetsPlainStringsAndNothingThatIsNotStated)
{
    const QByteArray body = OpenAIProvider::buildRequestBody(
        kModel, {user(QStringLiteral("Q1")), assistant(QStringLiteral("A1")), user({})}, {});
    EXPECT_EQ(parsed(body),
              json(R"({"model":"some-model","max_completion_tokens":1024,"stream":true,"messages":[
        {"role":"user","content":"Q1"},{"role":"assistant","content":"A1"},{"role":"user","content":""}]})"));
}

TEST_F(RequestBodyTest, ASystemPromptIsSentAsItIsWithItsSpaces)
{
    const QString prompt = QStringLiteral("\n  Be brief. \t");
    EXPECT_EQ(anthropicBody({user(kQuestion)}, prompt).value(QStringLiteral("system")).toString(), prompt);
    const QJsonArray messages = parsed(OpenAIProvider::buildRequestBody(kModel, {user(kQuestion)}, prompt))
                                    .value(QStringLiteral("messages"))
                                    .toArray();
    ASSERT_EQ(messages.size(), 2);
    EXPECT_EQ(messages.at(0).toObject(), (QJsonObject{{QStringLiteral("role"), QStringLiteral("system")},
                                                      {QStringLiteral("content"), prompt}}));
}

TEST_F(RequestBodyTest, ASystemPromptOfWhiteSpaceIsNotSent)
{
    for (const char* blank : {"", " ", "\n\t \r\n", "\xC2\xA0"}) {
        const QString prompt = QString::fromUtf8(blank);
        EXPECT_FALSE(anthropicBody({user(kQuestion)}, prompt).contains(QStringLiteral("system")));
        EXPECT_EQ(parsed(OpenAIProvider::buildRequestBody(kModel, {user(kQuestion)}, prompt))
                      .value(QStringLiteral("messages"))
                      .toArray()
                      .size(),
                  1);
    }
}

TEST_F(RequestBodyTest, TextTravelsUnchanged)
{
    const QJsonValue content = anthropicBody({user(kQuestion)}, {})[QStringLiteral("messages")][0];
    EXPECT_EQ(content[QStringLiteral("content")][0][QStringLiteral("text")].toString(), kQuestion);
    const QJsonObject body = parsed(OpenAIProvider::buildRequestBody(kModel, {user(kQuestion)}, {}));
    EXPECT_EQ(body[QStringLiteral("messages")][0][QStringLiteral("content")].toString(), kQuestion);
}

TEST_F(RequestBodyTest, AnthropicGetsTheImageBeforeTheTextAndOnlyWhereThereIsOne)
{
    const QJsonArray messages = anthropicBody({user(QStringLiteral("Q1"), pngOf(40, 30)),
                                               assistant(QStringLiteral("A1")), user(QStringLiteral("Q2"))},
                                              {})
                                    .value(QStringLiteral("messages"))
                                    .toArray();
    ASSERT_EQ(messages.size(), 3);
    const QJsonArray blocks = messages.at(0).toObject().value(QStringLiteral("content")).toArray();
    ASSERT_EQ(blocks.size(), 2);
    const QJsonValue source = blocks.at(0)[QStringLiteral("source")];
    const QByteArray bytes = QByteArray::fromBase64(source[QStringLiteral("data")].toString().toLatin1());
    EXPECT_EQ(blocks.at(0)[QStringLiteral("type")].toString(), QStringLiteral("image"));
    EXPECT_EQ(source[QStringLiteral("type")].toString(), QStringLiteral("base64"));
    EXPECT_EQ(source[QStringLiteral("media_type")].toString(), QStringLiteral("image/webp"));
    EXPECT_EQ(source.toObject().size(), 3);
    EXPECT_TRUE(bytes.startsWith("RIFF"));
    EXPECT_EQ(blocks.at(1).toObject(), json(R"({"type":"text","text":"Q1"})"));
    EXPECT_EQ(messages.at(1)[QStringLiteral("content")].toArray().size(), 1);
    EXPECT_EQ(messages.at(2)[QStringLiteral("content")].toArray().size(), 1);
    EXPECT_EQ(log.take(),
              QStringList{QStringLiteral("[Anthropic] Prepared image payload mediaType=image/webp bytes=") +
                          QString::number(bytes.size())});
}

TEST_F(RequestBodyTest, OpenAIGetsTheBytesAsTheyAreBeforeTheText)
{
    const QByteArray bytes("any bytes \x00\xFF at all", 20);
    const QJsonObject body = parsed(OpenAIProvider::buildRequestBody(
        kModel, {user(QStringLiteral("Q1"), bytes), assistant(QStringLiteral("A1"))}, {}));
    const QJsonObject expected{
        {QStringLiteral("type"), QStringLiteral("image_url")},
        {QStringLiteral("image_url"),
         QJsonObject{{QStringLiteral("url"),
                      QStringLiteral("data:image/png;base64,") + QString::fromLatin1(bytes.toBase64())}}}};
    EXPECT_EQ(body[QStringLiteral("messages")][0][QStringLiteral("content")].toArray(),
              (QJsonArray{expected, json(R"({"type":"text","text":"Q1"})")}));
    EXPECT_EQ(body[QStringLiteral("messages")][1][QStringLiteral("content")].toString(),
              QStringLiteral("A1"));
    EXPECT_EQ(log.take(), QStringList{}) << "nothing is prepared, so nothing is logged";
}

TEST_F(RequestBodyTest, AnImageWithoutAQuestionStillHasItsEmptyText)
{
    const QJsonObject anthropic = anthropicBody({user({}, pngOf(4, 3))}, {});
    EXPECT_EQ(anthropic[QStringLiteral("messages")][0][QStringLiteral("content")][1].toObject(),
              json(R"({"type":"text","text":""})"));
    const QJsonObject openAI = parsed(OpenAIProvider::buildRequestBody(kModel, {user({}, pngOf(4, 3))}, {}));
    EXPECT_EQ(openAI[QStringLiteral("messages")][0][QStringLiteral("content")][1].toObject(),
              json(R"({"type":"text","text":""})"));
}

TEST_F(RequestBodyTest, EveryImageIsPreparedAnewForEveryRequest)
{
    const QList<LLMMessage> messages{user(QStringLiteral("Q1"), pngOf(40, 30)),
                                     user(QStringLiteral("Q2"), pngOf(50, 20))};
    ASSERT_FALSE(anthropicBody(messages, {}).isEmpty());
    const QStringList first = log.take();
    EXPECT_EQ(first.size(), 2);
    EXPECT_NE(first.value(0), first.value(1));
    ASSERT_FALSE(anthropicBody(messages, {}).isEmpty());
    EXPECT_EQ(log.take(), first);
}

TEST_F(RequestBodyTest, AnImageThatCannotBePreparedFailsTheWholeBody)
{
    for (const QByteArray& bytes : {QByteArray(""), QByteArray("no picture"), pngOf(4, 3).first(40)}) {
        const auto body = AnthropicProvider::buildRequestBody(kModel, {user(QStringLiteral("Q"), bytes)}, {});
        ASSERT_FALSE(body);
        EXPECT_EQ(body.error().localizedDescription(),
                  QStringLiteral("Could not decode screenshot for Anthropic upload"));
    }
    EXPECT_EQ(log.take(), QStringList{});
}

} // namespace velmo
