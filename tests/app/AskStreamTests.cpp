#include "support/app/AskTest.h"

#include <array>
#include <fcntl.h>
#include <unistd.h>

namespace velmo {

namespace {

using namespace std::chrono_literals;
using practice::ScenarioKind;

const QString kQuestion = QStringLiteral("What is this?");

} // namespace

/// How the answer reaches whoever reads it.
using AskStreamTest = AskTest;

TEST_F(AskStreamTest, EachPieceIsPrintedAsItArrives)
{
    server.setScenario({.kind = ScenarioKind::Pieces, .pieceDelay = 200ms});
    QProcess process;
    prepare(process, {kQuestion});
    process.start();
    ASSERT_TRUE(process.waitForReadyRead(kPatienceMilliseconds));
    const QByteArray first = process.readAllStandardOutput();
    EXPECT_EQ(first, "Hello");
    EXPECT_EQ(process.state(), QProcess::Running);
    const AskResult result = finish(process);
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(first + result.output, allPieces());
}

TEST_F(AskStreamTest, WhatCameBeforeAFailureStaysPrinted)
{
    server.setScenario({.kind = ScenarioKind::DropInBody});
    const AskResult result = ask({kQuestion});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.output, practice::PracticeServer::defaultPieces().first(3).join(QString()).toUtf8());
    EXPECT_EQ(result.otherErrors(), QStringList{QStringLiteral("[Error: The network connection was lost.]")});
    EXPECT_EQ(result.logLines().last(),
              QStringLiteral("[Anthropic] Streaming failed error=The network connection was lost."));
}

TEST_F(AskStreamTest, AReaderThatLeavesEndsIt)
{
    server.setScenario({.kind = ScenarioKind::SlowDrip, .dripDelay = 50ms, .dripPieces = 1000});
    std::array<int, 2> pipe{};
    ASSERT_EQ(pipe2(pipe.data(), O_CLOEXEC), 0);
    QProcess process;
    prepare(process, {kQuestion});
    process.setChildProcessModifier([&pipe] { dup2(pipe[1], STDOUT_FILENO); });
    process.start();
    ASSERT_TRUE(process.waitForStarted());
    close(pipe[1]);
    std::array<char, 5> bytes{};
    ASSERT_EQ(read(pipe[0], bytes.data(), bytes.size()), 5);
    close(pipe[0]);
    const AskResult result = finish(process);
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.otherErrors(),
              QStringList{QStringLiteral("velmo: could not write to standard output: Broken pipe")});
}

TEST_F(AskStreamTest, AStandardOutputThatWasClosedIsAFailureAndNoOtherFileGetsTheAnswer)
{
    QProcess process;
    prepare(process, {kQuestion});
    process.setChildProcessModifier([] { close(STDOUT_FILENO); });
    process.start();
    const AskResult result = finish(process);
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(result.otherErrors().value(0).startsWith(
        QStringLiteral("velmo: could not write to standard output: ")))
        << result.errors.constData();
    EXPECT_FALSE(result.errors.contains("Hello"));
    EXPECT_EQ(server.requests().size(), 1) << "the request went out whole";
}

TEST_F(AskStreamTest, AFullDiskIsAFailure)
{
    QProcess process;
    prepare(process, {kQuestion});
    process.setStandardOutputFile(QStringLiteral("/dev/full"));
    process.start();
    const AskResult result = finish(process);
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(
        result.otherErrors(),
        QStringList{QStringLiteral("velmo: could not write to standard output: No space left on device")});
}

TEST_F(AskStreamTest, AReaderThatIsSlowLosesNothingAlsoOnANonBlockingPipe)
{
    constexpr qint64 kAnswerBytes = qint64(1024) * 1024;
    server.setScenario({.kind = ScenarioKind::HugeStream, .hugeBytes = kAnswerBytes});
    std::array<int, 2> pipe{};
    ASSERT_EQ(pipe2(pipe.data(), O_CLOEXEC), 0);
    ASSERT_EQ(fcntl(pipe[1], F_SETFL, O_NONBLOCK), 0);
    QProcess process;
    prepare(process, {kQuestion});
    process.setChildProcessModifier([&pipe] { dup2(pipe[1], STDOUT_FILENO); });
    process.start();
    ASSERT_TRUE(process.waitForStarted());
    close(pipe[1]);
    // The whole answer is under way before the first byte is read; the pipe holds only a small part of it.
    ASSERT_TRUE(server.waitForRequests(1, 10s));
    QByteArray answer;
    std::array<char, 4096> buffer{};
    for (ssize_t count = 0; (count = read(pipe[0], buffer.data(), buffer.size())) > 0;)
        answer.append(buffer.data(), count);
    close(pipe[0]);
    EXPECT_EQ(finish(process).exitCode, 0);
    EXPECT_EQ(answer.size(), kAnswerBytes);
}

TEST_F(AskStreamTest, StandardErrorThatNobodyReadsHoldsNothingUp)
{
    QProcess process;
    prepare(process, {kQuestion});
    process.setChildProcessModifier([] { close(STDERR_FILENO); });
    process.start();
    const AskResult result = finish(process);
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.output, allPieces());
}

TEST_F(AskStreamTest, HelpAndVersionGoToStandardOutput)
{
    for (const char* option : {"--help", "--version"}) {
        QProcess process;
        prepare(process, {});
        process.setArguments({QString::fromLatin1(option)});
        process.start();
        const AskResult result = finish(process);
        EXPECT_EQ(result.exitCode, 0);
        EXPECT_TRUE(result.output.contains(option == QByteArray("--help") ? "velmo ask" : "velmo 0."));
        EXPECT_EQ(result.errors, "");

        QProcess unheard;
        prepare(unheard, {});
        unheard.setArguments({QString::fromLatin1(option)});
        unheard.setStandardOutputFile(QStringLiteral("/dev/full"));
        unheard.start();
        EXPECT_EQ(finish(unheard).exitCode, 1) << "nobody was told";
    }
}

} // namespace velmo
