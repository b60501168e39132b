#include "support/tray/TrayTest.h"
#include "support/x11/InputDriver.h"

#include <QGuiApplication>
#include <QScreen>

namespace velmo::test {
namespace {

class EmbeddingTrayTest : public TrayTest {
protected:
    [[nodiscard]] static QImage shown()
    {
        return QGuiApplication::primaryScreen()
            ->grabWindow(0, EmbeddingTray::kLeft, EmbeddingTray::kTop, EmbeddingTray::kSide,
                         EmbeddingTray::kSide)
            .toImage();
    }
    [[nodiscard]] static bool shows(const QColor& color)
    {
        const QImage image = shown();
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < image.width(); ++x) {
                if (image.pixelColor(x, y) == color)
                    return true;
            }
        }
        return false;
    }

    InputDriver input_;
};

TEST_F(EmbeddingTrayTest, TheSymbolIsTakenInAndPainted)
{
    EmbeddingTray tray;
    buildOnDesktop();
    ASSERT_TRUE(awaitCondition([&] { return tray.takeIn() > 0; }));
    EXPECT_TRUE(awaitCondition([] { return shows(QColor(0x1c1c22)); }));
}

TEST_F(EmbeddingTrayTest, ALateTrayIsFound)
{
    buildOnDesktop();
    ASSERT_TRUE(awaitNoTray());
    EXPECT_FALSE(exists());
    EmbeddingTray tray;
    ASSERT_TRUE(awaitCondition([this] { return exists(); }));
    EXPECT_TRUE(awaitCondition([&] { return tray.takeIn() > 0 && shows(QColor(0x1c1c22)); }));
}

TEST_F(EmbeddingTrayTest, ARestartedTrayGetsTheSymbolAgain)
{
    auto tray = std::make_unique<EmbeddingTray>();
    buildOnDesktop();
    for (int round = 0; round < 3; ++round) {
        ASSERT_TRUE(awaitCondition([&] { return tray->takeIn() > 0; })) << round;
        ASSERT_TRUE(awaitCondition([] { return shows(QColor(0x1c1c22)); })) << round;
        tray.reset();
        ASSERT_TRUE(awaitCondition([this] { return trays.back()->state() == TrayPresence::State::Absent; }));
        tray = std::make_unique<EmbeddingTray>();
    }
}

TEST_F(EmbeddingTrayTest, TheSymbolHasTheColorThatTheTrayTells)
{
    EmbeddingTray tray(std::array<uint32_t, 3>{65535, 0, 0});
    buildOnDesktop();
    ASSERT_TRUE(awaitCondition([&] { return tray.takeIn() > 0; }));
    EXPECT_TRUE(awaitCondition([] { return shows(Qt::red); }));
    tray.announceColor({0, 0, 65535});
    EXPECT_TRUE(awaitCondition([] { return shows(Qt::blue); }));
}

TEST_F(EmbeddingTrayTest, APressOpensTheMenuBelowTheBarAndItsItemsDoTheirWork)
{
    windows.composited = false;
    EmbeddingTray tray;
    buildOnDesktop();
    ASSERT_TRUE(awaitCondition([&] { return tray.takeIn() > 0; }));
    ASSERT_TRUE(awaitCondition([] { return shows(QColor(0x1c1c22)); }));
    input_.moveTo(EmbeddingTray::kLeft + 12, EmbeddingTray::kTop + 12);
    StatusMenu& menu = controller->menu();
    input_.click(1);
    ASSERT_TRUE(awaitCondition([&] { return menu.isVisible(); }));
    EXPECT_EQ(menu.geometry().topLeft(),
              QPoint(EmbeddingTray::kLeft, EmbeddingTray::kTop + EmbeddingTray::kSide));
    const QPoint annotate = menu.mapToGlobal(menu.actionGeometry(menu.actions().constFirst()).center());
    input_.moveTo(annotate.x(), annotate.y());
    input_.click(1);
    EXPECT_TRUE(awaitCondition([&] { return annotations == 1; }));
    EXPECT_FALSE(menu.isVisible());
}

TEST_F(EmbeddingTrayTest, APressOfTheOtherButtonOpensItToo)
{
    EmbeddingTray tray;
    buildOnDesktop();
    ASSERT_TRUE(awaitCondition([&] { return tray.takeIn() > 0; }));
    ASSERT_TRUE(awaitCondition([] { return shows(QColor(0x1c1c22)); }));
    input_.moveTo(EmbeddingTray::kLeft + 12, EmbeddingTray::kTop + 12);
    windows.composited = true;
    input_.click(3);
    EXPECT_TRUE(awaitCondition([&] { return controller->menu().isVisible(); }));
    // At the same place as for the first button, and not at the pointer; the shadow is 40 points wide.
    EXPECT_TRUE(awaitCondition([&] {
        return controller->menu().geometry().topLeft() + QPoint(40, 40) ==
               QPoint(EmbeddingTray::kLeft, EmbeddingTray::kTop + EmbeddingTray::kSide);
    }));
    controller->menu().close();
}

} // namespace
} // namespace velmo::test
