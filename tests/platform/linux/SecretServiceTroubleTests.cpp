#include "platform/NullKeychain.h"
#include "support/core/Environment.h"
#include "support/keyring/KeyringTest.h"

#include <QFile>
#include <QTemporaryDir>
#include <csignal>

namespace velmo::test {

namespace {

using namespace std::chrono_literals;

/// A call that waits takes half a second; on a loaded machine a thread may get its turn much later.
constexpr auto kGuard = 5s;

/// How long the call takes, in time of the world's.
template <typename Function>
std::chrono::steady_clock::duration durationOf(Function function)
{
    const auto start = std::chrono::steady_clock::now();
    function();
    return std::chrono::steady_clock::now() - start;
}

} // namespace

class SecretServiceTroubleTest : public KeyringTest {
protected:
    void startWithKey()
    {
        ASSERT_TRUE(keyring.startUnlocked());
        ASSERT_EQ(keychain->add(kService, kAccount, "value"), Status::Success);
    }
    Status readStatus() { return keychain->read(kService, kAccount).status; }
};

TEST_F(SecretServiceTroubleTest, AFrozenKeyringCostsHalfASecondOnceAndIsLeftAloneForTen)
{
    startWithKey();
    beImpatient();
    keyring.daemon().halt();
    const auto waited = durationOf([this] { EXPECT_EQ(readStatus(), Status::Unavailable); });
    EXPECT_GE(waited, SecretServiceKeychain::kInterface.call);
    EXPECT_LT(waited, kGuard);
    EXPECT_EQ(keychain->availability(), Availability::Timeout);
    EXPECT_EQ(keychain->update(kService, kAccount, "other"), Status::Unavailable);
    EXPECT_EQ(keychain->add(kService, kAccount, "other"), Status::Unavailable);

    kill(keyring.daemon().processID(), SIGCONT);
    now += SecretServiceKeychain::kLeftAlone - 1ms;
    EXPECT_EQ(readStatus(), Status::Unavailable) << "it answers again, but is not asked yet";
    now += 1ms;
    EXPECT_EQ(valueOf(kAccount), "value");
    EXPECT_EQ(keychain->availability(), Availability::Available);
}

TEST_F(SecretServiceTroubleTest, AFrozenKeyringHoldsUpAWriteForHalfASecond)
{
    startWithKey();
    beImpatient();
    keyring.daemon().halt();
    const auto waited =
        durationOf([this] { EXPECT_EQ(keychain->update(kService, kAccount, "other"), Status::Unavailable); });
    EXPECT_LT(waited, kGuard);
    EXPECT_EQ(keychain->add(kService, kAccount, "other"), Status::Unavailable);
}

TEST_F(SecretServiceTroubleTest, AKeyringThatIsStillFrozenIsLeftAloneAgain)
{
    startWithKey();
    beImpatient();
    keyring.daemon().halt();
    EXPECT_EQ(readStatus(), Status::Unavailable);
    now += SecretServiceKeychain::kLeftAlone;
    EXPECT_GE(durationOf([this] { EXPECT_EQ(readStatus(), Status::Unavailable); }),
              SecretServiceKeychain::kInterface.call);
    kill(keyring.daemon().processID(), SIGCONT);
    EXPECT_EQ(readStatus(), Status::Unavailable);
}

TEST_F(SecretServiceTroubleTest, AFrozenBusCostsHalfASecond)
{
    startWithKey();
    beImpatient();
    kill(keyring.buses().sessionProcess(), SIGSTOP);
    const auto waited = durationOf([this] { EXPECT_EQ(readStatus(), Status::Unavailable); });
    EXPECT_GE(waited, SecretServiceKeychain::kInterface.call);
    EXPECT_LT(waited, kGuard);
    EXPECT_EQ(keychain->availability(), Availability::Timeout);
    kill(keyring.buses().sessionProcess(), SIGCONT);
    now += SecretServiceKeychain::kLeftAlone;
    EXPECT_EQ(valueOf(kAccount), "value");
}

TEST_F(SecretServiceTroubleTest, AKeyringThatEndedIsNoneUntilItIsBack)
{
    startWithKey();
    keyring.daemon().stop();
    EXPECT_EQ(readStatus(), Status::Unavailable);
    EXPECT_EQ(keychain->availability(), Availability::NoService);
    ASSERT_TRUE(keyring.startUnlocked());
    EXPECT_EQ(valueOf(kAccount), "value");
}

TEST_F(SecretServiceTroubleTest, WithoutAKeyringNothingIsReadOrKept)
{
    EXPECT_EQ(readStatus(), Status::Unavailable);
    EXPECT_EQ(keychain->update(kService, kAccount, "value"), Status::Unavailable);
    EXPECT_EQ(keychain->add(kService, kAccount, "value"), Status::Unavailable);
    EXPECT_EQ(keychain->availability(), Availability::NoService);
}

TEST_F(SecretServiceTroubleTest, AKeyringThatTheBusCanStartIsStarted)
{
    QByteArray command = "/usr/bin/env";
    for (const QString& variable : keyring.environment().toStringList())
        command += ' ' + variable.toUtf8();
    ASSERT_TRUE(keyring.buses().offer("org.freedesktop.secrets",
                                      command + " gnome-keyring-daemon --foreground --components=secrets"));
    // Starting may take longer than a call; the second one comes when it is done.
    const bool isThere = awaitCondition([this] {
        now += SecretServiceKeychain::kLeftAlone;
        return readStatus() == Status::ItemNotFound;
    });
    EXPECT_TRUE(isThere);
    EXPECT_EQ(keychain->availability(), Availability::Available);
}

TEST_F(SecretServiceTroubleTest, AKeyringThatNeverFinishesToStartCostsHalfASecond)
{
    beImpatient();
    ASSERT_TRUE(keyring.buses().offer("org.freedesktop.secrets", "/bin/sleep 20"));
    const auto waited = durationOf([this] { EXPECT_EQ(readStatus(), Status::Unavailable); });
    EXPECT_GE(waited, SecretServiceKeychain::kInterface.call);
    EXPECT_LT(waited, kGuard);
    EXPECT_EQ(keychain->availability(), Availability::Timeout);
}

TEST_F(SecretServiceTroubleTest, AKeyringThatCannotBeStartedIsNone)
{
    ASSERT_TRUE(keyring.buses().offer("org.freedesktop.secrets", "/nonexistent/keyring"));
    EXPECT_EQ(readStatus(), Status::Unavailable);
    ASSERT_TRUE(keyring.buses().offer("org.freedesktop.secrets", "/bin/false"));
    EXPECT_EQ(readStatus(), Status::Unavailable);
    EXPECT_EQ(keychain->availability(), Availability::NoService);
}

TEST_F(SecretServiceTroubleTest, ABusThatIsNotThereIsNone)
{
    for (const char* address : {"unix:path=/nonexistent/bus", "", "disabled:", "tcp:host=127.0.0.1,port=1"}) {
        SecretServiceKeychain lonely(address);
        EXPECT_EQ(lonely.read(kService, kAccount).status, Status::Unavailable);
        EXPECT_EQ(lonely.update(kService, kAccount, "value"), Status::Unavailable);
        EXPECT_EQ(lonely.add(kService, kAccount, "value"), Status::Unavailable);
        EXPECT_EQ(lonely.availability(), Availability::NoBus) << address;
    }
}

TEST_F(SecretServiceTroubleTest, OnlyTheSocketsInAnAddressAreGoneTo)
{
    startWithKey();
    const QTemporaryDir folder;
    const std::string trace = folder.filePath(QStringLiteral("trace")).toStdString();
    const std::string program = "unixexec:path=/usr/bin/touch,argv1=" + trace;
    const std::string bus = keyring.busAddress();
    for (const std::string& address :
         {"unix:path=/nonexistent/bus;" + program + ';' + bus, program + ';' + bus, bus + ';' + program}) {
        SecretServiceKeychain careful(address);
        EXPECT_EQ(careful.read(kService, kAccount).data, "value") << address;
    }
    SecretServiceKeychain lonely("unix:path=/nonexistent/bus;" + program);
    EXPECT_EQ(lonely.availability(), Availability::NoBus);
    EXPECT_FALSE(QFile::exists(QString::fromStdString(trace))) << "an address started a program";
}

TEST(BusAddressTest, OnlySocketsOfThisComputerAreLeft)
{
    const auto local = [](const char* address) { return BusConnection::localAddress(address); };
    EXPECT_EQ(local("unix:path=/a"), "unix:path=/a");
    EXPECT_EQ(local("unix:abstract=/a,guid=1"), "unix:abstract=/a,guid=1");
    EXPECT_EQ(local("unixexec:path=/bin/sh;unix:path=/a;tcp:host=h;;unix:path=/b"),
              "unix:path=/a;unix:path=/b");
    for (const char* address :
         {"", ";", "unix:", "unix:tmpdir=/tmp", "tcp:host=h", "disabled:", "launchd:env=X"})
        EXPECT_EQ(local(address), "") << address;
}

TEST(BusAddressTest, TheFolderOfTheSessionIsWrittenAsAddressesAre)
{
    const EnvironmentVariable address("DBUS_SESSION_BUS_ADDRESS");
    const EnvironmentVariable folder("XDG_RUNTIME_DIR", "/run/user/1");
    EXPECT_EQ(BusConnection::sessionAddress(), "unix:path=/run/user/1/bus");
    folder.assign("/a;b,c=%\xC3\xA4");
    EXPECT_EQ(BusConnection::sessionAddress(), "unix:path=/a%3bb%2cc%3d%25%c3%a4/bus");
}

TEST_F(SecretServiceTroubleTest, TheEnvironmentSaysWhereTheKeyringIs)
{
    startWithKey();
    const EnvironmentVariable address("DBUS_SESSION_BUS_ADDRESS", keyring.buses().sessionAddress());
    EXPECT_EQ(SecretServiceKeychain::create()->read(kService, kAccount).data, "value");

    const EnvironmentVariable folder("XDG_RUNTIME_DIR");
    address.assign(std::nullopt);
    const auto none = SecretServiceKeychain::create();
    EXPECT_NE(dynamic_cast<NullKeychain*>(none.get()), nullptr);
    EXPECT_EQ(none->availability(), Availability::NoBus);
}

TEST_F(SecretServiceTroubleTest, EachAbsenceHasItsSentence)
{
    QStringList sentences;
    for (const auto availability :
         {Availability::Available, Availability::Locked, Availability::NoService, Availability::Timeout,
          Availability::Refused, Availability::NoBus, Availability::Off})
        sentences.append(description(availability));
    EXPECT_FALSE(sentences.contains(QString()));
    EXPECT_EQ(sentences.removeDuplicates(), 0);
}

} // namespace velmo::test
