#include "support/practice/Answer.h"
#include "practice/Client.h"
#include "support/practice/PracticeServer.h"

#include <QBuffer>
#include <QJsonArray>
#include <QPainter>

#include <gmock/gmock.h>

#include <webp/encode.h>

namespace velmo::practice {

namespace {

constexpr QRect kCircle(100, 60, 200, 120);

QImage pictureWithCircle(const QSize& size = QSize(640, 400))
{
    QImage image(size, QImage::Format_RGB32);
    image.fill(QColor(200, 220, 240));
    QPainter painter(&image);
    painter.setPen(QPen(QColor(255, 0, 0), 6));
    painter.drawEllipse(kCircle);
    return image;
}

QByteArray encoded(const QImage& image, const char* format)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    EXPECT_TRUE(image.save(&buffer, format, 85));
    return bytes;
}

QByteArray encodedWebp(const QImage& image)
{
    const QImage rgb = image.convertToFormat(QImage::Format_RGB888);
    std::uint8_t* output = nullptr;
    const std::size_t size = WebPEncodeRGB(rgb.constBits(), rgb.width(), rgb.height(),
                                           static_cast<int>(rgb.bytesPerLine()), 85.0F, &output);
    QByteArray bytes(reinterpret_cast<const char*>(output), static_cast<qsizetype>(size));
    WebPFree(output);
    return bytes;
}

/// A stroke of six pixels reaches three beyond the outline; lossy coding moves edges by a pixel or two.
void expectNear(const QRect& red, int tolerance)
{
    const QRect expected = kCircle.adjusted(-3, -3, 3, 3);
    EXPECT_NEAR(red.left(), expected.left(), tolerance);
    EXPECT_NEAR(red.right(), expected.right(), tolerance);
    EXPECT_NEAR(red.top(), expected.top(), tolerance);
    EXPECT_NEAR(red.bottom(), expected.bottom(), tolerance);
}

TEST(ImageMeasureTest, FindsTheCircleInEachFormat)
{
    const QImage image = pictureWithCircle();
    const ImageMeasure png = measureImage(encoded(image, "png"));
    EXPECT_EQ(png.format, QStringLiteral("png"));
    EXPECT_EQ(png.size, QSize(640, 400));
    expectNear(png.red, 1);
    const ImageMeasure jpeg = measureImage(encoded(image, "jpg"));
    EXPECT_EQ(jpeg.format, QStringLiteral("jpeg"));
    EXPECT_EQ(jpeg.size, QSize(640, 400));
    expectNear(jpeg.red, 3);
    const ImageMeasure webp = measureImage(encodedWebp(image));
    EXPECT_EQ(webp.format, QStringLiteral("webp"));
    EXPECT_EQ(webp.size, QSize(640, 400));
    expectNear(webp.red, 3);
}

TEST(ImageMeasureTest, FindsNothingWhereNothingIsRed)
{
    QImage image(20, 10, QImage::Format_RGB32);
    image.fill(QColor(255, 128, 0));
    const ImageMeasure measure = measureImage(encoded(image, "png"));
    EXPECT_EQ(measure.size, QSize(20, 10));
    EXPECT_EQ(redFragment(measure), QStringLiteral("no red strokes"));
    EXPECT_FALSE(measureImage("no image").isReadable());
    EXPECT_FALSE(measureImage(encoded(image, "png").left(40)).isReadable());
}

TEST(ImageMeasureTest, WritesTheFragment)
{
    const ImageMeasure measure{.format = QStringLiteral("png"),
                               .size = QSize(1568, 882),
                               .red = QRect(QPoint(120, 200), QPoint(480, 420))};
    EXPECT_EQ(redFragment(measure),
              QStringLiteral("red strokes: x=120..480 y=200..420 centre=19%,35% (300,310)"));
}

TEST(AnswerTextTest, HasTheDocumentedFormat)
{
    const Conversation conversation{.model = QStringLiteral("m"),
                                    .userTurns = 2,
                                    .systemCharacters = 7,
                                    .lastQuestion = QStringLiteral("why?"),
                                    .images = {{"xyz", "image/png"}}};
    EXPECT_EQ(composeAnswer(conversation).toStdString(),
              "## Practice answer\n\n"
              "I looked at what arrived \xF0\x9F\x8E\xAF this is **turn 2**:"
              "\n\n- model: `m`\n"
              "- image 1: unreadable, 3 bytes (declared image/png)\n"
              "- question: why?\n"
              "- system prompt: 7 characters");
}

TEST(AnswerTextTest, IsCutIntoPiecesThatJoin)
{
    const QString text = QString::fromUtf8("\xF0\x9F\x8E\xAF").repeated(50) + QStringLiteral("abc");
    const QStringList pieces = cutIntoPieces(text);
    EXPECT_GE(pieces.size(), 20);
    EXPECT_EQ(pieces.join(QString()), text);
    for (const QString& piece : pieces) {
        EXPECT_TRUE(piece.isValidUtf16());
    }
}

class AnswerTest : public testing::TestWithParam<Vendor> {
protected:
    void SetUp() override { ASSERT_NE(server_.start(), 0); }

