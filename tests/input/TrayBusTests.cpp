#include "support/tray/TrayTest.h"

#include "input/TrayIcon.h"
#include "platform/x11/X11WindowSurfaces.h"
#include "support/core/Environment.h"
#include "support/widgets/Palettes.h"
#include "support/x11/InputDriver.h"
#include "support/x11/PlainClient.h"
#include "support/x11/VirtualDisplay.h"

#include <QApplication>
#include <QDir>
#include <QTemporaryDir>
#include <csignal>

namespace velmo::test {
namespace {

using testing::ElementsAre;

class BusTrayTest : public TrayTest {
protected:
    [[nodiscard]] bool awaitItem()
    {
        return awaitCondition([this] { return !host.items().isEmpty(); });
    }
};

TEST_F(BusTrayTest, TheMenuIsExportedAsItIs)
{
    ASSERT_TRUE(host.start());
    buildOnDesktop();
    ASSERT_TRUE(awaitItem());
    std::vector<std::string> rows;
    for (const ExportedItem& item : host.menu()) {
        EXPECT_TRUE(item.isEnabled);
        rows.push_back((item.label + u'|' + item.keys).toStdString());
    }
    EXPECT_THAT(rows, ElementsAre("Annotate Screen|", "|", "Change Hotkey...|", "Settings...|Control+,", "|",
                                  "Check for Updates...|", "|", "Quit Velmo|Control+Q"));
    EXPECT_EQ(host.toolTip(), QStringLiteral("Velmo"));
}

TEST_F(BusTrayTest, ItemsThatAreChosenThereDoTheirWork)
{
    ASSERT_TRUE(host.start());
    buildOnDesktop();
    ASSERT_TRUE(awaitItem());
    ASSERT_TRUE(host.choose(QStringLiteral("Annotate Screen")));
    EXPECT_TRUE(awaitCondition([this] { return annotations == 1; }));
    ASSERT_TRUE(host.choose(QStringLiteral("Quit Velmo")));
    EXPECT_TRUE(awaitCondition([this] { return terminations == 1; }));
}

TEST_F(BusTrayTest, APressOpensTheMenuWhereTheBarDoesNot)
{
    ASSERT_TRUE(host.start());
    buildOnDesktop();
    ASSERT_TRUE(awaitItem());
    ASSERT_TRUE(host.activate());
    EXPECT_TRUE(awaitCondition([this] { return controller->menu().isVisible(); }));
    controller->menu().close();
}

TEST_F(BusTrayTest, ALateBarIsFound)
{
    buildOnDesktop();
    ASSERT_TRUE(awaitNoTray());
    EXPECT_FALSE(exists());
    ASSERT_TRUE(host.start());
    EXPECT_TRUE(awaitItem());
    EXPECT_TRUE(exists());
}

TEST_F(BusTrayTest, AWatcherWithoutABarIsNoneYet)
{
    ASSERT_TRUE(host.startWatcher());
    buildOnDesktop();
    ASSERT_TRUE(awaitNoTray());
    EXPECT_FALSE(exists());
    EXPECT_TRUE(host.items().isEmpty());
    ASSERT_TRUE(host.startHost());
    EXPECT_TRUE(awaitItem());
}

TEST_F(BusTrayTest, ABarThatLeavesItsWatcherIsGone)
{
    ASSERT_TRUE(host.start());
    buildOnDesktop();
    ASSERT_TRUE(awaitItem());
    const auto isNow = [this](TrayPresence::State state) {
        return awaitCondition([&] { return trays.front()->state() == state; });
    };
    ASSERT_TRUE(host.stopHost());
    EXPECT_TRUE(isNow(TrayPresence::State::Absent));
    ASSERT_TRUE(host.startHost());
    EXPECT_TRUE(isNow(TrayPresence::State::Present));
}

/// The settings, opened from the bar, with a field that has the keyboard.
class BusTraySettingsTest : public BusTrayTest {
protected:
    void SetUp() override
    {
        BusTrayTest::SetUp();
        ASSERT_TRUE(display().startWindowManager());
        ASSERT_TRUE(host.start());
        callbacks.makeSettingsWindow = makeForm;
        surfaces = &real_;
        buildOnDesktop();
        ASSERT_TRUE(awaitItem());
        ASSERT_TRUE(host.choose(QStringLiteral("Settings...")));
        ASSERT_TRUE(awaitCondition([this] { return isActive(); }));
        field().setFocus();
        ASSERT_TRUE(awaitCondition([this] { return field().hasFocus(); }));
    }
    void TearDown() override
    {
        BusTrayTest::TearDown();
        display().stopWindowManager();
    }

