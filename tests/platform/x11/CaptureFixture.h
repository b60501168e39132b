#pragma once

#include "CaptureScene.h"
#include "platform/x11/X11Platform.h"
#include "platform/x11/X11ReadablePixmap.h"
#include "support/x11/Await.h"
#include "support/x11/Painting.h"
#include "support/x11/VirtualDisplay.h"

#include <future>
#include <gtest/gtest.h>

namespace velmo::test {

/// The screen once it no longer changes: programs paint when they come to it.
inline QImage settled(const std::function<QImage()>& look)
{
    QImage last = look();
    int calm = 0;
    awaitCondition([&] {
        const QImage now = look();
        calm = differingPixels(now, last) == 0 ? calm + 1 : 0;
        last = now;
        return calm >= 15;
    });
    return last;
}

/// Captures from the display that all tests share, with the program's own windows being the toolkit's.
class X11DisplayCaptureTest : public testing::Test {
protected:
    ~X11DisplayCaptureTest() override
    {
        backend().setChangeHandler({});
        backend().release();
        display().stopCompositor();
        display().stopWindowManager();
    }

    [[nodiscard]] X11DisplayCapture& backend() { return *platform_.displayCapture; }
    [[nodiscard]] QImage screenNow() const { return readRootImage(*eye_, QRect(0, 0, 1920, 1080)); }
    [[nodiscard]] QImage settledScreen() const
    {
        EXPECT_TRUE(awaitPainting(*eye_));
        return settled([this] { return screenNow(); });
    }

    /// On a worker thread, as the program does it.
    [[nodiscard]] QImage capture(CaptureMoment moment = CaptureMoment::Now)
    {
        auto result = std::async(std::launch::async, [this, moment] {
                          return backend().captureDisplay(displayID_, moment);
                      }).get();
        EXPECT_TRUE(result.hasValue()) << (result ? "" : result.error().description.toStdString());
        return result ? result.value() : QImage();
    }

    /// Shows our windows over what is there and expects the capture to be the screen from before.
    void expectCaptureWithoutOwnWindows()
    {
        const QImage before = settledScreen();
        backend().prepare();
        EXPECT_EQ(differingPixels(settledScreen(), before), 0) << "preparing must not be seen";

        const OwnWindows own(*platform_.windowSurfaces);
        ASSERT_TRUE(own.isComplete());
        ASSERT_TRUE(awaitCondition([&] { return differingPixels(screenNow(), before) > 200'000; }));
        const QImage covered = settledScreen();

        for (int round = 0; round < 2; ++round) {
            const QImage image = capture();
            EXPECT_EQ(image.format(), QImage::Format_RGB32);
            EXPECT_EQ(differingPixels(image, before), 0);
        }
        EXPECT_EQ(differingPixels(settledScreen(), covered), 0) << "capturing must not be seen";
        EXPECT_EQ(backend().takeDiagnostics(), QStringList());
    }

    /// Shows our windows and expects the capture to be the screen as it is when they have gone again.
    void expectCaptureOfWhatIsBelow()
    {
        auto own = std::make_unique<OwnWindows>(*platform_.windowSurfaces);
        ASSERT_TRUE(own->isComplete());
        static_cast<void>(settledScreen());
        const QImage image = capture();
        own.reset();
        EXPECT_EQ(differingPixels(image, settledScreen()), 0);
    }

    X11Platform platform_ = X11Platform::create();
    quint32 displayID_ = platform_.screens->main()->displayID.value_or(0);
    std::unique_ptr<X11Connection> eye_ = X11Connection::open();
};

} // namespace velmo::test
