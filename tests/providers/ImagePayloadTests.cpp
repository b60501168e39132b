#include "providers/AnthropicProvider.h"
#include "providers/ImagePayload.h"
#include "support/core/LogLines.h"
#include "support/core/Printing.h"

#include <QBuffer>
#include <gmock/gmock.h>
#include <webp/decode.h>

namespace velmo {

namespace {

QByteArray encoded(const QImage& image, const char* format = "PNG")
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    EXPECT_TRUE(image.save(&buffer, format));
    return bytes;
}

QByteArray plainPng(int width, int height)
{
    QImage image(width, height, QImage::Format_RGB32);
    image.fill(QColor(10, 200, 90));
    return encoded(image);
}

/// Notes each encoding in short, such as "webp 82 400x300"; gives bytes of the size that the rule says, or
/// nothing.
struct NotingEncoders {
    using Rule = std::function<std::optional<qsizetype>(const QString& format, int quality, QSize size)>;

    explicit NotingEncoders(const Rule& sizeOf)
        : encoders{make(QStringLiteral("webp"), sizeOf), make(QStringLiteral("jpeg"), sizeOf)}
    {}

    std::function<std::optional<QByteArray>(const QImage&, int)> make(const QString& format,
                                                                      const Rule& sizeOf)
    {
        return [this, format, sizeOf](const QImage& image, int quality) -> std::optional<QByteArray> {
            notes.append(format + u' ' + QString::number(quality) + u' ' + QString::number(image.width()) +
                         u'x' + QString::number(image.height()));
            const auto size = sizeOf(format, quality, image.size());
            return size ? std::optional(QByteArray(*size, 'e')) : std::nullopt;
        };
    }

    QStringList notes;
    ImageEncoders encoders;
};

constexpr qsizetype kTooLarge = AnthropicProvider::kMaxImageBytes + 1;
const QString kTooLargeError = QStringLiteral("Image could not be reduced below Anthropic's 5 MB limit");
const QString kUndecodable = QStringLiteral("Could not decode screenshot for Anthropic upload");
const QString kFallback = QStringLiteral(
    "[Anthropic] Falling back to JPEG because WebP encoding did not produce a valid payload within limits");

std::optional<qsizetype> neverFits(const QString&, int, QSize)
{
    return kTooLarge;
}

QString downscaled(int attempt, const char* size)
{
    return QStringLiteral("[Anthropic] Downscaled image for Anthropic limit attempt=") +
           QString::number(attempt) + QStringLiteral(" size=") + QString::fromLatin1(size);
}

/// The twelve encodings of one attempt, in order.
QStringList attemptAt(const QString& size)
{
    QStringList result;
    for (const char* format : {"webp", "jpeg"}) {
        for (const int quality : {82, 72, 62, 52, 42, 32})
            result.append(QString::fromLatin1(format) + u' ' + QString::number(quality) + u' ' + size);
    }
    return result;
}

QStringList attemptsAt(const QStringList& sizes)
{
    QStringList result;
    for (const QString& size : sizes)
        result += attemptAt(size);
    return result;
}

} // namespace

class ImagePayloadTest : public testing::Test {
protected:
    LogLines log;
};

TEST_F(ImagePayloadTest, TakesTheFirstWebPThatFitsAndLogsNothing)
{
    NotingEncoders fake(
        [](const QString&, int quality, QSize) { return quality > 62 ? kTooLarge : qsizetype(1000); });
    const auto image = encodeImageForAnthropic(plainPng(400, 300), fake.encoders);
    ASSERT_TRUE(image);
    EXPECT_EQ(image.value().mediaType, QStringLiteral("image/webp"));
    EXPECT_EQ(image.value().byteCount, 1000);
    EXPECT_EQ(image.value().base64Data, QByteArray(1000, 'e').toBase64());
    EXPECT_EQ(fake.notes, attemptAt(QStringLiteral("400x300")).first(3));
    EXPECT_EQ(log.take(), QStringList{});
}

TEST_F(ImagePayloadTest, TheLimitItselfFitsAndOneByteMoreDoesNot)
{
    NotingEncoders exact([](const QString&, int, QSize) { return AnthropicProvider::kMaxImageBytes; });
    const auto image = encodeImageForAnthropic(plainPng(400, 300), exact.encoders);
    ASSERT_TRUE(image);
    EXPECT_EQ(image.value().byteCount, 5242880);
    EXPECT_EQ(exact.notes.size(), 1);

    NotingEncoders oneMore(
        [](const QString&, int quality, QSize) { return qsizetype(5242880) + (quality == 82 ? 1 : 0); });
    ASSERT_TRUE(encodeImageForAnthropic(plainPng(400, 300), oneMore.encoders));
    EXPECT_EQ(oneMore.notes.size(), 2);
}

