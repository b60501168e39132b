#include "app/ApplicationScheme.h"
#include "fakes/FakeColorScheme.h"
#include "input/MenuBarController.h"
#include "platform/linux/BusColorScheme.h"
#include "support/accessibility/PrivateBuses.h"
#include "support/app/LifecycleTest.h"
#include "support/core/Environment.h"
#include "support/portal/ScriptedPortal.h"
#include "support/widgets/Palettes.h"
#include "support/x11/Await.h"
#include "updates/UpdateWindow.h"
#include "widgets/WindowPalette.h"

#include <QApplication>
#include <QEvent>
#include <QSet>

namespace velmo {
namespace {

using Preference = ColorScheme::Preference;

bool isDark()
{
    return WindowTheme::isDark(QApplication::palette());
}

TEST(ApplicationScheme, TheToolkitsColorsStayWhereTheDesktopHasNoPreference)
{
    const QPalette before = QApplication::palette();
    FakeColorScheme desktop;
    {
        const ApplicationScheme scheme(desktop);
        EXPECT_EQ(QApplication::palette(), before);
        desktop.become(Preference::Dark);
        EXPECT_TRUE(isDark());
        desktop.become(Preference::None);
        EXPECT_EQ(QApplication::palette(), before);
        EXPECT_TRUE(desktop.isWatched());
    }
    EXPECT_FALSE(desktop.isWatched());
}

TEST(ApplicationScheme, TheToolkitsColorsStayWhereTheyAreOfTheRightScheme)
{
    const QPalette before = QApplication::palette();
    ASSERT_FALSE(isDark());
    FakeColorScheme desktop;
    desktop.become(Preference::Light);
    const ApplicationScheme scheme(desktop);
    EXPECT_EQ(QApplication::palette(), before);
    desktop.become(Preference::Dark);
    EXPECT_TRUE(isDark());
    desktop.become(Preference::Light);
    EXPECT_EQ(QApplication::palette(), before);
}

TEST(ApplicationScheme, ADesktopsDarkColorsGiveWayToo)
{
    const ApplicationPalette toolkits(darkPalette());
    FakeColorScheme desktop;
    desktop.become(Preference::Light);
    const ApplicationScheme scheme(desktop);
    EXPECT_FALSE(isDark());
    desktop.become(Preference::Dark);
    desktop.become(Preference::Light);
    EXPECT_FALSE(isDark());
    desktop.become(Preference::None);
    QApplication::setPalette(QPalette());
}

TEST(ApplicationScheme, WhatIsSwitchedOffStandsBackInBothSchemes)
{
    for (const WindowTheme& theme : {WindowTheme::light(), WindowTheme::dark()}) {
        const QPalette palette = applicationPalette(theme);
        const auto contrast = [&](QPalette::ColorGroup group) {
            return std::abs(palette.color(group, QPalette::Text).lightness() -
                            palette.color(group, QPalette::Base).lightness());
        };
        EXPECT_LT(contrast(QPalette::Disabled), contrast(QPalette::Active) * 3 / 4);
        EXPECT_EQ(palette.color(QPalette::Active, QPalette::Window), theme.window);
        EXPECT_EQ(palette.color(QPalette::Inactive, QPalette::ButtonText), theme.text);
    }
}

/// Notes which widgets are painted.
class PaintWatch final : public QObject {
public:
    PaintWatch() { qApp->installEventFilter(this); }
    [[nodiscard]] bool eventFilter(QObject* object, QEvent* event) override
    {
        if (event->type() == QEvent::Paint)
            painted.insert(object);
        return false;
    }
    QSet<QObject*> painted;
};

/// The program on a desktop that has a portal.
class SchemeOfOpenWindowsTest : public LifecycleTest {
protected:
    static constexpr uint32_t kDark = 1;
    static constexpr uint32_t kLight = 2;

    /// Every visible part is painted anew, in colours of the theme.
    void expectNewLook(QWidget& window, const PaintWatch& watch, const WindowTheme& theme) const
    {
        EXPECT_TRUE(watch.painted.contains(&window)) << window.windowTitle().toStdString();
        for (QWidget* part : window.findChildren<QWidget*>()) {
            if (part->isVisible() && !part->visibleRegion().isEmpty()) {
                EXPECT_TRUE(watch.painted.contains(part)) << part->metaObject()->className();
            }
        }
        const QImage picture = window.grab().toImage();
        EXPECT_EQ(picture.pixelColor(4, picture.height() - 5), theme.window);
    }
    /// Of all windows with a title bar, and of the menu.
    void expectNewLooks(uint32_t number)
    {
        const PaintWatch watch;
        portal.change(number);
        ASSERT_TRUE(test::awaitCondition([&] { return isDark() == (number == kDark); }));
        settle();
        const WindowTheme theme = number == kDark ? WindowTheme::dark() : WindowTheme::light();
        QStringList titles;
        for (QWidget* window : QApplication::topLevelWidgets()) {
            if (window->isVisible() && !window->windowTitle().isEmpty()) {
                titles.append(window->windowTitle());
                expectNewLook(*window, watch, theme);
            }
        }
        EXPECT_EQ(titles.size(), 4) << titles.join(u',').toStdString();
        StatusMenu& menu = delegate->menuBarController()->menu();
        EXPECT_TRUE(watch.painted.contains(&menu));
        const QRect first = menu.actionGeometry(menu.actions().constFirst());
        EXPECT_EQ(menu.grab().toImage().pixelColor(first.left() + 2, first.center().y()), theme.menu);
    }

    EnvironmentVariable desktopName{"XDG_CURRENT_DESKTOP", "XFCE"};
    test::PrivateBuses buses;
    test::ScriptedPortal portal{buses.sessionAddress().toStdString(), kDark};
    BusColorScheme preference{buses.sessionAddress().toStdString()};
    ApplicationScheme scheme{preference};
};

TEST_F(SchemeOfOpenWindowsTest, TheyFollowTheDesktopWhileTheyAreOpen)
{
    ASSERT_TRUE(test::awaitCondition([] { return isDark(); }));
    launch();
    delegate->showOnboarding();
    delegate->menuBarController()->openSettingsWindow();
    delegate->menuBarController()->presentHotkeySheet();
    UpdateWindow update;
    update.showChecking();
    update.show();
    delegate->menuBarController()->menu().popup({600, 10});
    settle();
    expectNewLooks(kLight);
    expectNewLooks(kDark);
    portal.change(0);
    EXPECT_TRUE(test::awaitCondition([] { return !isDark(); }));
}

} // namespace
} // namespace velmo
