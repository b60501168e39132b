#include "support/core/ConsoleChild.h"
#include "support/core/LogLines.h"
#include "support/core/Printing.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace velmo {
namespace {

/// The child's log file, in a folder of its own.
class ConsoleTest : public testing::Test {
protected:
    [[nodiscard]] QString logFile() const { return folder_.filePath(QStringLiteral("child.log")); }

    [[nodiscard]] QByteArray written() const
    {
        QFile file(logFile());
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    /// A console line of the log's own, after the one that could not be written.
    static void expectFailureLine(const ConsoleChildResult& result, const char* reason)
    {
        EXPECT_TRUE(result.finished);
        const QList<QByteArray> lines = result.output.split('\n');
        ASSERT_EQ(lines.size(), 3) << result.output.toStdString();
        EXPECT_TRUE(lines[0].endsWith("[Child] hello 0"));
        EXPECT_EQ(lines[1], QByteArray("[DebugLog] Failed to write log file: ") + reason);
        EXPECT_EQ(lines[2], QByteArray());
    }

    static inline const QString kHello = QStringLiteral("hello ");

private:
    QTemporaryDir folder_;
};

TEST_F(ConsoleTest, ShowsTheLinesOfTheFile)
{
    const auto result =
        logInChild(logFile(), QStringLiteral("%1 — é\nsecond line "), 3, ConsoleOutput::Drained);

    EXPECT_TRUE(result.finished);
    EXPECT_EQ(result.output, written());
    EXPECT_EQ(result.output.count("[Child] %1 — é\nsecond line "), 3);
}

TEST_F(ConsoleTest, LinesCanGoToStandardErrorInstead)
{
    const auto result = logToErrorInChild(logFile(), kHello);

    EXPECT_TRUE(result.finished);
    EXPECT_TRUE(result.output.endsWith("[Child] hello 0\n"));
}

TEST_F(ConsoleTest, AFullPipeLosesLinesAndNeverBlocks)
{
    constexpr int kLines = 3000;
    const QString message = QStringLiteral("x").repeated(100);
    const auto result = logInChild(logFile(), message, kLines, ConsoleOutput::FullPipe);

    EXPECT_TRUE(result.finished);
    EXPECT_EQ(written().count('\n'), kLines + 1) << "the file has every line";
    const qsizetype shown = result.output.count('\n');
    EXPECT_GT(shown, 100);
    EXPECT_LT(shown, kLines);
    const QList<QByteArray> lines = result.output.chopped(1).split('\n');
    EXPECT_TRUE(written().startsWith(lines.first(shown - 1).join('\n')))
        << "what is shown is whole and in order";
    EXPECT_TRUE(lines.last().endsWith("[Child] The pipe is empty."))
        << "and it goes on as soon as there is room";
}

TEST_F(ConsoleTest, ALineThatWasCutShortIsNotContinuedByTheNext)
{
    // Longer than a pipe takes in one piece, so that the pipe fills up in the middle of a line.
    const QString message = QStringLiteral("y").repeated(30'000);
    const auto result = logInChild(logFile(), message, 8, ConsoleOutput::FullPipe);

    EXPECT_TRUE(result.finished);
    EXPECT_EQ(written().count('\n'), 9);
    const QList<QByteArray> lines = result.output.chopped(1).split('\n');
    ASSERT_GE(lines.size(), 3);
    EXPECT_TRUE(lines[lines.size() - 2].endsWith('y')) << "a line was cut short";
    EXPECT_TRUE(lines.last().startsWith('['));
    EXPECT_TRUE(lines.last().endsWith("[Child] The pipe is empty."));
}

TEST_F(ConsoleTest, APipeWithoutAReaderDoesNotEndTheProgram)
{
    const auto result = logInChild(logFile(), kHello, 10, ConsoleOutput::ClosedPipe);

    EXPECT_TRUE(result.finished);
    EXPECT_EQ(written().count('\n'), 10);
}

TEST_F(ConsoleTest, AMissingStandardOutputIsTolerated)
{
    const auto result = logInChild(logFile(), kHello, 10, ConsoleOutput::Closed);

    EXPECT_TRUE(result.finished);
    EXPECT_EQ(written().count('\n'), 10);
}

TEST_F(ConsoleTest, ADirectoryInTheLogsPlaceIsTold)
{
    ASSERT_TRUE(QDir().mkdir(logFile()));
    expectFailureLine(logInChild(logFile(), kHello, 1, ConsoleOutput::Drained), "Is a directory");
}

TEST_F(ConsoleTest, ALinkInTheLogsPlaceIsTold)
{
    ASSERT_TRUE(QFile::link(QStringLiteral("/dev/null"), logFile()));
    expectFailureLine(logInChild(logFile(), kHello, 1, ConsoleOutput::Drained),
                      "Too many levels of symbolic links");
}

TEST_F(ConsoleTest, APipeInTheLogsPlaceIsTold)
{
    ASSERT_EQ(mkfifo(QFile::encodeName(logFile()).constData(), 0600), 0);
    expectFailureLine(logInChild(logFile(), kHello, 1, ConsoleOutput::Drained), "No such device or address");
}

TEST_F(ConsoleTest, AMissingFolderIsTold)
{
    expectFailureLine(logInChild(logFile() + QStringLiteral("/child.log"), kHello, 1, ConsoleOutput::Drained),
                      "No such file or directory");
}

TEST_F(ConsoleTest, EveryLineThatCannotBeWrittenIsTold)
{
    ASSERT_TRUE(QDir().mkdir(logFile()));
    const auto result = logInChild(logFile(), kHello, 5, ConsoleOutput::Drained);

    EXPECT_TRUE(result.finished);
    EXPECT_EQ(result.output.count("[DebugLog] Failed to write log file: Is a directory\n"), 5);
    EXPECT_EQ(result.output.count("[Child] hello "), 5);
}

} // namespace
} // namespace velmo
