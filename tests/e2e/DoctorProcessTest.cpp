#include "platform/x11/X11EventTap.h"
#include "support/app/FirstRun.h"
#include "support/keyring/ScriptedKeyring.h"
#include "support/sound/SoundServer.h"
#include "support/tray/TrayHost.h"
#include "support/tray/TrayTestMain.h"
#include "support/x11/Await.h"
#include "support/x11/X11TestMain.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <atomic>
#include <csignal>
#include <gmock/gmock.h>
#include <memory>
#include <mutex>
#include <optional>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace velmo::test {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

const QByteArray kKey = "sk-dummy-key-of-the-doctor-tests";
constexpr std::chrono::milliseconds kLongest{8000};

/// "velmo doctor" in several worlds. What is not named in a test is as the display's and the bus's are.
class DoctorProcess : public testing::Test {
protected:
    struct Result {
        int exitCode = -1;
        QByteArray output;
        QByteArray errors;
        std::chrono::milliseconds duration{0};
    };

    void SetUp() override
    {
        ASSERT_TRUE(display().startWindowManager());
        for (const char* name : {"XDG_CONFIG_HOME", "HOME"})
            environment_.insert(QString::fromLatin1(name), folder_.path());
        completeFirstRun(folder_.path());
        environment_.insert(QStringLiteral("ANTHROPIC_API_KEY"), QString::fromUtf8(kKey));
        for (const char* name : {"ANTHROPIC_BASE_URL", "OPENAI_API_KEY", "OPENAI_BASE_URL",
                                 "REPLICATE_API_TOKEN", "REPLICATE_BASE_URL", "VELMO_KEYRING"})
            environment_.remove(QString::fromLatin1(name));
        // Whoever runs the tests may have a sound server.
        environment_.insert(QStringLiteral("PULSE_SERVER"),
                            QStringLiteral("unix:") + folder_.filePath(QStringLiteral("none")));
    }
    void TearDown() override
    {
        program_.terminate();
        program_.waitForFinished();
        display().stopWindowManager();
    }

    Result run(const QStringList& options = {}) const
    {
        QProcess process;
        process.setProcessEnvironment(environment_);
        const auto begin = std::chrono::steady_clock::now();
        process.start(QStringLiteral(VELMO_EXECUTABLE), QStringList{QStringLiteral("doctor")} + options);
        EXPECT_TRUE(process.waitForFinished());
        EXPECT_EQ(process.exitStatus(), QProcess::NormalExit);
        Result result{
            process.exitCode(), process.readAllStandardOutput(), process.readAllStandardError(),
            std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - begin)};
        EXPECT_FALSE(result.output.contains(kKey)) << "the key was shown";
        EXPECT_FALSE(result.errors.contains(kKey)) << "the key was shown";
        return result;
    }

    void examine()
    {
        const Result result = run({QStringLiteral("--json")});
        report_ = QJsonDocument::fromJson(result.output).object();
        EXPECT_FALSE(report_[QStringLiteral("findings")].toArray().isEmpty()) << result.output.toStdString();
        ASSERT_TRUE(report_[QStringLiteral("works")].isBool());
        EXPECT_EQ(result.exitCode, works() ? 0 : 1);
        for (const char* area :
             {"Velmo", "Session", "Desktop", "Windows", "Compositor", "Display", "Gestures", "Capture",
              "Tray", "Keyring", "Keys", "Microphone", "Portals", "Servers", "Settings", "Log"})
            EXPECT_FALSE(findings(area).empty()) << area << " is missing";
        EXPECT_EQ(result.errors, "");
        duration_ = result.duration;
    }
    [[nodiscard]] bool works() const { return report_[QStringLiteral("works")].toBool(); }

    /// Everything about one area.
    [[nodiscard]] std::vector<QJsonObject> findings(const char* area) const
    {
        std::vector<QJsonObject> found;
        const QJsonArray all = report_[QStringLiteral("findings")].toArray();
        for (const auto& finding : all) {
            if (finding[QStringLiteral("area")].toString() == QString::fromLatin1(area))
                found.push_back(finding.toObject());
        }
        return found;
    }
    /// The first about one area.
    [[nodiscard]] std::string stateOf(const char* area) const { return valueOf(area, "state"); }
    [[nodiscard]] std::string textOf(const char* area) const { return valueOf(area, "text"); }
    [[nodiscard]] std::string valueOf(const char* area, const char* name) const
    {
        const auto found = findings(area);
        return found.empty() ? "" : found.front()[QString::fromLatin1(name)].toString().toStdString();
    }
    [[nodiscard]] QJsonObject detailsOf(const char* area) const
    {
        const auto found = findings(area);
        return found.empty() ? QJsonObject() : found.front()[QStringLiteral("details")].toObject();
    }

    void launchProgram()
    {
        program_.setProcessEnvironment(environment_);
        program_.start(QStringLiteral(VELMO_EXECUTABLE), {QStringLiteral("--background")});
        QByteArray output;
        ASSERT_TRUE(awaitCondition([&] {
            output += program_.readAllStandardOutput();
            return output.contains("[Platform] ready");
        }));
    }

    static void hold(X11EventTap& tap, const TapInterest& interest)
    {
        const auto isStarted = std::make_shared<std::atomic<bool>>(false);
        tap.start(
            interest, [](TapEventType, const TapEvent&) { return TapVerdict::Pass; },
            [isStarted](const EventTap::StartReport& report) { *isStarted = report.started; });
        ASSERT_TRUE(awaitCondition([&] { return isStarted->load(); }));
    }

    QTemporaryDir folder_;
    QProcessEnvironment environment_ = QProcessEnvironment::systemEnvironment();
    QProcess program_;
    QJsonObject report_;
    std::chrono::milliseconds duration_{0};
};

