#include "support/app/AskTest.h"

#include <QBuffer>
#include <QImage>

namespace velmo {

namespace {

QImage picture(int width, int height)
{
    QImage image(width, height, QImage::Format_RGB32);
    image.fill(QColor(20, 120, 220));
    return image;
}

QByteArray encoded(const QImage& image, const char* format)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    EXPECT_TRUE(image.save(&buffer, format));
    return bytes;
}

/// A JPEG whose camera was held upright: the note that says "turn by a quarter" is put behind the first
/// marker.
QByteArray turnedJpeg(const QImage& image)
{
    const QByteArray note = QByteArray::fromHex(
        "ffe1 0022 45786966 0000 4d4d002a 00000008 0001 0112 0003 00000001 0006 0000 00000000");
    return encoded(image, "JPEG").insert(2, note);
}

} // namespace

class AskImageTest : public AskTest {
protected:
    /// The picture as OpenAI gets it; its bytes are those of the file, or its PNG.
    [[nodiscard]] QByteArray sentPng() const
    {
        const QJsonArray messages = sentBody()[QStringLiteral("messages")].toArray();
        const QString url =
            messages.last()[QStringLiteral("content")][0][QStringLiteral("image_url")][QStringLiteral("url")]
                .toString();
        const QString head = QStringLiteral("data:image/png;base64,");
        EXPECT_TRUE(url.startsWith(head)) << url.left(40).toStdString();
        return QByteArray::fromBase64(url.sliced(std::min(head.size(), url.size())).toLatin1());
    }

    AskResult askAbout(const QString& path, const char* provider) const
    {
        return ask({QStringLiteral("--provider"), QString::fromLatin1(provider), QStringLiteral("--image"),
                    path, QStringLiteral("What is this?")});
    }
};

TEST_F(AskImageTest, APngIsSentToOpenAIByteForByte)
{
    const QByteArray png = encoded(picture(40, 30), "PNG");
    const AskResult result = askAbout(writeFile(QStringLiteral("a.png"), png), "openai");
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.output, allPieces());
    EXPECT_EQ(sentPng(), png);
    EXPECT_TRUE(result.logLines().value(0).endsWith(QStringLiteral(" messages=1 imageAttached=true")));
}

TEST_F(AskImageTest, AJpegIsConvertedToPng)
{
    const QImage image = picture(40, 30);
    EXPECT_EQ(askAbout(writeFile(QStringLiteral("a.jpg"), encoded(image, "JPEG")), "openai").exitCode, 0);
    const QImage sent = QImage::fromData(sentPng(), "PNG");
    ASSERT_EQ(sent.size(), image.size());
    EXPECT_NEAR(qBlue(sent.pixel(20, 15)), 220, 8);
}

TEST_F(AskImageTest, WhatTheNameSaysDoesNotMatter)
{
    EXPECT_EQ(
        askAbout(writeFile(QStringLiteral("a.png"), encoded(picture(40, 30), "BMP")), "openai").exitCode, 0);
    EXPECT_EQ(QImage::fromData(sentPng(), "PNG").size(), QSize(40, 30));
}

TEST_F(AskImageTest, APhotographStandsUpright)
{
    EXPECT_EQ(askAbout(writeFile(QStringLiteral("a.jpg"), turnedJpeg(picture(40, 30))), "openai").exitCode,
              0);
    EXPECT_EQ(QImage::fromData(sentPng(), "PNG").size(), QSize(30, 40));
}

TEST_F(AskImageTest, AnthropicGetsItAsWebP)
{
    const AskResult result =
        askAbout(writeFile(QStringLiteral("a.jpg"), encoded(picture(40, 30), "JPEG")), "anthropic");
    EXPECT_EQ(result.exitCode, 0);
    const QJsonValue source =
        sentBody()[QStringLiteral("messages")][0][QStringLiteral("content")][0][QStringLiteral("source")];
    EXPECT_EQ(source[QStringLiteral("media_type")].toString(), QStringLiteral("image/webp"));
    EXPECT_TRUE(
        QByteArray::fromBase64(source[QStringLiteral("data")].toString().toLatin1()).startsWith("RIFF"));
    EXPECT_TRUE(result.logLines().value(1).startsWith(
        QStringLiteral("[Anthropic] Prepared image payload mediaType=image/webp bytes=")));
}

TEST_F(AskImageTest, TheServiceSeesThePicture)
{
    server.setScenario({.kind = practice::ScenarioKind::Answer});
    for (const char* provider : {"anthropic", "openai"}) {
        const AskResult result =
            askAbout(writeFile(QStringLiteral("a.png"), encoded(picture(400, 300), "PNG")), provider);
        EXPECT_EQ(result.exitCode, 0);
        EXPECT_TRUE(result.output.contains("400x300")) << result.output.constData();
        EXPECT_TRUE(result.output.contains("- question: What is this?"));
    }
}

TEST_F(AskImageTest, APictureThatIsNotThereOrIsNoneSendsNothing)
{
    const QString missing = home.filePath(QStringLiteral("missing.png"));
    const AskResult absent = askAbout(missing, "openai");
    EXPECT_EQ(absent.exitCode, 1);
    EXPECT_EQ(absent.output, "");
    EXPECT_TRUE(absent.otherErrors().value(0).startsWith(QStringLiteral("velmo: Could not read ") + missing));
    const QString text = writeFile(QStringLiteral("text.jpg"), "no picture");
    const AskResult undecodable = askAbout(text, "anthropic");
    EXPECT_EQ(undecodable.exitCode, 1);
    EXPECT_EQ(undecodable.otherErrors(),
              QStringList{QStringLiteral("velmo: Could not decode the picture ") + text});
    EXPECT_EQ(server.openedConnections(), 0);
}

TEST_F(AskImageTest, ABrokenPngFailsWithThePromisedSentence)
{
    const QString path = writeFile(QStringLiteral("a.png"), encoded(picture(40, 30), "PNG").first(60));
    const AskResult result = askAbout(path, "anthropic");
    EXPECT_EQ(result.exitCode, 1);
    // The decoder may have complained as well.
    EXPECT_EQ(result.otherErrors().value(result.otherErrors().size() - 1),
              QStringLiteral("[Error: Could not decode screenshot for Anthropic upload]"));
    EXPECT_EQ(server.openedConnections(), 0);
}

} // namespace velmo
