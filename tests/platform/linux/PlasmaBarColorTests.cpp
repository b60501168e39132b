#include "platform/linux/PlasmaBarColor.h"
#include "support/core/Environment.h"
#include "support/x11/Await.h"

#include <QDir>
#include <QFile>
#include <QSaveFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace velmo::test {
namespace {

/// A Plasma desktop with themes of the test's own.
class PlasmaBarTest : public testing::Test {
protected:
    PlasmaBarTest()
    {
        addTheme(QStringLiteral("night"), "250,251,252");
        addTheme(QStringLiteral("day"), "10,11,12");
    }

    void addTheme(const QString& name, const QByteArray& text) const
    {
        const QDir themes(data.filePath(QStringLiteral("plasma/desktoptheme")));
        themes.mkpath(name);
        QFile file(themes.filePath(name + QStringLiteral("/colors")));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write("[Colors:Window]\nForegroundNormal=" + text + '\n');
    }
    /// As Plasma does: in place of the former file.
    void choose(const QByteArray& theme) const
    {
        QSaveFile file(settings.filePath(QStringLiteral("plasmarc")));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write("[Theme]\nname=" + theme + '\n');
        ASSERT_TRUE(file.commit());
    }
    [[nodiscard]] bool awaitColor(const std::optional<QColor>& color) const
    {
        return awaitCondition([&] { return seen == color; });
    }

    QTemporaryDir settings;
    QTemporaryDir data;
    EnvironmentVariable desktop{"XDG_CURRENT_DESKTOP", "KDE"};
    EnvironmentVariable configuration{"XDG_CONFIG_HOME", settings.path().toUtf8()};
    EnvironmentVariable dataHome{"XDG_DATA_HOME", data.path().toUtf8()};
    std::optional<QColor> seen; ///< When a change was last told.
    std::function<void()> look = [this] { seen = plasmaBarColor(); };
    const QColor night{250, 251, 252};
    const QColor day{10, 11, 12};
};

TEST_F(PlasmaBarTest, EachNewThemeIsTold)
{
    choose("night");
    EXPECT_EQ(plasmaBarColor(), night);
    const PlasmaBarWatch watch(look);
    choose("day");
    EXPECT_TRUE(awaitColor(day));
    choose("night");
    EXPECT_TRUE(awaitColor(night));
    // The usual one has the colours of windows.
    choose("default");
    EXPECT_TRUE(awaitColor(std::nullopt));
}

TEST_F(PlasmaBarTest, TheFirstThemeThatIsChosenIsTold)
{
    const PlasmaBarWatch watch(look);
    choose("night");
    EXPECT_TRUE(awaitColor(night));
    choose("day");
    EXPECT_TRUE(awaitColor(day));
}

TEST_F(PlasmaBarTest, AThemeIsToldAfterTheSettingsWereAway)
{
    choose("night");
    int changes = 0;
    const PlasmaBarWatch watch([&] {
        ++changes;
        look();
    });
    ASSERT_TRUE(QFile::remove(settings.filePath(QStringLiteral("plasmarc"))));
    ASSERT_TRUE(awaitCondition([&] { return changes > 0; }));
    choose("day");
    EXPECT_TRUE(awaitColor(day));
}

} // namespace
} // namespace velmo::test