TEST_F(ImagePayloadTest, TriesAllOfWebPBeforeJpegAndSaysThatItFellBack)
{
    NotingEncoders fake([](const QString& format, int quality, QSize) {
        return format == QStringLiteral("webp") || quality == 82 ? kTooLarge : qsizetype(7);
    });
    const auto image = encodeImageForAnthropic(plainPng(400, 300), fake.encoders);
    ASSERT_TRUE(image);
    EXPECT_EQ(image.value().mediaType, QStringLiteral("image/jpeg"));
    EXPECT_EQ(image.value().byteCount, 7);
    EXPECT_EQ(fake.notes, attemptAt(QStringLiteral("400x300")).first(8));
    EXPECT_EQ(log.take(), QStringList{kFallback});
}

TEST_F(ImagePayloadTest, WithoutAWebPEncoderASmallImageIsAJpegOfTheBestQuality)
{
    NotingEncoders fake([](const QString& format, int, QSize) {
        return format == QStringLiteral("webp") ? std::nullopt : std::optional(qsizetype(7));
    });
    const auto image = encodeImageForAnthropic(plainPng(40, 30), fake.encoders);
    ASSERT_TRUE(image);
    EXPECT_EQ(image.value().mediaType, QStringLiteral("image/jpeg"));
    EXPECT_EQ(fake.notes.value(6), QStringLiteral("jpeg 82 40x30"));
    EXPECT_EQ(fake.notes.size(), 7);
    EXPECT_EQ(log.take(), QStringList{kFallback});
}

TEST_F(ImagePayloadTest, GivesUpAfterSixAttemptsWithTheSixthReductionMadeButNotEncoded)
{
    NotingEncoders fake(neverFits);
    const auto image = encodeImageForAnthropic(plainPng(2000, 1500), fake.encoders);
    ASSERT_FALSE(image);
    EXPECT_EQ(image.error().localizedDescription(), kTooLargeError);
    EXPECT_EQ(fake.notes.size(), 72);
    EXPECT_EQ(fake.notes, attemptsAt({QStringLiteral("2000x1500"), QStringLiteral("1640x1230"),
                                      QStringLiteral("1344x1008"), QStringLiteral("1102x826"),
                                      QStringLiteral("903x677"), QStringLiteral("740x555")}));
    EXPECT_EQ(log.take(),
              (QStringList{downscaled(1, "1640x1230"), downscaled(2, "1344x1008"), downscaled(3, "1102x826"),
                           downscaled(4, "903x677"), downscaled(5, "740x555"), downscaled(6, "606x455")}));
}

TEST_F(ImagePayloadTest, EncodersThatGiveNothingAreAskedAsOften)
{
    NotingEncoders fake([](const QString&, int, QSize) { return std::optional<qsizetype>(); });
    const auto image = encodeImageForAnthropic(plainPng(2000, 1500), fake.encoders);
    ASSERT_FALSE(image);
    EXPECT_EQ(image.error().localizedDescription(), kTooLargeError);
    EXPECT_EQ(fake.notes.size(), 72);
}

TEST_F(ImagePayloadTest, StopsWhereNothingChangesAnyMore)
{
    NotingEncoders fake(neverFits);
    const auto image = encodeImageForAnthropic(plainPng(400, 300), fake.encoders);
    ASSERT_FALSE(image);
    EXPECT_EQ(image.error().localizedDescription(), kTooLargeError);
    EXPECT_EQ(fake.notes,
              attemptsAt({QStringLiteral("400x300"), QStringLiteral("328x320"), QStringLiteral("320x320")}));
    EXPECT_EQ(log.take(), (QStringList{downscaled(1, "328x320"), downscaled(2, "320x320")}));
}

TEST_F(ImagePayloadTest, ASideBelowTheFloorGrowsToIt)
{
    NotingEncoders fake(
        [](const QString&, int, QSize size) { return size.width() == 200 ? kTooLarge : qsizetype(9); });
    ASSERT_TRUE(encodeImageForAnthropic(plainPng(200, 1568), fake.encoders));
    EXPECT_EQ(fake.notes.mid(12), QStringList{QStringLiteral("webp 82 320x1285")});
    EXPECT_EQ(log.take(), QStringList{downscaled(1, "320x1285")});
}

TEST_F(ImagePayloadTest, AnImageAtTheFloorIsNotReducedAtAll)
{
    NotingEncoders fake(neverFits);
    ASSERT_FALSE(encodeImageForAnthropic(plainPng(320, 320), fake.encoders));
    EXPECT_EQ(fake.notes.size(), 12);
    EXPECT_EQ(log.take(), QStringList{});
}

TEST_F(ImagePayloadTest, WhatIsNoImageFailsWithoutAnyEncoding)
{
    NotingEncoders fake(neverFits);
    for (const QByteArray& bytes : {QByteArray(), QByteArray("no picture"), plainPng(40, 30).first(50)}) {
        const auto image = encodeImageForAnthropic(bytes, fake.encoders);
        ASSERT_FALSE(image);
        EXPECT_EQ(image.error().localizedDescription(), kUndecodable);
    }
    EXPECT_EQ(fake.notes, QStringList{});
}

