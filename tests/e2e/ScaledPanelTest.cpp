#include "panel/QueryInputPanel.h"
#include "platform/x11/X11Platform.h"
#include "platform/x11/X11ReadablePixmap.h"
#include "support/x11/Await.h"
#include "support/x11/InputDriver.h"
#include "support/x11/PlainClient.h"
#include "support/x11/VirtualDisplay.h"
#include "widgets/ToolkitSpace.h"

#include <QPainter>
#include <QPointer>
#include <cmath>
#include <gtest/gtest.h>

namespace velmo::test {
namespace {

constexpr QRgb kCardColor = qRgb(255, 0, 255);

class PlainCard : public QWidget {
    void paintEvent(QPaintEvent* /*event*/) override { QPainter(this).fillRect(rect(), QColor(kCardColor)); }
};

/// A panel with a card of one colour on a black desktop, in the scale that the executable was started with.
class ScaledPanel : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_EQ(platform_.screens->all().size(), 1U);
        screen_ = platform_.screens->all().front();
        ASSERT_EQ(screen_.scale, qEnvironmentVariable("QT_SCALE_FACTOR").toDouble());
        const ScreenPoint origin{std::round(screen_.visibleFrame.midX()) - 310,
                                 screen_.visibleFrame.minY() + 16};
        panel_ = new QueryInputPanel(toolkitSpace().toQt(origin).toPoint(), *platform_.windowSurfaces);
        panel_->setCard(new PlainCard);
    }
    void TearDown() override
    {
        panel_->leaveAndDelete();
        panel_->deleteLater();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        display().stopCompositor();
        display().stopWindowManager();
    }

    void show()
    {
        bool isShown = false;
        panel_->enter([&] { isShown = true; });
        ASSERT_TRUE(awaitCondition([&] { return isShown; }));
    }

    /// Where the card should be, in native pixels of the desktop: whole ones, the bottom edge first.
    [[nodiscard]] QRect expectedCard(int height) const
    {
        const double scale = screen_.scale;
        const QPoint window = (QPointF(panel_->pos()) * scale).toPoint();
        const double bottom = 720 * scale;
        const double top = std::ceil((720 - height) * scale);
        EXPECT_EQ(bottom, std::round(bottom));
        return {window + QPoint(0, static_cast<int>(top)),
                QSize(static_cast<int>(620 * scale), static_cast<int>(bottom - top))};
    }

    [[nodiscard]] QImage screenNow() const
    {
        const auto& root = eye_->screen();
        return readRootImage(*eye_, QRect(0, 0, root.width_in_pixels, root.height_in_pixels));
    }

    /// All pixels of the card's colour are in that rectangle, and touch each of its edges; all others are
    /// black, so nothing is painted by halves.
    [[nodiscard]] static bool showsOnly(const QImage& image, const QRect& card)
    {
        QRect bounds;
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < image.width(); ++x) {
                const QRgb pixel = image.pixel(x, y) & 0xffffffU;
                if (pixel == (kCardColor & 0xffffffU))
                    bounds |= QRect(x, y, 1, 1);
                else if (pixel != 0)
                    return false;
            }
        }
        return bounds == card;
    }

    void expectCard(int height)
    {
        panel_->animateHeight(height);
        EXPECT_TRUE(awaitCondition([&] { return panel_->cardFrame().height() == height; }));
        const QRect card = expectedCard(height);
        EXPECT_TRUE(awaitCondition([&] { return showsOnly(screenNow(), card); }, std::chrono::seconds(3)))
            << "height " << height;
    }

    /// At each scale some of them end in the middle of a pixel; all fit on the screen.
    static constexpr int kHeights[]{130, 132, 135, 301, 440};

    PlainClient desktop_{[] {
        PlainClient::Options options;
        options.area = {0, 0, 1920, 1080};
        options.color = 0;
        options.isPlain = true;
        options.bypassesManager = true;
        return options;
    }()};
    X11Platform platform_ = X11Platform::create();
    std::unique_ptr<X11Connection> eye_ = X11Connection::open();
    Screen screen_;
    QueryInputPanel* panel_ = nullptr;
};

TEST_F(ScaledPanel, HasSharpEdgesWithoutACompositor)
{
    show();
    for (const int height : kHeights)
        expectCard(height);
    // The corners are cut off.
    const QImage image = screenNow();
    const QRect card = expectedCard(440);
    for (const QPoint& corner : {card.topLeft(), card.topRight(), card.bottomLeft(), card.bottomRight()})
        EXPECT_EQ(image.pixel(corner) & 0xffffffU, 0U);
}

TEST_F(ScaledPanel, HasSharpEdgesWithACompositor)
{
    ASSERT_TRUE(display().startCompositor());
    show();
    for (const int height : kHeights)
        expectCard(height);
    // The card is what rounds them there.
    const QImage image = screenNow();
    EXPECT_EQ(image.pixel(expectedCard(440).topLeft()) & 0xffffffU, kCardColor & 0xffffffU);
}

TEST_F(ScaledPanel, IsNeverCutByACompositorThatWatchesNoShapes)
{
    ASSERT_TRUE(display().startWindowManager(QStringLiteral("marco"), FocusPolicy::Click));
    ASSERT_TRUE(awaitCondition([&] { return platform_.windowSurfaces->isComposited(); }));
    show();
    for (const int height : kHeights)
        expectCard(height);
    // What it leaves is shown at once, too.
    for (const int height : {301, 132})
        expectCard(height);
}

TEST_F(ScaledPanel, FollowsTheHandThatDragsIt)
{
    show();
    InputDriver input;
    const QRect card = expectedCard(130);
    const QPoint hold = card.center();
    constexpr QPoint kWay(-60, -120);
    input.moveTo(hold.x(), hold.y());
    input.pressButton(1);
    // It grows meanwhile, upwards from where the hand has it.
    panel_->animateHeight(400);
    constexpr int kSteps = 12;
    for (int step = 1; step <= kSteps; ++step) {
        input.moveTo(hold.x() + kWay.x() * step / kSteps, hold.y() + kWay.y() * step / kSteps);
        QCoreApplication::processEvents();
    }
    input.releaseButton(1);
    EXPECT_TRUE(awaitCondition([&] {
        const QPoint moved = expectedCard(130).bottomLeft() - card.bottomLeft();
        return (moved - kWay).manhattanLength() <= 2 * screen_.scale;
    }));
    expectCard(400);
}

} // namespace
} // namespace velmo::test
