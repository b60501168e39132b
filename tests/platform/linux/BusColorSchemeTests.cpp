#include "platform/linux/BusColorScheme.h"
#include "support/accessibility/BusAccess.h"
#include "support/accessibility/PrivateBuses.h"
#include "support/core/Environment.h"
#include "support/portal/ScriptedPortal.h"
#include "support/x11/Await.h"

#include <QFile>
#include <QTemporaryDir>
#include <csignal>
#include <gmock/gmock.h>

namespace velmo::test {
namespace {

using Preference = ColorScheme::Preference;
using Manner = ScriptedPortal::Manner;

class BusColorSchemeTest : public testing::Test {
protected:
    static constexpr uint32_t kNone = 0;
    static constexpr uint32_t kDark = 1;
    static constexpr uint32_t kLight = 2;

    void startPortal(uint32_t number, Manner manner = Manner::Answers)
    {
        portal = std::make_unique<ScriptedPortal>(address(), number, manner);
    }
    void startScheme(std::chrono::milliseconds patience = kPatience)
    {
        scheme = std::make_unique<BusColorScheme>(address(), patience);
        scheme->setChangeHandler([this] { changes.push_back(scheme->preference()); });
    }
    [[nodiscard]] std::string address() const { return buses.sessionAddress().toStdString(); }
    [[nodiscard]] bool awaitPreference(Preference preference) const
    {
        return awaitCondition([&] { return scheme->preference() == preference; });
    }
    [[nodiscard]] bool awaitQuestions(int count) const
    {
        return awaitCondition([&] { return portal->questions() >= count; });
    }

    EnvironmentVariable desktop{"XDG_CURRENT_DESKTOP", "XFCE"};
    PrivateBuses buses;
    std::unique_ptr<ScriptedPortal> portal;
    std::unique_ptr<BusColorScheme> scheme;
    std::vector<Preference> changes;
};

TEST_F(BusColorSchemeTest, ADarkDesktopIsDarkFromTheStart)
{
    startPortal(kDark);
    startScheme();
    EXPECT_EQ(scheme->preference(), Preference::None);
    ASSERT_TRUE(awaitCondition([this] { return !changes.empty(); }));
    EXPECT_THAT(changes, testing::ElementsAre(Preference::Dark));
}

TEST_F(BusColorSchemeTest, FollowsEachChange)
{
    startPortal(kLight);
    startScheme();
    ASSERT_TRUE(awaitPreference(Preference::Light));
    portal->change(kDark);
    ASSERT_TRUE(awaitPreference(Preference::Dark));
    portal->change(kNone);
    ASSERT_TRUE(awaitPreference(Preference::None));
    portal->change(kLight);
    ASSERT_TRUE(awaitCondition([this] { return changes.size() == 4; }));
    EXPECT_THAT(changes, testing::ElementsAre(Preference::Light, Preference::Dark, Preference::None,
                                              Preference::Light));
}

TEST_F(BusColorSchemeTest, OtherSettingsAreNotAskedAbout)
{
    startPortal(kDark);
    startScheme();
    ASSERT_TRUE(awaitPreference(Preference::Dark));
    const int before = portal->questions();
    portal->changeAnother();
    portal->change(kLight);
    ASSERT_TRUE(awaitPreference(Preference::Light));
    EXPECT_EQ(portal->questions(), before + 1);
}

TEST_F(BusColorSchemeTest, AnUnknownNumberIsNoPreference)
{
    startPortal(kDark);
    startScheme();
    ASSERT_TRUE(awaitPreference(Preference::Dark));
    portal->change(7);
    EXPECT_TRUE(awaitPreference(Preference::None));
}

TEST_F(BusColorSchemeTest, ADesktopsPortalIsStarted)
{
    const QTemporaryDir folder;
    const QString trace = folder.filePath(QStringLiteral("started"));
    ASSERT_TRUE(buses.offer("org.freedesktop.portal.Desktop", "/usr/bin/touch " + trace.toUtf8()));
    startScheme();
    EXPECT_TRUE(awaitCondition([&] { return QFile::exists(trace); }));
}

TEST_F(BusColorSchemeTest, WithoutADesktopNothingIsStarted)
{
    desktop.assign(std::nullopt);
    const QTemporaryDir folder;
    const QString trace = folder.filePath(QStringLiteral("started"));
    ASSERT_TRUE(buses.offer("org.freedesktop.portal.Desktop", "/usr/bin/touch " + trace.toUtf8()));
    startScheme();
    ASSERT_TRUE(askBus(address(), requestToBus("GetId"), [](BusMessage&) {}));
    startPortal(kDark);
    ASSERT_TRUE(awaitPreference(Preference::Dark));
    EXPECT_FALSE(QFile::exists(trace));
}

TEST_F(BusColorSchemeTest, APortalThatComesLateIsAsked)
{
    startScheme();
    // The bus has said by then that there is none.
    ASSERT_TRUE(askBus(address(), requestToBus("GetId"), [](BusMessage&) {}));
    EXPECT_EQ(scheme->preference(), Preference::None);
    startPortal(kDark);
    EXPECT_TRUE(awaitPreference(Preference::Dark));
}

TEST_F(BusColorSchemeTest, APortalThatIsRestartedIsAskedAnew)
{
    startPortal(kDark);
    startScheme();
    ASSERT_TRUE(awaitPreference(Preference::Dark));
    portal.reset();
    startPortal(kLight);
    ASSERT_TRUE(awaitPreference(Preference::Light));
    ASSERT_TRUE(awaitCondition([this] { return changes.size() == 2; }));
    EXPECT_THAT(changes, testing::ElementsAre(Preference::Dark, Preference::Light));
}

TEST_F(BusColorSchemeTest, APortalThatNeverAnswersChangesNothingAndIsHeardLater)
{
    startPortal(kDark, Manner::IsSilent);
    startScheme(std::chrono::milliseconds(50));
    ASSERT_TRUE(awaitQuestions(1));
    EXPECT_EQ(scheme->preference(), Preference::None);
    portal->setManner(Manner::Answers);
    portal->change(kLight);
    ASSERT_TRUE(awaitPreference(Preference::Light));
    // The one that was not answered is not made up for.
    EXPECT_EQ(portal->questions(), 2);
}

TEST_F(BusColorSchemeTest, SilenceTakesNothingBack)
{
    startPortal(kDark);
    startScheme(std::chrono::milliseconds(50));
    ASSERT_TRUE(awaitPreference(Preference::Dark));
    portal->setManner(Manner::Babbles);
    portal->change(kLight);
    ASSERT_TRUE(awaitQuestions(2));
    portal->setManner(Manner::IsSilent);
    portal->change(kLight);
    ASSERT_TRUE(awaitQuestions(3));
    EXPECT_EQ(scheme->preference(), Preference::Dark);
    portal->setManner(Manner::DoesNotKnow);
    portal->change(kLight);
    EXPECT_TRUE(awaitPreference(Preference::None));
}

TEST_F(BusColorSchemeTest, WithoutABusThereIsNoPreference)
{
    const BusColorScheme none{std::string()};
    EXPECT_EQ(none.preference(), Preference::None);
    const BusColorScheme missing{"unix:path=/nonexistent/bus"};
    EXPECT_EQ(missing.preference(), Preference::None);
}

TEST_F(BusColorSchemeTest, WhatWasSaidStaysWhenTheBusIsLost)
{
    startPortal(kDark);
    startScheme();
    ASSERT_TRUE(awaitPreference(Preference::Dark));
    portal.reset();
    const auto another = BusConnection::open(address());
    bool isLost = false;
    const BusNotifier notifier(*another, [&isLost] { isLost = true; });
    kill(buses.sessionProcess(), SIGKILL);
    ASSERT_TRUE(awaitCondition([&isLost] { return isLost; }));
    QCoreApplication::processEvents();
    EXPECT_EQ(scheme->preference(), Preference::Dark);
    EXPECT_EQ(changes.size(), 1U);
}

class PlasmaSchemeTest : public BusColorSchemeTest {
protected:
    PlasmaSchemeTest() { desktop.assign("KDE"); }