TEST_F(ImagePayloadTest, AnOrdinaryScreenshotBecomesWebPOfItsOwnSize)
{
    const auto image = encodeImageForAnthropic(plainPng(1568, 882));
    ASSERT_TRUE(image);
    EXPECT_EQ(image.value().mediaType, QStringLiteral("image/webp"));
    const QByteArray bytes = QByteArray::fromBase64(image.value().base64Data);
    EXPECT_EQ(bytes.size(), image.value().byteCount);
    EXPECT_FALSE(image.value().base64Data.contains('\n'));
    int width = 0;
    int height = 0;
    uint8_t* pixels = WebPDecodeRGBA(reinterpret_cast<const uint8_t*>(bytes.constData()),
                                     static_cast<size_t>(bytes.size()), &width, &height);
    ASSERT_NE(pixels, nullptr);
    EXPECT_EQ(QSize(width, height), QSize(1568, 882));
    EXPECT_NEAR(pixels[0], 10, 6);
    EXPECT_NEAR(pixels[1], 200, 6);
    EXPECT_NEAR(pixels[2], 90, 6);
    WebPFree(pixels);
    EXPECT_EQ(log.take(), QStringList{});
}

TEST_F(ImagePayloadTest, TransparencySurvivesInWebP)
{
    QImage picture(64, 64, QImage::Format_ARGB32);
    picture.fill(QColor(255, 0, 0, 0));
    const auto image = encodeImageForAnthropic(encoded(picture));
    ASSERT_TRUE(image);
    const QByteArray bytes = QByteArray::fromBase64(image.value().base64Data);
    WebPBitstreamFeatures features{};
    ASSERT_EQ(WebPGetFeatures(reinterpret_cast<const uint8_t*>(bytes.constData()),
                              static_cast<size_t>(bytes.size()), &features),
              VP8_STATUS_OK);
    EXPECT_EQ(features.has_alpha, 1);
}

TEST_F(ImagePayloadTest, TransparencyBecomesWhiteInJpeg)
{
    QImage picture(64, 64, QImage::Format_ARGB32);
    picture.fill(Qt::transparent);
    const auto bytes = systemImageEncoders().jpeg(picture, 82);
    ASSERT_TRUE(bytes.has_value());
    const QImage decoded = QImage::fromData(*bytes, "JPEG");
    ASSERT_EQ(decoded.size(), picture.size());
    EXPECT_GT(qGray(decoded.pixel(32, 32)), 250);
}

TEST_F(ImagePayloadTest, AnImageOfOnePixelIsAValidPayload)
{
    const auto image = encodeImageForAnthropic(plainPng(1, 1));
    ASSERT_TRUE(image);
    EXPECT_EQ(image.value().mediaType, QStringLiteral("image/webp"));
    EXPECT_GT(image.value().byteCount, 0);
}

TEST_F(ImagePayloadTest, AnImageOf16000PixelsIsAValidPayload)
{
    const auto image = encodeImageForAnthropic(plainPng(16000, 40));
    ASSERT_TRUE(image);
    EXPECT_EQ(image.value().mediaType, QStringLiteral("image/webp"));
}

TEST_F(ImagePayloadTest, AnImageTooWideForWebPBecomesJpeg)
{
    const auto image = encodeImageForAnthropic(plainPng(17000, 40));
    ASSERT_TRUE(image);
    EXPECT_EQ(image.value().mediaType, QStringLiteral("image/jpeg"));
    const QImage decoded = QImage::fromData(QByteArray::fromBase64(image.value().base64Data), "JPEG");
    EXPECT_EQ(decoded.size(), QSize(17000, 40));
    EXPECT_EQ(log.take(), QStringList{kFallback});
}

TEST_F(ImagePayloadTest, EveryPixelFormatCanBeEncoded)
{
    for (const QImage::Format format :
         {QImage::Format_Mono, QImage::Format_Indexed8, QImage::Format_Grayscale8, QImage::Format_RGB888,
          QImage::Format_RGBA64, QImage::Format_ARGB32_Premultiplied}) {
        QImage source(30, 20, QImage::Format_RGB32);
        source.fill(Qt::gray);
        const QImage image = source.convertToFormat(format);
        EXPECT_TRUE(systemImageEncoders().webP(image, 82).has_value()) << "format " << format;
        EXPECT_TRUE(systemImageEncoders().jpeg(image, 82).has_value()) << "format " << format;
    }
}

TEST_F(ImagePayloadTest, ALowerQualityIsASmallerFile)
{
    QImage noise(200, 200, QImage::Format_RGB32);
    unsigned value = 1;
    for (int y = 0; y < noise.height(); ++y) {
        for (int x = 0; x < noise.width(); ++x) {
            value = value * 1664525U + 1013904223U;
            noise.setPixel(x, y, 0xFF000000U | (value >> 8U));
        }
    }
    EXPECT_LT(systemImageEncoders().webP(noise, 32)->size(), systemImageEncoders().webP(noise, 82)->size());
    EXPECT_LT(systemImageEncoders().jpeg(noise, 32)->size(), systemImageEncoders().jpeg(noise, 82)->size());
}

} // namespace velmo
