#include "fakes/FakeScreens.h"
#include "fakes/FakeWindowSurfaces.h"
#include "overlay/ImagePreviewWindowController.h"
#include "support/core/EventLoop.h"

#include <QApplication>
#include <QKeyEvent>
#include <QWidget>
#include <gtest/gtest.h>

namespace velmo {
namespace {

struct SizeCase {
    ScreenSize image;
    ScreenRect visible;
    ScreenSize expected;
};

class PreviewSize : public testing::TestWithParam<SizeCase> {};

TEST_P(PreviewSize, FitsTheScreenAndIsNeverEnlarged)
{
    const SizeCase& given = GetParam();
    const ScreenSize size = ImagePreviewWindowController::contentSize(given.image, given.visible);
    EXPECT_NEAR(size.width, given.expected.width, 0.01);
    EXPECT_NEAR(size.height, given.expected.height, 0.01);
}

constexpr ScreenRect kLaptop{0, 0, 1440, 875};

INSTANTIATE_TEST_SUITE_P(
    Pictures, PreviewSize,
    testing::Values(SizeCase{{4000, 3000}, kLaptop, {991.667, 743.75}},
                    SizeCase{{100, 50}, kLaptop, {320, 240}}, SizeCase{{800, 600}, kLaptop, {800, 600}},
                    SizeCase{{1224, 743.75}, kLaptop, {1224, 743.75}}, // exactly the share
                    SizeCase{{100, 5000}, kLaptop, {320, 743.75}},     // one side too small after reducing
                    SizeCase{{5000, 100}, kLaptop, {1224, 240}}, SizeCase{{0, 0}, kLaptop, {320, 240}},
                    SizeCase{{0, 500}, kLaptop, {320, 500}}, // no picture to scale
                    SizeCase{{2000, 1000}, {0, 0, 400, 300}, {340, 240}}),
    [](const auto& example) { return "Case" + std::to_string(example.index); });

TEST(PreviewSizeWithoutAScreen, AssumesAUsualOne)
{
    const ScreenSize size = ImagePreviewWindowController::contentSize({2560, 1600}, std::nullopt);
    EXPECT_NEAR(size.width, 1088, 0.01);
    EXPECT_NEAR(size.height, 680, 0.01);
}

class ImagePreview : public testing::Test {
protected:
    ImagePreview()
    {
        screens.screens = {FakeScreens::screen(QStringLiteral("Main"), 1, {0, 0, 800, 800})};
        screens.mainScreen = screens.screens.front();
        picture.fill(Qt::red);
    }

    [[nodiscard]] ImagePreviewWindowController& show()
    {
        controller = std::make_unique<ImagePreviewWindowController>(picture, QStringLiteral("Screenshot"),
                                                                    screens, windows);
        controller->showWindow();
        EXPECT_TRUE(turnUntil([this] { return windows.onTop == window(); }));
        return *controller;
    }

    [[nodiscard]] static QWidget* window()
    {
        const auto widgets = QApplication::topLevelWidgets();
        for (QWidget* widget : widgets) {
            if (widget->windowTitle() == QStringLiteral("Screenshot"))
                return widget;
        }
        return nullptr;
    }

    static void press(int key)
    {
        QKeyEvent event(QEvent::KeyPress, key, Qt::NoModifier);
        QApplication::sendEvent(window(), &event);
    }

    QImage picture{100, 50, QImage::Format_RGB32};
    FakeScreens screens;
    FakeWindowSurfaces windows;
    std::unique_ptr<ImagePreviewWindowController> controller;
};

TEST_F(ImagePreview, IsAnOrdinaryWindowInTheMiddle)
{
    static_cast<void>(show());
    ASSERT_NE(window(), nullptr);
    EXPECT_EQ(window()->size(), QSize(320, 240));
    EXPECT_EQ(window()->pos(), QPoint(240, 280));
    EXPECT_FALSE(window()->windowFlags().testFlag(Qt::BypassWindowManagerHint));
    EXPECT_TRUE(window()->windowFlags().testFlag(Qt::WindowStaysOnTopHint));
    EXPECT_EQ(windows.everywhere, QList<const QWidget*>{window()});
    EXPECT_EQ(windows.focused, QList<const QWidget*>{window()});
}

TEST_F(ImagePreview, ShowsASmallPictureLargerInProportion)
{
    static_cast<void>(show());
    const QImage shown = window()->grab().toImage();
    // 320 x 160 in the middle of 320 x 240.
    EXPECT_EQ(shown.pixelColor(160, 120), QColor(Qt::red));
    EXPECT_EQ(shown.pixelColor(2, 42), QColor(Qt::red));
    EXPECT_EQ(shown.pixelColor(317, 197), QColor(Qt::red));
    EXPECT_NE(shown.pixelColor(160, 37), QColor(Qt::red));
    EXPECT_NE(shown.pixelColor(160, 203), QColor(Qt::red));
}

TEST_F(ImagePreview, FollowsTheWindowsSize)
{
    static_cast<void>(show());
    window()->resize(600, 200);
    const QImage shown = window()->grab().toImage();
    EXPECT_EQ(shown.pixelColor(300, 3), QColor(Qt::red));
    EXPECT_EQ(shown.pixelColor(103, 100), QColor(Qt::red));
    EXPECT_NE(shown.pixelColor(97, 100), QColor(Qt::red));
}

TEST_F(ImagePreview, ClosesOnEscapeAndOnSpace)
{
    for (const int key : {Qt::Key_Escape, Qt::Key_Space}) {
        ImagePreviewWindowController& preview = show();
        press(key);
        EXPECT_FALSE(preview.isVisible());
        EXPECT_EQ(windows.onTop, nullptr) << "our other windows come back above everything";
    }
}

TEST_F(ImagePreview, OtherKeysDoNotCloseIt)
{
    const ImagePreviewWindowController& preview = show();
    press(Qt::Key_A);
    press(Qt::Key_Return);
    EXPECT_TRUE(preview.isVisible());
}

TEST_F(ImagePreview, CanBeShownAgain)
{
    ImagePreviewWindowController& preview = show();
    press(Qt::Key_Escape);
    preview.showWindow();
    EXPECT_TRUE(preview.isVisible());
    EXPECT_TRUE(turnUntil([this] { return windows.onTop == window(); }));
}

TEST_F(ImagePreview, OfNothingIsAnEmptyWindow)
{
    picture = QImage();
    static_cast<void>(show());
    EXPECT_EQ(window()->size(), QSize(320, 240));
    EXPECT_NE(window()->grab().toImage().pixelColor(160, 120), QColor(Qt::red));
}

} // namespace
} // namespace velmo