    void choose(const QByteArray& window, const QByteArray& text) const
    {
        QFile file(folder.filePath(QStringLiteral("kdeglobals")));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write("[Colors:Window]\nBackgroundNormal=" + window + "\nForegroundNormal=" + text + '\n');
    }
    void chooseDark() const { choose("42,46,50", "252,252,252"); }
    void chooseLight() const { choose("239,240,241", "35,38,41"); }

    QTemporaryDir folder;
    EnvironmentVariable configuration{"XDG_CONFIG_HOME", folder.path().toUtf8()};
};

TEST_F(PlasmaSchemeTest, ItsOwnColorsAreReadAgainWhenItTellsOfNewOnes)
{
    chooseLight();
    startScheme();
    EXPECT_EQ(scheme->preference(), Preference::Light);
    // The bus has taken the scheme's rules when it answers it.
    startPortal(kNone);
    ASSERT_TRUE(awaitQuestions(1));
    chooseDark();
    announcePlasmaColors(address());
    EXPECT_TRUE(awaitPreference(Preference::Dark));
}

TEST_F(PlasmaSchemeTest, ItsOwnColorsCountMoreThanAPortalsOfAnotherDesktop)
{
    chooseLight();
    startPortal(kDark);
    startScheme();
    ASSERT_TRUE(awaitQuestions(1));
    portal->change(kDark);
    ASSERT_TRUE(awaitQuestions(2));
    EXPECT_EQ(scheme->preference(), Preference::Light);
    EXPECT_TRUE(changes.empty());
}

TEST_F(PlasmaSchemeTest, WithoutChosenColorsThePortalCounts)
{
    startPortal(kDark);
    startScheme();
    EXPECT_TRUE(awaitPreference(Preference::Dark));
}

TEST_F(PlasmaSchemeTest, ItsColorsAreNotThoseOfOtherDesktops)
{
    desktop.assign("LXQt");
    chooseDark();
    startScheme();
    EXPECT_EQ(scheme->preference(), Preference::None);
}

} // namespace
} // namespace velmo::test
