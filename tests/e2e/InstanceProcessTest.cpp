#include "platform/linux/BusConnection.h"
#include "support/accessibility/BusAccess.h"
#include "support/app/FirstRun.h"
#include "support/tray/TrayTestMain.h"
#include "support/x11/ActiveWindow.h"
#include "support/x11/Await.h"
#include "support/x11/InputDriver.h"
#include "support/x11/X11TestMain.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <csignal>
#include <gmock/gmock.h>
#include <memory>
#include <sys/wait.h>
#include <vector>

namespace velmo::test {
namespace {

using testing::HasSubstr;

/// Starts of the program as processes, on a desktop with a window manager and a session bus.
class InstanceProcess : public testing::Test {
protected:
    struct Result {
        int exitCode = -1;
        std::string output;
        std::string errors;
    };

    void SetUp() override
    {
        ASSERT_TRUE(display().startWindowManager());
        completeFirstRun();
    }
    void TearDown() override
    {
        for (const auto& program : programs_) {
            if (program->state() == QProcess::NotRunning)
                continue;
            program->terminate();
            program->waitForFinished();
        }
        display().stopWindowManager();
    }

    /// One that stays, with its console in a file.
    QProcess& launch(const QStringList& arguments = {})
    {
        programs_.push_back(std::make_unique<QProcess>());
        QProcess& program = *programs_.back();
        program.setProcessEnvironment(environment_);
        program.setStandardOutputFile(console_, QIODevice::Append);
        program.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        program.start(QStringLiteral(VELMO_EXECUTABLE), arguments);
        EXPECT_TRUE(program.waitForStarted());
        return program;
    }

    QProcess& launchAndAwait(const QStringList& arguments = {})
    {
        QProcess& program = launch(arguments);
        EXPECT_TRUE(awaitLines("[Platform] ready"));
        return program;
    }

    /// One that is expected to end soon.
    Result run(const QStringList& arguments) const
    {
        QProcess program;
        program.setProcessEnvironment(environment_);
        program.start(QStringLiteral(VELMO_EXECUTABLE), arguments);
        EXPECT_TRUE(program.waitForFinished());
        return {program.exitCode(), program.readAllStandardOutput().toStdString(),
                program.readAllStandardError().toStdString()};
    }

    [[nodiscard]] qsizetype lines(const char* text) const
    {
        QFile file(console_);
        return file.open(QIODevice::ReadOnly) ? file.readAll().count(text) : 0;
    }
    [[nodiscard]] bool awaitLines(const char* text, qsizetype times = 1) const
    {
        return awaitCondition([&] { return lines(text) >= times; });
    }
    [[nodiscard]] static bool awaitEnd(const QProcess& program)
    {
        return awaitCondition([&] { return program.state() == QProcess::NotRunning; });
    }