TEST_F(DoctorProcess, OnAnOrdinaryDesktopTheMainJobWorks)
{
    environment_.insert(QStringLiteral("XDG_CURRENT_DESKTOP"), QStringLiteral("XFCE"));
    examine();
    EXPECT_TRUE(works());
    EXPECT_EQ(textOf("Session"), "X11");
    EXPECT_EQ(textOf("Desktop"), "XFCE");
    EXPECT_EQ(textOf("Windows"), "Openbox");
    EXPECT_FALSE(detailsOf("Compositor")[QStringLiteral("running")].toBool(true));
    EXPECT_EQ(detailsOf("Display")[QStringLiteral("width")].toInt(), 1920);
    EXPECT_EQ(detailsOf("Display")[QStringLiteral("height")].toInt(), 1080);
    EXPECT_EQ(detailsOf("Display")[QStringLiteral("scale")].toDouble(), 1);
    EXPECT_EQ(textOf("Gestures"), "all of them can be had");
    EXPECT_TRUE(detailsOf("Gestures")[QStringLiteral("started")].toBool());
    EXPECT_EQ(stateOf("Capture"), "fine");
    EXPECT_EQ(detailsOf("Capture")[QStringLiteral("method")].toString(), QStringLiteral("windows"));
    EXPECT_EQ(detailsOf("Capture")[QStringLiteral("width")].toInt(), 1920);
    EXPECT_EQ(textOf("Tray"), "none");
    EXPECT_EQ(textOf("Keyring"), "none runs");
    EXPECT_EQ(textOf("Keys"), "Anthropic: from the environment (ANTHROPIC_API_KEY)");
    EXPECT_EQ(textOf("Servers"), "Anthropic: api.anthropic.com by https");
    EXPECT_EQ(stateOf("Microphone"), "limited");
    EXPECT_THAT(valueOf("Microphone", "advice"), HasSubstr("Only asking by voice needs it."));
    EXPECT_EQ(textOf("Portals"), "none; not needed on X11");
    EXPECT_FALSE(detailsOf("Portals")[QStringLiteral("present")].toBool(true));
    EXPECT_EQ(textOf("Log"), "/tmp/velmo.log");
}

