#include "practice/Client.h"

#include <QProcess>
#include <QTemporaryDir>
#include <QUrl>

#include <gmock/gmock.h>

#include <csignal>

namespace velmo::practice {

namespace {

class ProgramTest : public testing::TestWithParam<int> {
protected:
    /// Starts the program and returns the port from the line it prints.
    quint16 startProgram(const QStringList& arguments)
    {
        process_.start(QStringLiteral(VELMO_PRACTICE_PROGRAM), arguments);
        QByteArray line;
        while (!line.endsWith('\n') && process_.waitForReadyRead(5000)) {
            line += process_.readAllStandardOutput();
        }
        const QByteArray start("practice service at ");
        EXPECT_TRUE(line.startsWith(start + "http://127.0.0.1:")) << line.toStdString();
        return static_cast<quint16>(QUrl(QString::fromUtf8(line.mid(start.size()).trimmed())).port(0));
    }

    QProcess process_;
};

TEST_P(ProgramTest, ServesUntilASignalEndsIt)
{
    const QTemporaryDir directory;
    const quint16 port =
        startProgram({QStringLiteral("--delay-ms"), QStringLiteral("0"), QStringLiteral("--record"),
                      directory.path(), QStringLiteral("--scenario"), QStringLiteral("pieces")});
    ASSERT_NE(port, 0);
    Client client(port);
    EXPECT_EQ(textsOf(client.exchange(requestOf(Vendor::Messages)).body).first(), QStringLiteral("Hello"));
    EXPECT_TRUE(QFile::exists(directory.filePath(QStringLiteral("001.json"))));

    ASSERT_EQ(kill(static_cast<pid_t>(process_.processId()), GetParam()), 0);
    ASSERT_TRUE(process_.waitForFinished(5000));
    EXPECT_EQ(process_.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(process_.exitCode(), 0);
}

INSTANTIATE_TEST_SUITE_P(Signals, ProgramTest, testing::Values(SIGTERM, SIGINT));

TEST(ProgramUsageTest, RefusesWhatItDoesNotKnow)
{
    for (const QStringList& arguments :
         {QStringList{QStringLiteral("--scenario"), QStringLiteral("nonsense")},
          QStringList{QStringLiteral("--port"), QStringLiteral("many")},
          QStringList{QStringLiteral("--tls-cert"), QStringLiteral("only.pem")}}) {
        QProcess process;
        process.start(QStringLiteral(VELMO_PRACTICE_PROGRAM), arguments);
        ASSERT_TRUE(process.waitForFinished(5000));
        EXPECT_EQ(process.exitCode(), 2);
        EXPECT_TRUE(process.readAllStandardError().startsWith("velmo-practice: "));
    }
}

TEST(ProgramUsageTest, ListsTheScenariosInItsHelp)
{
    QProcess process;
    process.start(QStringLiteral(VELMO_PRACTICE_PROGRAM), {QStringLiteral("--help")});
    ASSERT_TRUE(process.waitForFinished(5000));
    EXPECT_EQ(process.exitCode(), 0);
    const QByteArray help = process.readAllStandardOutput();
    EXPECT_TRUE(help.contains("split-everywhere"));
    EXPECT_TRUE(help.contains("--record"));
}

} // namespace

} // namespace velmo::practice