    [[nodiscard]] bool isActive() const
    {
        return controller->settingsWindow() != nullptr && controller->settingsWindow()->isActiveWindow();
    }
    [[nodiscard]] QLineEdit& field() const { return *controller->settingsWindow()->findChild<QLineEdit*>(); }

    X11WindowSurfaces real_;
    InputDriver input_;
};

TEST_F(BusTraySettingsTest, TheMenusKeysAreLabelsAlone)
{
    input_.chord({"Control_L", "q"});
    input_.chord({"Control_L", "comma"});
    // What comes after both.
    input_.tap("x");
    EXPECT_TRUE(awaitCondition([this] { return field().text() == QStringLiteral("x"); }));
    EXPECT_EQ(terminations, 0);
    EXPECT_TRUE(field().hasFocus()) << "as if the settings had been opened again";
}

TEST_F(BusTraySettingsTest, OpeningThemAgainTakesTheKeyboardFromTheirFields)
{
    PlainClient other{{}};
    ASSERT_TRUE(awaitCondition([&] { return other.hasFocus() && !isActive(); }));
    ASSERT_TRUE(host.choose(QStringLiteral("Settings...")));
    ASSERT_TRUE(awaitCondition([this] { return isActive(); }));
    EXPECT_EQ(QApplication::focusWidget(), controller->settingsWindow());
    input_.tap("x");
    input_.tap("Tab");
    EXPECT_TRUE(awaitCondition([this] { return field().hasFocus(); }));
    EXPECT_EQ(field().text(), QString());
}

TEST_F(BusTrayTest, ARestartedBarGetsTheItemAgain)
{
    ASSERT_TRUE(host.start());
    buildOnDesktop();
    ASSERT_TRUE(awaitItem());
    for (int round = 0; round < 3; ++round) {
        host.stop();
        ASSERT_TRUE(awaitCondition([this] { return trays.front()->state() == TrayPresence::State::Absent; }));
        ASSERT_TRUE(host.start());
        ASSERT_TRUE(awaitItem()) << round;
        EXPECT_FALSE(host.menu().isEmpty());
    }
    EXPECT_EQ(host.items().size(), 1);
}

TEST_F(BusTrayTest, WithoutABarTheLogSaysSoOnce)
{
    buildOnDesktop();
    ASSERT_TRUE(awaitAnswers());
    ASSERT_TRUE(awaitCondition([this] { return log.text().contains(QStringLiteral("no tray yet")); }));
    ASSERT_TRUE(host.start());
    ASSERT_TRUE(awaitItem());
    host.stop();
    ASSERT_TRUE(awaitCondition([this] { return trays.front()->state() == TrayPresence::State::Absent; }));
    EXPECT_EQ(log.text().count(QStringLiteral("no tray yet")), 1);
}

TEST_F(BusTrayTest, TheSymbolIsSentInEverySizeAndFollowsTheScheme)
{
    const EnvironmentVariable desktop("XDG_CURRENT_DESKTOP", "XFCE");
    ASSERT_TRUE(host.start());
    const auto hasSymbolFor = [this](const QPalette& palette) {
        const QIcon expected = trayIcon(trayColors(std::nullopt, {}, palette));
        return host.symbol(QSize(22, 22)) ==
               expected.pixmap(QSize(22, 22)).toImage().convertToFormat(QImage::Format_ARGB32);
    };
    const ApplicationPalette light(lightPalette());
    buildOnDesktop();
    ASSERT_TRUE(awaitItem());
    EXPECT_THAT(host.symbolSizes(), ElementsAre(QSize(16, 16), QSize(22, 22), QSize(24, 24), QSize(32, 32)));
    EXPECT_TRUE(hasSymbolFor(lightPalette()));
    const ApplicationPalette dark(darkPalette());
    EXPECT_TRUE(awaitCondition([&] { return hasSymbolFor(darkPalette()); }));
}

/// A bus that does not answer.
class HaltedBus {
public:
    HaltedBus() { kill(buses().sessionProcess(), SIGSTOP); }
    HaltedBus(const HaltedBus&) = delete;
    HaltedBus& operator=(const HaltedBus&) = delete;
    ~HaltedBus() { goOn(); }
    void goOn() { kill(buses().sessionProcess(), SIGCONT); }
};

TEST_F(BusTrayTest, AFrozenBusHoldsNothingUp)
{
    ASSERT_TRUE(host.start());
    HaltedBus halted;
    QElapsedTimer timer;
    timer.start();
    buildOnDesktop();
    QCoreApplication::processEvents();
    EXPECT_LT(timer.elapsed(), 2000);
    EXPECT_TRUE(awaitCondition(
        [this] { return log.text().contains(QStringLiteral("does not say whether it has a tray")); }));
    EXPECT_FALSE(exists());
    halted.goOn();
    EXPECT_TRUE(awaitItem());
}

TEST(BusTrayPresence, TellsTheColorOfPlasmasOwnBars)
{
    const QTemporaryDir folder;
    const auto write = [&](const QString& path, const QByteArray& text) {
        QFile file(folder.filePath(path));
        ASSERT_TRUE(QDir().mkpath(QFileInfo(file).path()));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly) && file.write(text) == text.size());
    };
    write(QStringLiteral("plasma/desktoptheme/dusk/colors"),
          "[Colors:View]\nForegroundNormal=1,2,3\n[Colors:Window]\nForegroundNormal=239,240,241\n");
    write(QStringLiteral("plasmarc"), "[Theme]\nname=dusk\n");
    const EnvironmentVariable config("XDG_CONFIG_HOME", folder.path().toUtf8());
    const EnvironmentVariable data("XDG_DATA_HOME", folder.path().toUtf8());
    const BusTrayPresence tray("");
    {
        const EnvironmentVariable desktop("XDG_CURRENT_DESKTOP", "XFCE");
        EXPECT_EQ(tray.symbolColor(), std::nullopt);
    }
    const EnvironmentVariable desktop("XDG_CURRENT_DESKTOP", "KDE");
    EXPECT_EQ(tray.symbolColor(), QColor(239, 240, 241));
    write(QStringLiteral("plasmarc"), "[Theme]\nname=none-such\n");
    EXPECT_EQ(tray.symbolColor(), std::nullopt);
    write(QStringLiteral("plasmarc"), "");
    EXPECT_EQ(tray.symbolColor(), std::nullopt);
}

TEST(BusTrayPresence, WithoutABusThereIsNone)
{
    EXPECT_EQ(BusTrayPresence("").state(), TrayPresence::State::Absent);
    const BusTrayPresence nobody("unix:path=/nonexistent/bus");
    EXPECT_TRUE(awaitCondition([&] { return nobody.state() == TrayPresence::State::Absent; }));
}

TEST(BusTrayPresence, ABusThatEndsTakesItsTrayAlong)
{
    auto other = std::make_unique<PrivateBuses>();
    TrayHost host(other->sessionAddress());
    ASSERT_TRUE(host.start());
    BusTrayPresence tray(other->sessionAddress().toStdString());
    int changes = 0;
    tray.setChangeHandler([&] { ++changes; });
    ASSERT_TRUE(awaitCondition([&] { return tray.state() == TrayPresence::State::Present; }));
    other.reset();
    EXPECT_TRUE(awaitCondition([&] { return tray.state() == TrayPresence::State::Absent; }));
    EXPECT_TRUE(awaitCondition([&] { return changes == 2; }));
}

} // namespace
} // namespace velmo::test