TEST_F(DoctorProcess, EveryProblemHasAdvice)
{
    environment_.remove(QStringLiteral("ANTHROPIC_API_KEY"));
    environment_.insert(QStringLiteral("OPENAI_BASE_URL"), QStringLiteral("no address"));
    environment_.insert(QStringLiteral("REPLICATE_BASE_URL"), QStringLiteral("http://192.0.2.1"));
    examine();
    const QJsonArray all = report_[QStringLiteral("findings")].toArray();
    QStringList problems;
    for (const auto& finding : all) {
        const bool isFine = finding[QStringLiteral("state")].toString() == QStringLiteral("fine");
        const QString advice = finding[QStringLiteral("advice")].toString();
        EXPECT_EQ(isFine, advice.isEmpty()) << finding[QStringLiteral("text")].toString().toStdString();
        EXPECT_TRUE(isFine || advice.endsWith(u'.')) << advice.toStdString();
        if (!isFine)
            problems.append(finding[QStringLiteral("area")].toString());
    }
    EXPECT_EQ(problems.join(u' '), QStringLiteral("Tray Keyring Keys Microphone Servers Servers"));
}

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

TEST_F(DoctorProcess, PeopleGetTheSameInLines)
{
    const Result result = run();
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_THAT(result.output.toStdString(), HasSubstr("ok   Session     X11\n"));
    EXPECT_THAT(result.output.toStdString(), HasSubstr("note Tray        none\n                 -> "));
    EXPECT_TRUE(result.output.endsWith("\n\nVelmo can do its main job here.\n"));
}

TEST_F(DoctorProcess, WithoutADisplayItSaysSo)
{
    environment_.remove(QStringLiteral("DISPLAY"));
    examine();
    EXPECT_FALSE(works());
    EXPECT_EQ(stateOf("Session"), "broken");
    EXPECT_EQ(textOf("Gestures"), "not looked at: there is no X server");
    EXPECT_EQ(stateOf("Keys"), "fine") << "the rest is told all the same";
}

TEST_F(DoctorProcess, ADisplayThatIsNotThereIsNamed)
{
    environment_.insert(QStringLiteral("DISPLAY"), QStringLiteral(":9876"));
    examine();
    EXPECT_FALSE(works());
    EXPECT_EQ(textOf("Display"), ":9876 cannot be reached");
}

TEST_F(DoctorProcess, ADisplayThatNeverAnswersHoldsNothingUp)
{
    const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    int number = 700;
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const auto takeNext = [&] {
        const std::string path = "/tmp/.X11-unix/X" + std::to_string(++number);
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        return bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    };
    ASSERT_TRUE(awaitCondition(takeNext));
    ASSERT_EQ(listen(listener, 5), 0);
    const QString name = u':' + QString::number(number);
    environment_.insert(QStringLiteral("DISPLAY"), name);
    examine();
    EXPECT_FALSE(works());
    EXPECT_EQ(textOf("Display"), name.toStdString() + " does not answer in time");
    EXPECT_LT(duration_, kLongest);
    close(listener);
    unlink(address.sun_path);
}

TEST_F(DoctorProcess, AToolkitThatHangsHoldsNothingUp)
{
    // It reads this file as soon as it starts, and nobody writes into it.
    const QByteArray pipe = folder_.filePath(QStringLiteral("pipe")).toLocal8Bit();
    ASSERT_EQ(mkfifo(pipe.constData(), S_IRUSR | S_IWUSR), 0);
    environment_.insert(QStringLiteral("QT_LOGGING_CONF"), QString::fromLocal8Bit(pipe));
    examine();
    EXPECT_FALSE(works());
    EXPECT_THAT(textOf("Display"), HasSubstr(" does not answer in time"));
    EXPECT_EQ(textOf("Windows"), "Openbox") << "what was seen is told all the same";
    EXPECT_EQ(stateOf("Capture"), "fine");
    EXPECT_LT(duration_, kLongest);
}

