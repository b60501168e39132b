#include "fakes/FakeWindowSurfaces.h"
#include "input/StatusMenu.h"
#include "support/core/EventLoop.h"
#include "support/widgets/Palettes.h"

#include <QApplication>
#include <QImage>
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
    menu.resize(menu.sizeHint());
    QApplication::sendPostedEvents();
    menu.grab();
    EXPECT_FALSE(menu.mask().contains(QPoint(0, 0)));
    EXPECT_TRUE(menu.mask().contains(menu.rect().center()));
}

} // namespace
} // namespace velmo
