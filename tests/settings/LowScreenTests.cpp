#include "fakes/FakePermissions.h"
#include "permissions/PermissionsView.h"
#include "settings/SettingsRootView.h"
#include "settings/SettingsView.h"
#include "support/input/MenuBarTest.h"
#include "support/x11/Await.h"
#include "support/x11/VirtualDisplay.h"
#include "widgets/FormSection.h"

#include <QScreen>
#include <QWindow>

namespace velmo::test {
namespace {

/// The settings window on a screen of 1024 by 600 points, with a window manager that gives it a title bar.
class LowScreen : public MenuBarTest {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(display().startWindowManager());
        callbacks.makeSettingsWindow = [this] {
            SettingsCollaborators collaborators;
            collaborators.makePermissionsView = [this] {
                return std::make_unique<PermissionsView>(permissions_);
            };
            return std::make_unique<SettingsRootView>(settings, collaborators);
        };
        build();
        open();
    }
    void TearDown() override
    {
        controller.reset();
        display().stopWindowManager();
    }

    void open()
    {
        choose(QStringLiteral("Settings..."));
        ASSERT_TRUE(awaitCondition(
            [this] { return window().windowHandle()->isExposed() && frame() != window().geometry(); }));
    }

    [[nodiscard]] QWidget& window() const { return *controller->settingsWindow(); }

    /// With the title bar.
    [[nodiscard]] QRect frame() const { return window().windowHandle()->frameGeometry(); }

    [[nodiscard]] bool isOnScreen() const { return window().screen()->availableGeometry().contains(frame()); }

    [[nodiscard]] bool isInside(const QWidget& part) const
    {
        return window().rect().contains(QRect(part.mapTo(&window(), QPoint()), part.size()));
    }

    /// In the order in which they were made.
    template <typename Widget>
    [[nodiscard]] std::vector<Widget*> all() const
    {
        std::vector<Widget*> found;
        for (QWidget* widget : window().findChildren<QWidget*>()) {
            if (auto* match = dynamic_cast<Widget*>(widget); match != nullptr)
                found.push_back(match);
        }
        return found;
    }

private:
    FakePermissions permissions_;
};

TEST_F(LowScreen, HasTheWholeSettingsWindow)
{
    EXPECT_EQ(window().width(), 520);
    EXPECT_EQ(window().minimumSize(), window().maximumSize());
    EXPECT_TRUE(awaitCondition([this] { return isOnScreen(); }));
    // And makes use of what there is.
    EXPECT_GT(frame().height(), 600 - 40);
}

TEST_F(LowScreen, ShowsTheEndOfTheFormWhereItIsScrolledTo)
{
    const auto sections = all<FormSection>();
    ASSERT_FALSE(sections.empty());
    ASSERT_FALSE(isInside(*sections.back()));
    const auto areas = all<SettingsView>();
    ASSERT_EQ(areas.size(), 1U);
    areas.front()->ensureWidgetVisible(sections.back(), 0, 0);
    EXPECT_TRUE(isInside(*sections.back()));
}

TEST_F(LowScreen, ShowsEveryPermission)
{
    settings->settingsSelectedTab.set(1);
    ASSERT_TRUE(awaitCondition(
        [this] { return all<PermissionRow>().size() == 3 && all<PermissionRow>().back()->isVisible(); }));
    for (const PermissionRow* row : all<PermissionRow>())
        EXPECT_TRUE(isInside(*row));
}

TEST_F(LowScreen, HasItAgainWhenTheUserPushedItDownAndClosedIt)
{
    window().move(window().x(), 300);
    ASSERT_TRUE(awaitCondition([this] { return !isOnScreen(); }));
    window().close();
    open();
    EXPECT_TRUE(awaitCondition([this] { return isOnScreen(); }));
}

} // namespace
} // namespace velmo::test
