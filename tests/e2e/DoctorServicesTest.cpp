#include "support/app/DoctorTest.h"
#include "support/core/AbsentLibrary.h"
#include "support/keyring/ScriptedKeyring.h"
#include "support/sound/SoundServer.h"
#include "support/tray/TrayHost.h"

#include <QDir>
#include <QFile>
#include <csignal>
#include <libavcodec/version.h>

namespace velmo::test {
namespace {

using testing::HasSubstr;

TEST_F(DoctorProcess, TheMicrophoneIsNamed)
{
    SoundServer sound(SoundServer::Kind::PulseAudio);
    ASSERT_TRUE(sound.isReady() && sound.plugMicrophone());
    environment_.insert(QStringLiteral("PULSE_SERVER"), qEnvironmentVariable("PULSE_SERVER"));
    examine();
    EXPECT_EQ(stateOf("Microphone"), "fine");
    EXPECT_EQ(detailsOf("Microphone")[QStringLiteral("source")].toString(), sound.defaultSource());
    ASSERT_TRUE(sound.unplugMicrophone());
    examine();
    EXPECT_EQ(textOf("Microphone"), "There is no microphone.");
}

TEST_F(DoctorProcess, LibrariesThatRecordingsWouldLackAreNamed)
{
    for (const QString& library :
         {QStringLiteral("libpulse.so.0"),
          QStringLiteral("libavcodec.so.") + QString::number(LIBAVCODEC_VERSION_MAJOR)}) {
        const QTemporaryDir folder;
        makeAbsent(library, folder.path(), environment_);
        examine();
        EXPECT_TRUE(works());
        EXPECT_EQ(stateOf("Microphone"), "limited");
        EXPECT_THAT(textOf("Microphone"), HasSubstr(library.toStdString() + " is missing: install it"));
    }
}

TEST_F(DoctorProcess, ATrayOnTheBusIsFound)
{
    TrayHost host(buses().sessionAddress());
    ASSERT_TRUE(host.start());
    examine();
    EXPECT_EQ(detailsOf("Tray")[QStringLiteral("kind")].toString(), QStringLiteral("statusNotifier"));
}

TEST_F(DoctorProcess, ABusThatHangsHoldsNothingUp)
{
    kill(buses().sessionProcess(), SIGSTOP);
    examine();
    kill(buses().sessionProcess(), SIGCONT);
    EXPECT_TRUE(works()) << "the key is in the environment";
    EXPECT_EQ(textOf("Keyring"), "it does not answer");
    EXPECT_EQ(stateOf("Display"), "fine");
    EXPECT_LT(duration_, kLongest);
}

TEST_F(DoctorProcess, AKeyringThatHasToStartFirstIsWaitedFor)
{
    environment_.remove(QStringLiteral("ANTHROPIC_API_KEY"));
    ScriptedKeyring keyring(buses().sessionAddress().toStdString());
    keyring.addItem(KeyringScript::kMain + "/1", "apiKey.anthropic", kKey.toStdString());
    // As long as one takes to start on a computer that is busy.
    keyring.setManner("SearchItems", {.delay = std::chrono::milliseconds(1500), .calls = 1});
    examine();
    EXPECT_TRUE(works());
    EXPECT_EQ(textOf("Keyring"), "keys can be kept in it");
    EXPECT_EQ(textOf("Keys"), "Anthropic: from the keyring");
}

TEST_F(DoctorProcess, AKeyringThatAlwaysTakesItsTimeHoldsNothingUp)
{
    ScriptedKeyring keyring(buses().sessionAddress().toStdString());
    keyring.setManner("SearchItems", {.delay = std::chrono::milliseconds(2000)});
    examine();
    keyring.stopDelaying();
    EXPECT_TRUE(works()) << "the key is in the environment";
    EXPECT_EQ(textOf("Keyring"), "it does not answer");
    EXPECT_LT(duration_, kLongest);
}

TEST_F(DoctorProcess, WithoutABusThereIsNoKeyring)
{
    environment_.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"),
                        QStringLiteral("unix:path=") + folder_.filePath(QStringLiteral("none")));
    examine();
    EXPECT_TRUE(works());
    EXPECT_EQ(detailsOf("Keyring")[QStringLiteral("availability")].toString(), QStringLiteral("noBus"));
}

TEST_F(DoctorProcess, SettingsThatCannotBeUnderstoodAreSaidAndLeftAlone)
{
    const QByteArray broken = "{\"selectedProvider\": \"ope";
    const QString path = folder_.filePath(QStringLiteral("velmo/settings.json"));
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly) && file.write(broken) == broken.size());
    file.close();
    examine();
    EXPECT_TRUE(works());
    EXPECT_EQ(stateOf("Settings"), "limited");
    EXPECT_THAT(textOf("Settings"), HasSubstr("cannot be understood"));
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(file.readAll(), broken);
    EXPECT_EQ(QDir(folder_.filePath(QStringLiteral("velmo"))).entryList(QDir::Files).size(), 1);
}

TEST_F(DoctorProcess, TheSelectedServiceWithoutAKeyIsInTheWay)
{
    environment_.remove(QStringLiteral("ANTHROPIC_API_KEY"));
    examine();
    EXPECT_FALSE(works());
    EXPECT_EQ(stateOf("Keys"), "broken");
    EXPECT_THAT(valueOf("Keys", "advice"), HasSubstr("velmo key set anthropic"));
}

} // namespace
} // namespace velmo::test
