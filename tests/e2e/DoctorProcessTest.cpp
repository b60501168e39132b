#include "support/app/DoctorTest.h"

#include <csignal>

namespace velmo::test {
namespace {

using testing::HasSubstr;

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

TEST_F(DoctorProcess, PeopleGetTheSameInLines)
{
    const Result result = run();
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_THAT(result.output.toStdString(), HasSubstr("ok   Session     X11\n"));
    EXPECT_THAT(result.output.toStdString(), HasSubstr("note Tray        none\n                 -> "));
    EXPECT_TRUE(result.output.endsWith("\n\nVelmo can do its main job here.\n"));
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
