#include "CaptureTest.h"

namespace velmo {
namespace {

using testing::ElementsAre;

MATCHER_P(Begins, text, "")
{
    return arg.startsWith(QStringView(text));
}

const QString kNoDisplay =
    QStringLiteral("The operation couldn't be completed. (ScreenCaptureError.noDisplay)");
const QString kConversionFailed =
    QStringLiteral("The operation couldn't be completed. (ScreenCaptureError.conversionFailed)");

QString finished(const char* size, qsizetype bytes)
{
    return QStringLiteral("[Capture] Capture finished finalSize=") + QString::fromLatin1(size) +
           QStringLiteral(" pngBytes=") + QString::number(bytes);
}

TEST_F(CaptureTest, TellsEveryStepOfACaptureThatIsReduced)
{
    displays.addDisplay(3, {1280, 1024}, plain({1280, 1024}));
    displays.addDisplay(4, {1920, 1080}, plain({1920, 1080}));
    displays.content.windowCount = 12;
    const Outcome outcome = capture(4, strokes({1920, 1080}));
    ASSERT_TRUE(outcome.hasValue());
    EXPECT_THAT(log.take(),
                ElementsAre(u"[Capture] Starting capture targetDisplayID=4 overlaySize=1920x1080",
                            u"[Capture] Matched requested display id=4 to SCDisplay",
                            u"[Capture] Using display id=4 size=1920x1080 windowCount=12",
                            u"[Capture] Resized image for Anthropic/OpenAI vision from=1920x1080 to=1568x882",
                            finished("1568x882", outcome.value().size())));
}

TEST_F(CaptureTest, WithoutAWishTakesTheFirstDisplayAndSaysNothingOfIt)
{
    displays.addDisplay(9, {800, 600}, plain({800, 600}));
    displays.addDisplay(4, {640, 480}, plain({640, 480}));
    const Outcome outcome = capture(std::nullopt);
    ASSERT_TRUE(outcome.hasValue());
    EXPECT_THAT(log.take(), ElementsAre(u"[Capture] Starting capture targetDisplayID=nil overlaySize=0x0",
                                        u"[Capture] Using display id=9 size=800x600 windowCount=0",
                                        finished("800x600", outcome.value().size())));
}

TEST_F(CaptureTest, ADisplayThatIsGoneFallsBackToTheFirst)
{
    displays.addDisplay(9, {800, 600}, plain({800, 600}));
    displays.content.windowCount = 1;
    const Outcome outcome = capture(4294967295, strokes({80, 60}));
    ASSERT_TRUE(outcome.hasValue());
    EXPECT_THAT(log.take(),
                ElementsAre(u"[Capture] Starting capture targetDisplayID=4294967295 overlaySize=80x60",
                            u"[Capture] Falling back to first display because target display id=4294967295 "
                            u"could not be matched",
                            u"[Capture] Using display id=9 size=800x600 windowCount=1",
                            finished("800x600", outcome.value().size())));
}

TEST_F(CaptureTest, TheZeroIsAnIdentifierLikeAnyOther)
{
    displays.addDisplay(9, {80, 60}, plain({80, 60}));
    displays.addDisplay(0, {40, 30}, plain({40, 30}));
    EXPECT_EQ(picture(0).size(), QSize(40, 30));
    EXPECT_EQ(log.take().at(1), QStringLiteral("[Capture] Matched requested display id=0 to SCDisplay"));
}

TEST_F(CaptureTest, TheOverlaysSizeIsInPointsWithoutFractions)
{
    displays.addDisplay(1, {80, 60}, plain({80, 60}));
    QImage overlay = strokes({1000, 999});
    overlay.setDevicePixelRatio(1.5);
    ASSERT_TRUE(capture(1, overlay).hasValue());
    EXPECT_THAT(log.take().first(), QStringLiteral("[Capture] Starting capture targetDisplayID=1 "
                                                   "overlaySize=666x666"));
}

TEST_F(CaptureTest, SizesAreThoseInPointsHoweverFineTheScreenIs)
{
    displays.addDisplay(1, {1440, 900}, plain({2880, 1800}));
    displays.addDisplay(2, {1920, 1080}, plain({3840, 2160}));
    EXPECT_EQ(picture(1).size(), QSize(1440, 900));
    EXPECT_THAT(log.take(), ElementsAre(Begins(u"[Capture] Starting"), Begins(u"[Capture] Matched"),
                                        u"[Capture] Using display id=1 size=1440x900 windowCount=0",
                                        Begins(u"[Capture] Capture finished finalSize=1440x900 ")));
    EXPECT_EQ(picture(2).size(), QSize(1568, 882));
    EXPECT_THAT(log.take(), ElementsAre(Begins(u"[Capture] Starting"), Begins(u"[Capture] Matched"),
                                        u"[Capture] Using display id=2 size=1920x1080 windowCount=0",
                                        u"[Capture] Resized image for Anthropic/OpenAI vision from=1920x1080 "
                                        u"to=1568x882",
                                        Begins(u"[Capture] Capture finished finalSize=1568x882 ")));
}

TEST_F(CaptureTest, WithoutAnyDisplayFailsAfterSayingWhatWasWanted)
{
    EXPECT_EQ(complaint(std::nullopt), kNoDisplay);
    EXPECT_THAT(log.take(), ElementsAre(u"[Capture] Starting capture targetDisplayID=nil overlaySize=0x0"));
    EXPECT_EQ(complaint(5), kNoDisplay);
    EXPECT_THAT(log.take(), ElementsAre(u"[Capture] Starting capture targetDisplayID=5 overlaySize=0x0",
                                        u"[Capture] Falling back to first display because target display "
                                        u"id=5 could not be matched"));
}

TEST_F(CaptureTest, WhatThePlatformRefusesIsPassedOnUnchanged)
{
    displays.addDisplay(1, {80, 60}, plain({80, 60}));
    displays.captureError = {PlatformError::Kind::Failed, QStringLiteral("the server refused")};
    Outcome outcome = capture(1);
    ASSERT_FALSE(outcome.hasValue());
    EXPECT_EQ(outcome.error().description, QStringLiteral("the server refused"));
    EXPECT_THAT(log.take(), ElementsAre(Begins(u"[Capture] Starting"), Begins(u"[Capture] Matched"),
                                        Begins(u"[Capture] Using")));

    displays.contentError = {PlatformError::Kind::Unsupported, QStringLiteral("no monitors")};
    outcome = capture(1);
    ASSERT_FALSE(outcome.hasValue());
    EXPECT_EQ(outcome.error().description, QStringLiteral("no monitors"));
    EXPECT_EQ(outcome.error().kind, PlatformError::Kind::Unsupported);
    EXPECT_THAT(log.take(), ElementsAre(Begins(u"[Capture] Starting")));
}

TEST_F(CaptureTest, APictureOfNothingCannotBeConverted)
{
    displays.addDisplay(1, {80, 60}, QImage());
    displays.addDisplay(2, {0, 0}, plain({80, 60}));
    displays.addDisplay(3, {0, 0}, QImage());
    for (const quint32 id : {1, 2, 3}) {
        EXPECT_EQ(complaint(id), kConversionFailed);
        EXPECT_THAT(log.take(), ElementsAre(Begins(u"[Capture] Starting"), Begins(u"[Capture] Matched"),
                                            Begins(u"[Capture] Using")));
    }
}

TEST_F(CaptureTest, AnEdgeThatIsReducedToNothingCannotBeConverted)
{
    displays.addDisplay(1, {5000, 1}, plain({5000, 1}));
    displays.addDisplay(2, {1, 5000}, plain({2, 10000}));
    EXPECT_EQ(complaint(1), kConversionFailed);
    EXPECT_EQ(log.take().last(),
              QStringLiteral("[Capture] Resized image for Anthropic/OpenAI vision from=5000x1 to=1568x0"));
    EXPECT_EQ(complaint(2), kConversionFailed);
    EXPECT_EQ(log.take().last(),
              QStringLiteral("[Capture] Resized image for Anthropic/OpenAI vision from=1x5000 to=0x1568"));
}

TEST_F(CaptureTest, ADisplayOfOnePointIsAPictureOfOnePixel)
{
    displays.addDisplay(1, {1, 1}, plain({1, 1}, Qt::green));
    displays.addDisplay(2, {1, 1}, plain({3, 2}, Qt::green));
    for (const quint32 id : {1, 2})
        EXPECT_EQ(picture(id, strokes({1, 1})).size(), QSize(1, 1));
}

TEST(ScreenCaptureError, HasItsCasesInOrder)
{
    EXPECT_EQ(static_cast<int>(ScreenCaptureError::NoDisplay), 0);
    EXPECT_EQ(static_cast<int>(ScreenCaptureError::ConversionFailed), 1);
}

struct Reduction {
    QSize from;
    QSize to;
};

TEST(VisionSize, IsRoundedDownAsDoublesGiveIt)
{
    const Reduction reductions[]{
        {{2880, 1800}, {1567, 979}}, {{3000, 2000}, {1567, 1045}}, {{1920, 1080}, {1568, 882}},
        {{2560, 1440}, {1568, 882}}, {{3440, 1440}, {1568, 656}},  {{1080, 1920}, {882, 1568}},
        {{1569, 1000}, {1568, 999}}, {{5000, 1}, {1568, 0}},
    };
    for (const auto& [from, to] : reductions)
        EXPECT_EQ(ScreenCaptureService::sizeForVision(from), to) << from.width() << 'x' << from.height();
}

TEST(VisionSize, StaysUpToTheLimit)
{
    for (const QSize size :
         {QSize(1568, 1000), QSize(1000, 1568), QSize(1568, 1568), QSize(1, 1), QSize(0, 0)})
        EXPECT_EQ(ScreenCaptureService::sizeForVision(size), size);
    EXPECT_EQ(ScreenCaptureService::kMaxAnthropicVisionEdge, 1568.0);
}

} // namespace
} // namespace velmo