TEST_F(DoctorProcess, AHotkeyThatAnotherProgramHoldsIsNamed)
{
    X11EventTap other;
    hold(other, {});
    examine();
    EXPECT_TRUE(works()) << "there are other ways to begin";
    ASSERT_EQ(findings("Gestures").size(), 1U);
    EXPECT_EQ(stateOf("Gestures"), "limited");
    EXPECT_EQ(textOf("Gestures"), "Ctrl+Alt+Space is held by another program.");
    EXPECT_EQ(detailsOf("Gestures")[QStringLiteral("combination")].toString(),
              QStringLiteral("Ctrl+Alt+Space"));
    EXPECT_EQ(detailsOf("Gestures")[QStringLiteral("refused")][0].toString().toStdString(),
              textOf("Gestures"));
    EXPECT_THAT(valueOf("Gestures", "advice"), HasSubstr("another hotkey"));
    other.stop();
}

TEST_F(DoctorProcess, WhatTheRunningOneWasRefusedIsNamed)
{
    X11EventTap other;
    hold(other, {.hotkeyKeyCode = 0, .middleButton = true});
    launchProgram();
    examine();
    EXPECT_TRUE(works());
    ASSERT_EQ(findings("Gestures").size(), 1U);
    EXPECT_EQ(stateOf("Gestures"), "limited");
    EXPECT_EQ(textOf("Gestures"), "Middle button is held by another program.");
    EXPECT_THAT(valueOf("Gestures", "advice"), HasSubstr("switch the middle button off"));
    other.stop();
}

TEST_F(DoctorProcess, ItLeavesTheGesturesFree)
{
    ASSERT_EQ(run().exitCode, 0);
    X11EventTap next;
    std::optional<EventTap::StartReport> report;
    std::mutex mutex;
    next.start(
        {.quickDrawModifiers = ModifierFlag::Option | ModifierFlag::Command, .middleButton = true},
        [](TapEventType, const TapEvent&) { return TapVerdict::Pass; },
        [&](const EventTap::StartReport& told) {
            const std::lock_guard lock(mutex);
            report = told;
        });
    ASSERT_TRUE(awaitCondition([&] {
        const std::lock_guard lock(mutex);
        return report.has_value();
    }));
    EXPECT_THAT(report->problems, IsEmpty());
    next.stop();
}

TEST_F(DoctorProcess, WhatTheRunningOneHoldsIsNoProblem)
{
    launchProgram();
    examine();
    EXPECT_TRUE(works());
    EXPECT_TRUE(detailsOf("Velmo")[QStringLiteral("running")].toBool());
    EXPECT_THAT(textOf("Velmo"), HasSubstr("process " + std::to_string(program_.processId())));
    EXPECT_EQ(textOf("Gestures"), "held by the Velmo that runs");
}

TEST_F(DoctorProcess, TheKeysOfTheRunningOneCount)
{
    launchProgram();
    environment_.remove(QStringLiteral("ANTHROPIC_API_KEY"));
    examine();
    EXPECT_TRUE(works()) << "the one that runs has a key";
    EXPECT_EQ(detailsOf("Keys")[QStringLiteral("source")].toString(), QStringLiteral("environment"));
    EXPECT_EQ(detailsOf("Environment")[QStringLiteral("variable")].toString(),
              QStringLiteral("ANTHROPIC_API_KEY"));
}

TEST_F(DoctorProcess, OneThatHangsIsNamedInTime)
{
    launchProgram();
    kill(static_cast<pid_t>(program_.processId()), SIGSTOP);
    examine();
    kill(static_cast<pid_t>(program_.processId()), SIGCONT);
    EXPECT_FALSE(works());
    EXPECT_EQ(stateOf("Velmo"), "broken");
    EXPECT_THAT(valueOf("Velmo", "advice"), HasSubstr("kill -9 " + std::to_string(program_.processId())));
    EXPECT_LT(duration_, kLongest);
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

TEST_F(DoctorProcess, AReportThatCannotBeWrittenIsAFailure)
{
    QProcess process;
    process.setProcessEnvironment(environment_);
    process.setStandardOutputFile(QStringLiteral("/dev/full"));
    process.start(QStringLiteral(VELMO_EXECUTABLE), {QStringLiteral("doctor")});
    ASSERT_TRUE(process.waitForFinished());
    EXPECT_EQ(process.exitCode(), 1);
}

} // namespace
} // namespace velmo::test
