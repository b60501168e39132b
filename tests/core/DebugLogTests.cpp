#include "support/core/LogLines.h"
#include "support/core/Printing.h"

#include <QDateTime>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <thread>
#include <vector>

namespace velmo {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class DebugLogTest : public testing::Test {
protected:
    static void say(const QString& message) { DebugLog::log(QStringLiteral("Test"), message); }

    [[nodiscard]] QByteArray encodedPath() const { return QFile::encodeName(log.path()); }

    [[nodiscard]] mode_t permissions() const
    {
        struct stat status {};
        return lstat(encodedPath().constData(), &status) == 0 ? status.st_mode & 07777U : 0;
    }

    LogLines log;
};

TEST_F(DebugLogTest, ALineCarriesTimeCategoryAndMessage)
{
    const QDateTime before = QDateTime::currentDateTimeUtc().addSecs(-1);
    say(QStringLiteral("Session cancelled and state reset"));
    const QString text = log.text();

    static const QRegularExpression form(
        QStringLiteral("^\\[(\\d{4}-\\d{2}-\\d{2}T\\d{2}:\\d{2}:\\d{2}Z)\\] \\[Test\\] "
                       "Session cancelled and state reset\n$"));
    const auto match = form.match(text);
    ASSERT_TRUE(match.hasMatch()) << text.toStdString();
    const QDateTime stamp = QDateTime::fromString(match.captured(1), Qt::ISODate);
    EXPECT_EQ(stamp.timeSpec(), Qt::UTC);
    EXPECT_GE(stamp, before);
    EXPECT_LE(stamp, QDateTime::currentDateTimeUtc());
}

TEST_F(DebugLogTest, TheTimeIsUtcWhateverTheTimeZone)
{
    const QByteArray zone = qgetenv("TZ");
    qputenv("TZ", "Asia/Tokyo");
    tzset();
    say(QStringLiteral("hello"));
    const QString text = log.text();
    zone.isEmpty() ? qunsetenv("TZ") : qputenv("TZ", zone);
    tzset();

    const QDateTime stamp = QDateTime::fromString(text.mid(1, 20), Qt::ISODate);
    EXPECT_LT(qAbs(stamp.secsTo(QDateTime::currentDateTimeUtc())), 60);
}

TEST_F(DebugLogTest, MessagesAreWrittenAsTheyAre)
{
    const QStringList messages{QStringLiteral("%1 %L2 %% %n"),
                               QStringLiteral("first\nsecond\n"),
                               QStringLiteral("שלום \u202Eabc"),
                               QStringLiteral("\U0001F468\u200D\U0001F469 é e\u0301"),
                               QString(),
                               QStringLiteral("Escape pressed — cancelling session")};
    QByteArray expected;
    for (const QString& message : messages) {
        say(message);
        expected += "[Test] " + message.toUtf8() + '\n';
    }
    DebugLog::flush();
    QFile file(log.path());
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    QString text = QString::fromUtf8(file.readAll());
    static const QRegularExpression stamp(
        QStringLiteral("\\[\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\dZ\\] "));

    EXPECT_EQ(text.remove(stamp).toUtf8(), expected);
}

TEST_F(DebugLogTest, ANewFileIsForItsOwnerOnly)
{
    const mode_t mask = umask(0);
    say(QStringLiteral("hello"));
    DebugLog::flush();
    umask(mask);

    EXPECT_EQ(permissions(), 0600U);
}

TEST_F(DebugLogTest, ADeletedFileComesBackWithTheNextLine)
{
    say(QStringLiteral("one"));
    DebugLog::flush();
    ASSERT_TRUE(QFile::remove(log.path()));
    say(QStringLiteral("two"));

    EXPECT_THAT(log.take(), ElementsAre(u"[Test] two"));
    EXPECT_EQ(permissions(), 0600U);
}

TEST_F(DebugLogTest, LinesAreAppendedToWhatIsThere)
{
    QFile file(log.path());
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("[earlier]\n");
    file.close();
    say(QStringLiteral("new"));

    EXPECT_THAT(log.take(), ElementsAre(u"[earlier]", u"[Test] new"));
}

TEST_F(DebugLogTest, NoHandleIsKeptOpen)
{
    say(QStringLiteral("one"));
    DebugLog::flush();
    const QString moved = log.path() + QStringLiteral(".moved");
    ASSERT_TRUE(QFile::rename(log.path(), moved));
    say(QStringLiteral("two"));
    DebugLog::flush();

    QFile file(moved);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_FALSE(file.readAll().contains("two"));
}

TEST_F(DebugLogTest, LinesOfEachThreadStayInOrder)
{
    constexpr int kThreads = 8;
    constexpr int kLines = 100;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([thread] {
            for (int line = 0; line < kLines; ++line)
                DebugLog::log(QString::number(thread), QString::number(line));
        });
    }
    for (std::thread& thread : threads)
        thread.join();

