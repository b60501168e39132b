#include "fakes/FakeWindowSurfaces.h"
#include "input/StatusMenu.h"
#include "support/core/EventLoop.h"
#include "support/widgets/Palettes.h"

#include <QApplication>
#include <QCursor>
#include <QFontInfo>
#include <QImage>
#include <QMouseEvent>
#include <QTest>
#include <gmock/gmock.h>

namespace velmo {
namespace {

using testing::ElementsAre;

class StatusMenuTest : public testing::Test {
protected:
    [[nodiscard]] StatusMenu::Actions actions()
    {
        return {[this] { done.push_back("annotate"); }, [this] { done.push_back("hotkey"); },
                [this] { done.push_back("settings"); }, [this] { done.push_back("updates"); },
                [this] { done.push_back("terminate"); }};
    }

    [[nodiscard]] QImage picture()
    {
        menu.ensurePolished();
        menu.resize(menu.sizeHint());
        return menu.grab().toImage();
    }

    std::vector<std::string> done;
    FakeWindowSurfaces windows;
    StatusMenu menu{windows, actions()};
};

TEST_F(StatusMenuTest, HasTheseItemsInThisOrder)
{
    std::vector<std::string> rows;
    for (const QAction* item : menu.actions()) {
        EXPECT_TRUE(item->isEnabled());
        rows.push_back(
            item->isSeparator() ? "-" : (item->text() + u'|' + item->shortcut().toString()).toStdString());
    }
    EXPECT_THAT(rows, ElementsAre("Annotate Screen|", "-", "Change Hotkey...|", "Settings...|Ctrl+,", "-",
                                  "Check for Updates...|", "-", "Quit Velmo|Ctrl+Q"));
}

TEST_F(StatusMenuTest, EachItemDoesItsOwn)
{
    for (QAction* item : menu.actions())
        item->trigger();
    EXPECT_THAT(done, ElementsAre("annotate", "hotkey", "settings", "updates", "terminate"));
}

TEST_F(StatusMenuTest, ItemsWithNothingToDoDoNothing)
{
    StatusMenu idle(windows, {});
    for (QAction* item : idle.actions())
        item->trigger();
    EXPECT_THAT(done, testing::IsEmpty());
}

TEST_F(StatusMenuTest, HasTheDesignsMeasures)
{
    EXPECT_EQ(menu.sizeHint(), QSize(236, 5 + 5 * 28 + 3 * 11 + 5));
}

TEST_F(StatusMenuTest, FollowsTheDesktopsScheme)
{
    const QPoint middle(2, 60);
    {
        const ApplicationPalette palette(lightPalette());
        EXPECT_EQ(picture().pixelColor(middle), QColor(0xfbfbfd));
    }
    const ApplicationPalette palette(darkPalette());
    EXPECT_EQ(picture().pixelColor(middle), QColor(0x2a2a30));
}

TEST_F(StatusMenuTest, TheItemUnderThePointerIsAccented)
{
    menu.setActiveAction(menu.actions().constFirst());
    EXPECT_EQ(picture().pixelColor(QPoint(8, 19)), QColor(0x5461f0));
}

TEST_F(StatusMenuTest, TellsWhenTheColorsChange)
{
    int told = 0;
    menu.onColorsChanged = [&] { ++told; };
    const ApplicationPalette palette(darkPalette());
    EXPECT_TRUE(turnUntil([&] { return told > 0; }));
}

TEST_F(StatusMenuTest, CutsItsCornersOffWhereNothingIsTranslucent)
{
    windows.composited = false;
    menu.popup({});
    EXPECT_FALSE(menu.mask().contains(QPoint(0, 0)));
    EXPECT_TRUE(menu.mask().contains(menu.rect().center()));
}

TEST_F(StatusMenuTest, LooksForACompositorEachTimeThatItOpens)
{
    const QSize frame = menu.sizeHint();
    constexpr int kMargin = 40;
    for (const bool isComposited : {true, false, true}) {
        windows.composited = isComposited;
        menu.popup({});
        EXPECT_EQ(menu.mask().isEmpty(), isComposited);
        const int margin = isComposited ? kMargin : 0;
        EXPECT_EQ(menu.size(), frame + QSize(2 * margin, 2 * margin));
        EXPECT_EQ(menu.actionGeometry(menu.actions().constFirst()).topLeft(), QPoint(margin + 5, margin + 5));
        menu.close();
    }
    const QImage image = menu.grab().toImage();
    EXPECT_GT(image.pixelColor(kMargin - 4, image.height() / 2).alpha(), 0) << "the shadow";
    EXPECT_LT(image.pixelColor(kMargin - 4, image.height() / 2).alpha(), 128);
    EXPECT_EQ(image.pixelColor(kMargin + 2, image.height() / 2).alpha(), 255);
}

TEST_F(StatusMenuTest, APlaceIsThatOfItsFrameAndNotOfTheShadow)
{
    QSize told;
    const auto place = [&](QSize size) {
        told = size;
        return QPoint(300, 0);
    };
    menu.openAt(place);
    EXPECT_EQ(told, QSize(236, 183));
    EXPECT_EQ(menu.pos(), QPoint(260, -40));
    menu.move(0, 0);
    menu.openAt(place);
    EXPECT_EQ(told, QSize(236, 183));
    EXPECT_EQ(menu.pos(), QPoint(260, -40));
}

TEST_F(StatusMenuTest, APressOnTheShadowIsOneBesideTheMenu)
{
    menu.popup(QPoint(100, 100));
    const auto press = [this](QPoint at) {
        QMouseEvent event(QEvent::MouseButtonPress, at, menu.mapToGlobal(at), Qt::LeftButton, Qt::LeftButton,
                          Qt::NoModifier);
        QCoreApplication::sendEvent(&menu, &event);
    };
    press(QPoint(42, 100));
    EXPECT_TRUE(menu.isVisible());
    press(QPoint(20, 100));
    EXPECT_FALSE(menu.isVisible());
}

/// One that is opened with the pointer over its last item, as where nobody tells of a bar.
class StatusMenuUnderThePointer : public StatusMenuTest {
protected:
    StatusMenuUnderThePointer()
    {
        windows.composited = false;
        menu.openAt([](QSize) { return QPoint(100, 100); });
        QCursor::setPos(menu.mapToGlobal(centreOf(last())));
        menu.close();
        menu.openAt([](QSize) { return QPoint(100, 100); });
        // A window that appears under the pointer is told so.
        const QPoint at = centreOf(last());
        QEnterEvent enter(at, at, menu.mapToGlobal(at));
        QCoreApplication::sendEvent(&menu, &enter);
    }
    ~StatusMenuUnderThePointer() override { QApplication::setDoubleClickInterval(kInterval); }

