#include "CaptureTest.h"

namespace velmo {
namespace {

using testing::ElementsAre;

/// Peak signal to noise in decibels: the higher, the more alike.
double likeness(const QImage& first, const QImage& second)
{
    EXPECT_EQ(first.size(), second.size());
    double sum = 0;
    for (int y = 0; y < first.height(); ++y) {
        for (int x = 0; x < first.width(); ++x) {
            const QRgb a = first.pixel(x, y);
            const QRgb b = second.pixel(x, y);
            for (const int difference : {qRed(a) - qRed(b), qGreen(a) - qGreen(b), qBlue(a) - qBlue(b)})
                sum += difference * difference;
        }
    }
    return 10 * std::log10(255.0 * 255.0 * 3 * first.width() * first.height() / sum);
}

/// Each pixel the exact mean of what it covers, without any rounding before the end.
QImage exactlyReduced(const QImage& image, QSize size)
{
    QImage result(size, QImage::Format_RGB32);
    const double stepX = double(image.width()) / size.width();
    const double stepY = double(image.height()) / size.height();
    const auto covered = [](int pixel, double from, double to) {
        return std::min(pixel + 1.0, to) - std::max(double(pixel), from);
    };
    for (int y = 0; y < size.height(); ++y) {
        for (int x = 0; x < size.width(); ++x) {
            double red = 0;
            double green = 0;
            double blue = 0;
            const double left = x * stepX;
            const double top = y * stepY;
            const int right = std::min(int(std::ceil(left + stepX)), image.width());
            const int bottom = std::min(int(std::ceil(top + stepY)), image.height());
            for (int row = int(top); row < bottom; ++row) {
                for (int column = int(left); column < right; ++column) {
                    const double share =
                        covered(row, top, top + stepY) * covered(column, left, left + stepX) / stepX / stepY;
                    const QRgb pixel = image.pixel(column, row);
                    red += share * qRed(pixel);
                    green += share * qGreen(pixel);
                    blue += share * qBlue(pixel);
                }
            }
            result.setPixel(x, y,
                            qRgb(int(std::lround(red)), int(std::lround(green)), int(std::lround(blue))));
        }
    }
    return result;
}

/// The picture with the strokes on it, by the toolkit and at full size.
QImage composed(QImage screen, const QImage& overlay)
{
    QPainter(&screen).drawImage(0, 0, overlay);
    return screen;
}

TEST_F(CaptureTest, ASmallScreenComesOutPixelForPixel)
{
    const QImage screen = photograph({801, 603});
    displays.addDisplay(1, screen.size(), screen);
    EXPECT_EQ(picture(1), screen);
    EXPECT_EQ(picture(1, strokes(screen.size())), composed(screen, strokes(screen.size())));
}

TEST_F(CaptureTest, ThePictureIsOfTheDisplayThatWasAskedFor)
{
    displays.addDisplay(1, {80, 60}, plain({80, 60}, Qt::red));
    displays.addDisplay(2, {80, 60}, plain({80, 60}, Qt::blue));
    EXPECT_EQ(picture(2), plain({80, 60}, Qt::blue));
    EXPECT_EQ(picture(1), plain({80, 60}, Qt::red));
    EXPECT_EQ(picture(7), plain({80, 60}, Qt::red));
    EXPECT_EQ(picture(std::nullopt), plain({80, 60}, Qt::red));
}

TEST_F(CaptureTest, TheMomentIsTheOneThatWasKept)
{
    displays.addDisplay(1, {80, 60}, plain({80, 60}));
    service.freezeScreen(1);
    service.freezeScreen(std::nullopt);
    EXPECT_THAT(displays.frozen, ElementsAre(std::optional<quint32>(1), std::nullopt));
    ASSERT_TRUE(capture(1).hasValue());
    ASSERT_EQ(displays.requests().size(), 1);
    EXPECT_EQ(displays.requests().front().displayID, 1);
    EXPECT_EQ(displays.requests().front().moment, CaptureMoment::Frozen);
    EXPECT_NE(displays.requests().front().thread, std::this_thread::get_id());
}

TEST_F(CaptureTest, AnOverlayOfAnotherSizeCoversTheWholeScreen)
{
    const QImage screen = plain({800, 600}, Qt::white);
    displays.addDisplay(1, screen.size(), screen);
    QImage overlay(80, 60, QImage::Format_ARGB32_Premultiplied);
    overlay.fill(QColor(0, 0, 255));
    EXPECT_EQ(picture(1, overlay), plain({800, 600}, Qt::blue));
    overlay.fill(Qt::transparent);
    EXPECT_EQ(picture(1, overlay), screen);
}

TEST_F(CaptureTest, WhatIsReducedIsTheScreenWithTheStrokes)
{
    const QImage screen = photograph({1920, 1080});
    const QImage overlay = strokes(screen.size());
    displays.addDisplay(1, screen.size(), screen);
    const QImage expected = exactlyReduced(composed(screen, overlay), {1568, 882});
    EXPECT_LE(largestDifference(picture(1, overlay), expected), 3);
}

TEST_F(CaptureTest, ReducesNearlyExactly)
{
    constexpr double kHardToTellApart = 45; // dB
    for (const QSize size : {QSize(1920, 1080), QSize(3440, 1440), QSize(2880, 1800)}) {
        SCOPED_TRACE(testing::Message() << size.width() << 'x' << size.height());
        const QSize final = ScreenCaptureService::sizeForVision(size);
        displays.content.displays.clear();
        QImage screen = flatPicture(size);
        QPainter(&screen).drawImage(size.width() / 3, size.height() / 3, photograph({400, 300}));
        displays.addDisplay(1, size, screen);
        EXPECT_GT(likeness(picture(1), exactlyReduced(screen, final)), kHardToTellApart);
    }
}

TEST_F(CaptureTest, AFineScreenIsReducedInOneStep)
{
    const QImage screen = flatPicture({3840, 2160});
    displays.addDisplay(1, {1920, 1080}, screen);
    const QImage reference = exactlyReduced(screen, {1568, 882});
    const QImage twice = screen.scaled(1920, 1080, Qt::IgnoreAspectRatio, Qt::SmoothTransformation)
                             .scaled(1568, 882, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    EXPECT_GT(likeness(picture(1), reference), likeness(twice, reference) + 3);
}

TEST_F(CaptureTest, ACoarseScreenIsEnlargedToItsPoints)
{
    displays.addDisplay(1, {800, 600}, plain({400, 300}, Qt::red));
    EXPECT_EQ(picture(1), plain({800, 600}, Qt::red));
}

TEST_F(CaptureTest, FlatColorsStayExactlyAsTheyAre)
{
    for (const int level : {0, 1, 127, 128, 254, 255}) {
        const QColor color(level, 255 - level, level / 2);
        displays.content.displays.clear();
        displays.addDisplay(1, {3000, 2000}, plain({3000, 2000}, color));
        EXPECT_EQ(picture(1), plain({1567, 1045}, color));
    }
}

TEST_F(CaptureTest, TheBackendsPictureIsLeftAlone)
{
    const QImage screen = plain({80, 60}, Qt::white);
    displays.addDisplay(1, screen.size(), screen);
    ASSERT_NE(picture(1, strokes(screen.size())), screen);
    EXPECT_EQ(displays.pictures.at(1), plain({80, 60}, Qt::white));
    EXPECT_EQ(picture(1), screen);
}

TEST_F(CaptureTest, CapturesMayOverlap)
{
    displays.addDisplay(1, {1920, 1080}, plain({1920, 1080}, Qt::red));
    displays.addDisplay(2, {800, 600}, plain({800, 600}, Qt::blue));
    displays.awaitedRequests = 2;
    const Pending first = begin(1);
    const Pending second = begin(2);
    ASSERT_TRUE(turnUntil([&] { return first->has_value() && second->has_value(); }));
    ASSERT_TRUE(first->value().hasValue()) << first->value().error().description.toStdString();
    ASSERT_TRUE(second->value().hasValue()) << second->value().error().description.toStdString();
    EXPECT_EQ(QImage::fromData(first->value().value()).size(), QSize(1568, 882));
    EXPECT_EQ(QImage::fromData(second->value().value()).size(), QSize(800, 600));
}

async::Task<> noteCancellation(ScreenCaptureService* service, std::shared_ptr<bool> cancelled)
{
    try {
        const auto outcome = co_await service->captureWithAnnotations(1, QImage());
        Q_UNUSED(outcome)
    } catch (const async::Cancelled&) {
        *cancelled = true;
        throw;
    }
}

TEST_F(CaptureTest, CancellingTheTaskIsNeitherValueNorErrorAndTheNextCaptureIsWhole)
{
    displays.addDisplay(1, {80, 60}, plain({80, 60}, Qt::red));
    // The capture under way cannot end before the second one has begun.
    displays.awaitedRequests = 2;
    const auto cancelled = std::make_shared<bool>(false);
    const auto task = scope.start(noteCancellation(&service, cancelled));
    ASSERT_TRUE(turnUntil([&] { return displays.requests().size() == 1; }));
    task.cancel();
    ASSERT_TRUE(turnUntil([&] { return task.isFinished(); }));
    EXPECT_TRUE(*cancelled);
    EXPECT_EQ(picture(1), plain({80, 60}, Qt::red));
}

TEST_F(CaptureTest, TheServiceMayGoWhileACaptureIsUnderWay)
{
    displays.addDisplay(1, {80, 60}, plain({80, 60}));
    displays.awaitedRequests = 2;
    auto brief = std::make_unique<ScreenCaptureService>(displays);
    const auto cancelled = std::make_shared<bool>(false);
    const auto task = scope.start(noteCancellation(brief.get(), cancelled));
    ASSERT_TRUE(turnUntil([&] { return displays.requests().size() == 1; }));
    task.cancel();
    ASSERT_TRUE(turnUntil([&] { return task.isFinished(); }));
    brief.reset();
    EXPECT_EQ(picture(1).size(), QSize(80, 60));
}

} // namespace
} // namespace velmo