    QTemporaryDir folder_;
    QString console_ = folder_.filePath(QStringLiteral("console"));
    QProcessEnvironment environment_ = QProcessEnvironment::systemEnvironment();
    std::vector<std::unique_ptr<QProcess>> programs_;
    std::unique_ptr<X11Connection> eye_ = X11Connection::open();
};

TEST_F(InstanceProcess, TenSimultaneousStartsAreOneProgramThatHearsOfAll)
{
    constexpr int kStarts = 10;
    for (int count = 0; count < kStarts; ++count)
        launch({QStringLiteral("settings")});
    const auto running = [this] {
        return std::ranges::count_if(
            programs_, [](const auto& program) { return program->state() != QProcess::NotRunning; });
    };
    ASSERT_TRUE(awaitCondition([&] { return running() == 1; }));
    EXPECT_TRUE(awaitLines("[Remote] settings", kStarts));
    EXPECT_EQ(running(), 1);
    EXPECT_EQ(lines("[App] Application did finish launching"), 1);
    EXPECT_EQ(lines("[Remote] settings"), kStarts);
    for (const auto& program : programs_) {
        if (program->state() == QProcess::NotRunning) {
            EXPECT_EQ(program->exitCode(), 0);
        }
    }
}

TEST_F(InstanceProcess, ASecondStartOpensTheSettingsOfTheFirst)
{
    launchAndAwait();
    const Result second = run({});
    EXPECT_EQ(second.exitCode, 0);
    EXPECT_EQ(second.output, "");
    EXPECT_EQ(second.errors, "");
    EXPECT_TRUE(awaitLines("[Remote] settings"));
}

TEST_F(InstanceProcess, ASecondStartInTheBackgroundDoesNothing)
{
    launchAndAwait();
    const Result second = run({QStringLiteral("--background")});
    EXPECT_EQ(second.exitCode, 0);
    EXPECT_EQ(second.output, "");
    EXPECT_EQ(second.errors, "");
    EXPECT_EQ(run({QStringLiteral("cancel")}).exitCode, 0);
    ASSERT_TRUE(awaitLines("[Remote] cancel"));
    EXPECT_EQ(lines("[Remote] settings"), 0);
}

TEST_F(InstanceProcess, AnnotateAndCancelAreDoneByTheOneThatRuns)
{
    launchAndAwait();
    EXPECT_EQ(run({QStringLiteral("annotate")}).exitCode, 0);
    ASSERT_TRUE(awaitLines("[Session] Begin annotation session"));
    EXPECT_EQ(run({QStringLiteral("cancel")}).exitCode, 0);
    EXPECT_TRUE(awaitLines("[Session] Session cancelled"));
}

TEST_F(InstanceProcess, AnnotateStartsTheProgramWhereItDoesNotRun)
{
    launch({QStringLiteral("annotate")});
    ASSERT_TRUE(awaitLines("[Session] Begin annotation session"));
    EXPECT_EQ(run({QStringLiteral("cancel")}).exitCode, 0);
    EXPECT_TRUE(awaitLines("[Session] Session cancelled"));
    EXPECT_TRUE(awaitLines("[Platform] ready")) << "and it stays";
}

TEST_F(InstanceProcess, QuitReturnsWhenTheProgramIsGone)
{
    const QProcess& first = launchAndAwait();
    EXPECT_EQ(run({QStringLiteral("annotate")}).exitCode, 0);
    ASSERT_TRUE(awaitLines("[Session] Begin annotation session"));
    const pid_t process = static_cast<pid_t>(first.processId());
    EXPECT_EQ(run({QStringLiteral("quit")}).exitCode, 0);
    ASSERT_TRUE(awaitEnd(first));
    EXPECT_EQ(first.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(first.exitCode(), 0);
    EXPECT_EQ(kill(process, 0), -1);
    EXPECT_EQ(run({QStringLiteral("quit")}).exitCode, 0) << "what is wanted is so already";
}

TEST_F(InstanceProcess, QuitWaitsForAnEndThatHasBegunAlready)
{
    QProcess& first = launchAndAwait();
    EXPECT_EQ(run({QStringLiteral("annotate")}).exitCode, 0);
    ASSERT_TRUE(awaitLines("[Session] Begin annotation session"));
    // The session's end is seen out, so the farewell is under way when the command comes.
    first.terminate();
    ASSERT_TRUE(awaitLines("[Session] Session cancelled and state reset"));
    const Result result = run({QStringLiteral("quit")});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.errors, "");
    siginfo_t end{};
    ASSERT_EQ(waitid(P_PID, static_cast<id_t>(first.processId()), &end, WEXITED | WNOHANG | WNOWAIT), 0);
    EXPECT_EQ(end.si_pid, first.processId()) << "it has ended by then";
    ASSERT_TRUE(awaitEnd(first));
}

TEST_F(InstanceProcess, WhereNothingRunsThereIsNothingToCancel)
{
    const Result result = run({QStringLiteral("cancel")});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.errors, "velmo: Velmo is not running\n");
}

TEST_F(InstanceProcess, CommandsNeedNoDisplay)
{
    launchAndAwait();
    environment_.remove(QStringLiteral("DISPLAY"));
    EXPECT_EQ(run({QStringLiteral("annotate")}).exitCode, 0);
    EXPECT_TRUE(awaitLines("[Session] Begin annotation session"));
    EXPECT_EQ(run({QStringLiteral("quit")}).exitCode, 0);
    EXPECT_TRUE(awaitEnd(*programs_.front()));
    const Result none = run({QStringLiteral("annotate")});
    EXPECT_EQ(none.exitCode, 1);
    EXPECT_THAT(none.errors, HasSubstr("there is no display"));
}

TEST_F(InstanceProcess, OneThatHangsIsNamedAndDoesNotHoldTheNextUp)
{
    const QProcess& first = launchAndAwait();
    const auto process = static_cast<pid_t>(first.processId());
    kill(process, SIGSTOP);
    const std::string expected = "velmo: the Velmo that runs (process " + std::to_string(process) +
                                 ") does not answer; \"kill -9 " + std::to_string(process) + "\" ends it\n";
    for (const QStringList& arguments :
         {QStringList{}, QStringList{QStringLiteral("annotate")}, QStringList{QStringLiteral("quit")}}) {
        const Result result = run(arguments);
        EXPECT_EQ(result.exitCode, 1);
        EXPECT_EQ(result.errors, expected);
    }
    EXPECT_EQ(run({QStringLiteral("--background")}).exitCode, 0) << "one is there";
    kill(process, SIGCONT);
}

TEST_F(InstanceProcess, AKilledOneLeavesThePlaceFree)
{
    QProcess& first = launchAndAwait();
    first.kill();
    ASSERT_TRUE(awaitEnd(first));
    launch();
    EXPECT_TRUE(awaitLines("[Platform] ready", 2));
    EXPECT_EQ(run({QStringLiteral("cancel")}).exitCode, 0);
}

TEST_F(InstanceProcess, TheDesktopReachesItByItsName)
{
    launchAndAwait();
    BusRequest request{"app.velmo.Velmo", "/app/velmo/Velmo", "org.freedesktop.DBus.Introspectable",
                       "Introspect", std::nullopt};
    std::string description;
    ASSERT_TRUE(askBus(buses().sessionAddress().toStdString(), request,
                       [&](BusMessage& answer) { description = answer.readText().value_or(std::string()); }));
    EXPECT_THAT(description, HasSubstr("org.freedesktop.Application"));
    EXPECT_THAT(description, HasSubstr("ActivateAction"));
}

TEST_F(InstanceProcess, DoesWhatTheDesktopAsksForByItsName)
{
    QProcess& program = launchAndAwait({QStringLiteral("--background")});
    QDBusConnection bus = QDBusConnection::connectToBus(QString::fromUtf8(buses().sessionAddress()),
                                                        QStringLiteral("desktop of a test"));
    const auto call = [&bus](const QString& member, const QVariantList& arguments) {
        QDBusMessage message = QDBusMessage::createMethodCall(
            QStringLiteral("app.velmo.Velmo"), QStringLiteral("/app/velmo/Velmo"),
            QStringLiteral("org.freedesktop.Application"), member);
        message.setArguments(arguments);
        return bus.call(message).errorMessage().toStdString();
    };
    const auto perform = [&call](const char* action) {
        return call(QStringLiteral("ActivateAction"),
                    {QString::fromLatin1(action), QVariantList(), QVariantMap()});
    };
    EXPECT_EQ(call(QStringLiteral("Activate"), {QVariantMap()}), "");
    EXPECT_TRUE(awaitActive(*eye_, "Velmo Settings"));
    EXPECT_EQ(perform("annotate"), "");
    EXPECT_TRUE(awaitLines("[Session] Begin annotation session"));
    EXPECT_EQ(perform("cancel"), "");
    EXPECT_TRUE(awaitLines("[Session] Session cancelled and state reset"));
    EXPECT_EQ(perform("settings"), "");
    EXPECT_TRUE(awaitLines("[Remote] settings"));
    EXPECT_EQ(perform("quit"), "");
    EXPECT_TRUE(awaitEnd(program));
    EXPECT_EQ(program.exitCode(), 0);
    QDBusConnection::disconnectFromBus(bus.name());
}

TEST_F(InstanceProcess, ClosingTheSettingsEndsNothing)
{
    const QProcess& program = launchAndAwait({QStringLiteral("settings")});
    ASSERT_TRUE(awaitActive(*eye_, "Velmo Settings"));
    InputDriver input;
    input.chord({"Alt_L", "F4"});
    ASSERT_TRUE(awaitCondition([&] { return activeTitle(*eye_) != "Velmo Settings"; }));
    EXPECT_EQ(run({QStringLiteral("annotate")}).exitCode, 0);
    EXPECT_TRUE(awaitLines("[Session] Begin annotation session"));
    EXPECT_EQ(program.state(), QProcess::Running);
    // The same window again.
    EXPECT_EQ(run({QStringLiteral("cancel")}).exitCode, 0);
    EXPECT_EQ(run({QStringLiteral("settings")}).exitCode, 0);
    EXPECT_TRUE(awaitActive(*eye_, "Velmo Settings"));
}

} // namespace
} // namespace velmo::test