    static QJsonObject imagePart(const QByteArray& bytes, const QByteArray& type)
    {
        const QString data = QString::fromLatin1(bytes.toBase64());
        if (GetParam() == Vendor::Messages) {
            return {{QStringLiteral("type"), QStringLiteral("image")},
                    {QStringLiteral("source"),
                     QJsonObject{{QStringLiteral("type"), QStringLiteral("base64")},
                                 {QStringLiteral("media_type"), QString::fromLatin1(type)},
                                 {QStringLiteral("data"), data}}}};
        }
        const QString url = QStringLiteral("data:%1;base64,%2").arg(QString::fromLatin1(type), data);
        return {{QStringLiteral("type"), QStringLiteral("image_url")},
                {QStringLiteral("image_url"), QJsonObject{{QStringLiteral("url"), url}}}};
    }

    static QJsonObject message(const char* role, const QJsonValue& content)
    {
        return {{QStringLiteral("role"), QString::fromLatin1(role)}, {QStringLiteral("content"), content}};
    }

    std::string answerTo(const QJsonArray& messages, const QString& system)
    {
        QJsonObject body = bodyOf(GetParam());
        QJsonArray all = messages;
        if (GetParam() == Vendor::Messages) {
            body.insert(QStringLiteral("system"), system);
        } else {
            all.prepend(message("system", system));
        }
        body.insert(QStringLiteral("messages"), all);
        Client client(server_.port());
        const QStringList texts = textsOf(client.exchange(requestOf(GetParam(), body)).body);
        EXPECT_GT(texts.size(), 10);
        return texts.join(QString()).toStdString();
    }

    PracticeServer server_;
};

TEST_P(AnswerTest, SaysWhatArrived)
{
    const QJsonObject text{{QStringLiteral("type"), QStringLiteral("text")},
                           {QStringLiteral("text"), QStringLiteral("First\nquestion")}};
    const QByteArray png = encoded(pictureWithCircle(), "png");
    const QByteArray plain = encoded(QImage(30, 20, QImage::Format_Grayscale8), "jpg");
    const QJsonArray messages{
        message("user", QJsonArray{imagePart(png, "image/png"), text}),
        message("assistant", QStringLiteral("An answer")),
        message("user", QJsonArray{imagePart(plain, "image/png"),
                                   QJsonObject{{QStringLiteral("type"), QStringLiteral("text")},
                                               {QStringLiteral("text"), QStringLiteral("And\n  this?")}}})};
    const std::string answer = answerTo(messages, QString::fromUtf8("caf\xC3\xA9 \xF0\x9F\x8E\xAF"));

    EXPECT_THAT(answer, testing::HasSubstr("**turn 2**"));
    EXPECT_THAT(answer, testing::HasSubstr("- model: `practice-model`\n"));
    EXPECT_THAT(answer, testing::HasSubstr("- image 1: png 640x400\n- red strokes: x="));
    EXPECT_THAT(answer, testing::HasSubstr("centre=31%,30% (200,120)\n"));
    EXPECT_THAT(answer, testing::HasSubstr("- image 2: jpeg 30x20 (declared image/png)\n- no red strokes\n"));
    EXPECT_THAT(answer, testing::HasSubstr("- question: And this?\n"));
    EXPECT_THAT(answer, testing::EndsWith("- system prompt: 6 characters"));
}

TEST_P(AnswerTest, DoesWithoutImagesAndSystemPrompt)
{
    const std::string answer = answerTo({message("user", QStringLiteral("Just text"))}, QStringLiteral("s"));
    EXPECT_THAT(answer, testing::HasSubstr("**turn 1**"));
    EXPECT_THAT(answer, testing::HasSubstr("- no image\n- question: Just text\n"));
}

INSTANTIATE_TEST_SUITE_P(Both, AnswerTest, testing::Values(Vendor::Messages, Vendor::Chat),
                         testing::PrintToStringParamName());

} // namespace

} // namespace velmo::practice