    const QStringList lines = log.take();
    ASSERT_EQ(lines.size(), kThreads * kLines);
    for (int thread = 0; thread < kThreads; ++thread) {
        const QStringList own =
            lines.filter(QRegularExpression(QStringLiteral("^\\[") + QString::number(thread) + u']'));
        ASSERT_EQ(own.size(), kLines);
        for (int line = 0; line < kLines; ++line)
            EXPECT_EQ(own[line],
                      u'[' + QString::number(thread) + QStringLiteral("] ") + QString::number(line));
    }
}

TEST_F(DebugLogTest, ResetEmptiesTheFile)
{
    say(QStringLiteral("one"));
    DebugLog::reset();
    EXPECT_EQ(QFileInfo(log.path()).size(), 0) << "and it waits for that";
    say(QStringLiteral("two"));

    EXPECT_THAT(log.take(), ElementsAre(u"[Test] two"));
}

TEST_F(DebugLogTest, ResetReplacesTheFileRatherThanCuttingIt)
{
    say(QStringLiteral("one"));
    DebugLog::flush();
    QFile reader(log.path());
    ASSERT_TRUE(reader.open(QIODevice::ReadOnly));
    DebugLog::reset();

    EXPECT_TRUE(reader.readAll().endsWith("[Test] one\n")) << "whoever reads the old file keeps it whole";
    EXPECT_EQ(permissions(), 0600U);
    EXPECT_THAT(QDir(QFileInfo(log.path()).path()).entryList(QDir::Files), ElementsAre(u"velmo.log"));
}

TEST_F(DebugLogTest, ResetMakesAMissingFile)
{
    DebugLog::reset();
    EXPECT_TRUE(QFileInfo::exists(log.path()));
}

TEST_F(DebugLogTest, ADirectoryInItsPlaceIsLeftAlone)
{
    ASSERT_TRUE(QDir().mkdir(log.path()));
    say(QStringLiteral("lost"));
    DebugLog::reset();
    EXPECT_TRUE(QFileInfo(log.path()).isDir());
    EXPECT_THAT(QDir(QFileInfo(log.path()).path()).entryList(QDir::Files), IsEmpty());

    ASSERT_TRUE(QDir().rmdir(log.path()));
    say(QStringLiteral("kept"));
    EXPECT_THAT(log.take(), ElementsAre(u"[Test] kept")) << "the log goes on as soon as it can";
}

TEST_F(DebugLogTest, ALinkIsNotFollowed)
{
    const QString victim = log.path() + QStringLiteral(".victim");
    QFile file(victim);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("precious");
    file.close();
    ASSERT_TRUE(QFile::link(victim, log.path()));
    say(QStringLiteral("lost"));
    DebugLog::flush();
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(file.readAll(), QByteArray("precious"));
    file.close();

    DebugLog::reset();
    EXPECT_FALSE(QFileInfo(log.path()).isSymLink()) << "a reset takes the link's place";
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(file.readAll(), QByteArray("precious"));
    say(QStringLiteral("kept"));
    EXPECT_THAT(log.take(), ElementsAre(u"[Test] kept"));
}

TEST_F(DebugLogTest, ADanglingLinkMakesNoFile)
{
    const QString victim = log.path() + QStringLiteral(".victim");
    ASSERT_TRUE(QFile::link(victim, log.path()));
    say(QStringLiteral("lost"));
    DebugLog::flush();

    EXPECT_FALSE(QFileInfo::exists(victim));
}

TEST_F(DebugLogTest, APipeInItsPlaceDoesNotHang)
{
    ASSERT_EQ(mkfifo(encodedPath().constData(), 0600), 0);
    say(QStringLiteral("lost"));
    DebugLog::flush(); // Would never come back if the line waited for a reader.
    ASSERT_TRUE(QFile::remove(log.path()));
    say(QStringLiteral("kept"));

    EXPECT_THAT(log.take(), ElementsAre(u"[Test] kept"));
}

TEST_F(DebugLogTest, AFileOfSomebodyElseIsLeftAlone)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "only the administrator can give a file away";
    QFile file(log.path());
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("theirs");
    file.close();
    ASSERT_EQ(chown(encodedPath().constData(), 65534, 65534), 0);
    say(QStringLiteral("lost"));
    DebugLog::reset();

    EXPECT_EQ(log.text(), u"theirs");
}

TEST_F(DebugLogTest, NamesItsFile)
{
    EXPECT_EQ(DebugLog::logFile(), log.path());
}

} // namespace
} // namespace velmo
