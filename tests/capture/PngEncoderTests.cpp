#include "capture/PngEncoder.h"

#include "support/capture/Pictures.h"
#include "support/core/Printing.h"

#include <QBuffer>
#include <QtEndian>
#include <gmock/gmock.h>
#include <set>

namespace velmo {
namespace {

using testing::ElementsAre;

QByteArray png(const QImage& image)
{
    const auto encoded = encodePng(image);
    EXPECT_TRUE(encoded.has_value());
    return encoded.value_or(QByteArray());
}

/// As another decoder reads it.
QImage decoded(const QByteArray& bytes, QImage::Format format)
{
    return QImage::fromData(bytes, "PNG").convertToFormat(format);
}

QByteArray chunk(const QByteArray& bytes, const char* type)
{
    const qsizetype name = bytes.indexOf(type);
    return name < 4 ? QByteArray()
                    : bytes.mid(name + 4, qFromBigEndian<qint32>(bytes.constData() + name - 4));
}

/// The number in front of each row.
std::set<int> filters(const QByteArray& bytes, int rowBytes)
{
    // The toolkit wants the length first, as a hint.
    const QByteArray rows = qUncompress(QByteArray(4, '\0') + chunk(bytes, "IDAT"));
    std::set<int> result;
    for (qsizetype row = 0; row < rows.size(); row += rowBytes + 1)
        result.insert(rows.at(row));
    return result;
}

TEST(PngEncoder, PixelsComeBackExactlyWhateverTheWidthAndKindOfPicture)
{
    // Around the height of a band, and beyond what the encoder's output begins with.
    for (const QSize size : {QSize(1, 1), QSize(2, 1), QSize(1, 40), QSize(3, 15), QSize(17, 16),
                             QSize(31, 17), QSize(640, 33), QSize(1567, 979)}) {
        SCOPED_TRACE(testing::Message() << size.width() << 'x' << size.height());
        const QImage flat = flatPicture(size);
        EXPECT_EQ(decoded(png(flat), QImage::Format_RGB32), flat);
        const QImage photo = photograph(size);
        EXPECT_EQ(decoded(png(photo), QImage::Format_RGB32), photo);
    }
}

TEST(PngEncoder, TransparencyComesBackExactly)
{
    for (const QSize size : {QSize(1, 1), QSize(5, 3), QSize(333, 77)}) {
        SCOPED_TRACE(testing::Message() << size.width() << 'x' << size.height());
        const QImage photo = photograph(size, QImage::Format_RGBA8888);
        EXPECT_EQ(decoded(png(photo), QImage::Format_RGBA8888), photo);
        QImage plain(size, QImage::Format_RGBA8888);
        plain.fill(QColor(10, 20, 30, 40));
        EXPECT_EQ(decoded(png(plain), QImage::Format_RGBA8888), plain);
    }
}

TEST(PngEncoder, TheHeaderTellsSizeDepthAndChannels)
{
    const auto header = [](QImage::Format format) {
        return chunk(png(photograph({258, 3}, format)), "IHDR");
    };
    EXPECT_EQ(header(QImage::Format_RGB32), QByteArray::fromHex("00000102000000030802000000"));
    EXPECT_EQ(header(QImage::Format_ARGB32), QByteArray::fromHex("00000102000000030806000000"));
}

TEST(PngEncoder, FlatRowsGoUnfilteredAndPhotographsAsDifferences)
{
    EXPECT_THAT(filters(png(flatPicture({400, 100})), 3 * 400), ElementsAre(0));
    EXPECT_THAT(filters(png(photograph({400, 100})), 3 * 400), ElementsAre(1));
    EXPECT_THAT(filters(png(photograph({400, 100}, QImage::Format_RGBA8888)), 4 * 400), ElementsAre(1));
}

TEST(PngEncoder, APhotographInAWindowIsFilteredWhereItIs)
{
    QImage mixed = flatPicture({400, 200});
    QPainter(&mixed).drawImage(0, 100, photograph({400, 60}));
    const QByteArray bytes = png(mixed);
    EXPECT_THAT(filters(bytes, 3 * 400), ElementsAre(0, 1));
    EXPECT_EQ(decoded(bytes, QImage::Format_RGB32), mixed);
}

TEST(PngEncoder, PhotographsAreNotLargerThanTheToolkitMakesThemByMuch)
{
    const QImage photo = photograph({800, 600});
    QByteArray usual;
    QBuffer buffer(&usual);
    buffer.open(QIODevice::WriteOnly);
    photo.save(&buffer, "PNG");
    EXPECT_LT(png(photo).size(), usual.size() * 12 / 10);
}

TEST(PngEncoder, EveryPixelFormatCanBeEncoded)
{
    const QImage photo = photograph({37, 29});
    for (int format = QImage::Format_Mono; format < QImage::NImageFormats; ++format) {
        SCOPED_TRACE(format);
        const QImage image = photo.convertToFormat(static_cast<QImage::Format>(format));
        const QImage::Format plain = image.hasAlphaChannel() ? QImage::Format_RGBA8888 : QImage::Format_RGB32;
        EXPECT_EQ(decoded(png(image), plain), image.convertToFormat(plain));
    }
}

TEST(PngEncoder, WhatIsStoredInTheUnusedByteIsIgnored)
{
    QImage image(2, 1, QImage::Format_RGB32);
    reinterpret_cast<quint32*>(image.scanLine(0))[0] = 0x00123456;
    reinterpret_cast<quint32*>(image.scanLine(0))[1] = 0xff654321;
    const QImage back = decoded(png(image), QImage::Format_RGB32);
    EXPECT_EQ(back.pixel(0, 0), 0xff123456);
    EXPECT_EQ(back.pixel(1, 0), 0xff654321);
}

TEST(PngEncoder, AnEmptyImageGivesNothing)
{
    EXPECT_FALSE(encodePng(QImage()).has_value());
}

} // namespace
} // namespace velmo