    [[nodiscard]] QAction& last() const { return *menu.actions().constLast(); }
    [[nodiscard]] QPoint centreOf(QAction& item) const { return menu.actionGeometry(&item).center(); }

    /// By the way that the window system's events take.
    void click(QPoint at)
    {
        QWindow& window = *menu.windowHandle();
        QTest::mouseMove(&window, at);
        QTest::mousePress(&window, Qt::LeftButton, Qt::NoModifier, at);
        QTest::mouseRelease(&window, Qt::LeftButton, Qt::NoModifier, at);
    }

    const int kInterval = QApplication::doubleClickInterval();
};

TEST_F(StatusMenuUnderThePointer, IsNotClickedByTheRestOfADoubleClick)
{
    click(centreOf(last()));
    EXPECT_THAT(done, testing::IsEmpty());
    EXPECT_TRUE(menu.isVisible());
    // Nor with an unsteady hand.
    click(centreOf(last()) + QPoint(2, 1));
    EXPECT_THAT(done, testing::IsEmpty());
    EXPECT_TRUE(menu.isVisible());
}

TEST_F(StatusMenuUnderThePointer, IsClickedAtOnceWhereThePointerHasMovedTo)
{
    click(centreOf(*menu.actions().constFirst()));
    EXPECT_THAT(done, ElementsAre("annotate"));
}

TEST_F(StatusMenuUnderThePointer, IsClickedThereLater)
{
    constexpr int kShort = 5;
    QApplication::setDoubleClickInterval(kShort);
    QElapsedTimer since;
    since.start();
    ASSERT_TRUE(turnUntil([&] { return since.hasExpired(kShort); }));
    click(centreOf(last()));
    EXPECT_THAT(done, ElementsAre("terminate"));
}

TEST_F(StatusMenuTest, TellsTheWindowSystemThatItHasTheKeyboard)
{
    menu.popup({});
    EXPECT_TRUE(windows.menuIsOpen);
    menu.close();
    EXPECT_FALSE(windows.menuIsOpen);
}

TEST_F(StatusMenuTest, IsWrittenInTheDesignsSize)
{
    EXPECT_NEAR(QFontInfo(menu.font()).pointSizeF() * menu.logicalDpiY() / 72, 12.5, 0.51);
    EXPECT_NE(menu.font().pixelSize(), 13);
}

} // namespace
} // namespace velmo
