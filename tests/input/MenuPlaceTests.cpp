#include "input/MenuPlace.h"

#include <gtest/gtest.h>

namespace velmo {
namespace {

constexpr QRect kScreen{100, 50, 1600, 900}; // Up to 1700 and 950.
constexpr QSize kMenu{236, 183};
constexpr int kBar = 40;

constexpr MenuRoom withBars(int left, int top, int right, int bottom)
{
    return {kScreen, kScreen.adjusted(left, top, -right, -bottom)};
}

constexpr QRect itemAt(int x, int y)
{
    return {x, y, 24, 24};
}

TEST(MenuPlace, IsAwayFromTheBarAndNotOverIt)
{
    EXPECT_EQ(menuPlaceBeside(itemAt(900, 58), kMenu, withBars(0, kBar, 0, 0)), QPoint(900, 90));
    EXPECT_EQ(menuPlaceBeside(itemAt(900, 918), kMenu, withBars(0, 0, 0, kBar)), QPoint(900, 910 - 183));
    EXPECT_EQ(menuPlaceBeside(itemAt(108, 400), kMenu, withBars(kBar, 0, 0, 0)), QPoint(140, 400));
    EXPECT_EQ(menuPlaceBeside(itemAt(1668, 400), kMenu, withBars(0, 0, kBar, 0)), QPoint(1660 - 236, 400));
}

TEST(MenuPlace, StaysOnTheScreen)
{
    EXPECT_EQ(menuPlaceBeside(itemAt(1668, 58), kMenu, withBars(0, kBar, 0, 0)), QPoint(1700 - 236, 90));
    EXPECT_EQ(menuPlaceBeside(itemAt(108, 920), kMenu, withBars(kBar, 0, 0, 0)), QPoint(140, 950 - 183));
}

TEST(MenuPlace, IsAtTheItemsOwnBarWhereThereAreSeveral)
{
    const MenuRoom room = withBars(kBar, kBar, kBar, kBar);
    EXPECT_EQ(menuPlaceBeside(itemAt(900, 918), kMenu, room), QPoint(900, 910 - 183));
    EXPECT_EQ(menuPlaceBeside(itemAt(1668, 400), kMenu, room), QPoint(1660 - 236, 400));
}

TEST(MenuPlace, OfABarThatKeepsNoRoomFreeIsAwayFromTheNearestEdge)
{
    const MenuRoom room = withBars(0, 0, 0, 0);
    EXPECT_EQ(menuPlaceBeside(itemAt(900, 52), kMenu, room), QPoint(900, 76));
    EXPECT_EQ(menuPlaceBeside(itemAt(1670, 400), kMenu, room), QPoint(1670 - 236, 400));
}

TEST(MenuPlace, WithoutAnItemIsBesideThePointerThatPressedIt)
{
    const MenuRoom room = withBars(0, 0, 0, kBar);
    EXPECT_EQ(menuPlaceWithoutItem(QPoint(1200, 930), kMenu, room), QPoint(1200, 910 - 183));
    // In a drawer of the bar.
    EXPECT_EQ(menuPlaceWithoutItem(QPoint(1200, 700), kMenu, room), QPoint(1200, 700 - 183));
    EXPECT_EQ(menuPlaceWithoutItem(QPoint(300, 300), kMenu, withBars(0, 0, 0, 0)), QPoint(301, 300));
}

TEST(MenuPlace, IsNeverUnderThePointerThatOpensIt)
{
    // A second press would be one of an item. Bars are also where nothing tells of them.
    for (const int bar : {0, kBar}) {
        for (const MenuRoom& room : {withBars(0, bar, 0, 0), withBars(0, 0, 0, bar), withBars(bar, 0, 0, 0),
                                     withBars(0, 0, bar, 0)}) {
            for (const QPoint pointer :
                 {QPoint(101, 51), QPoint(900, 55), QPoint(1698, 60), QPoint(1690, 500), QPoint(1698, 948),
                  QPoint(900, 945), QPoint(103, 940), QPoint(110, 400)}) {
                const QPoint corner = menuPlaceWithoutItem(pointer, kMenu, room);
                EXPECT_FALSE(QRect(corner, kMenu).contains(pointer)) << pointer.x() << ' ' << pointer.y();
                EXPECT_TRUE(room.available.contains(QRect(corner, kMenu)));
            }
        }
    }
}

TEST(MenuPlace, WithoutAnItemAndFarFromTheBarIsAtTheBarsEnd)
{
    const QPoint far(900, 500);
    EXPECT_EQ(menuPlaceWithoutItem(far, kMenu, withBars(0, 0, 0, kBar)), QPoint(1700 - 236, 910 - 183));
    EXPECT_EQ(menuPlaceWithoutItem(far, kMenu, withBars(0, kBar, 0, 0)), QPoint(1700 - 236, 90));
    EXPECT_EQ(menuPlaceWithoutItem(far, kMenu, withBars(kBar, 0, 0, 0)), QPoint(140, 950 - 183));
    EXPECT_EQ(menuPlaceWithoutItem(far, kMenu, withBars(0, 0, kBar, 0)), QPoint(1660 - 236, 950 - 183));
}

} // namespace
} // namespace velmo
