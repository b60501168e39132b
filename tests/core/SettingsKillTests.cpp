#include "platform/linux/JsonFileDefaults.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <random>
#include <thread>

namespace velmo {
namespace {

constexpr int kKills = 200;
constexpr int kGuardMilliseconds = 20'000;

/// Programs that change settings, some of which come to a bad end.
class SettingsKillTest : public testing::Test {
protected:
    [[nodiscard]] QString path() const { return folder_.filePath(QStringLiteral("settings.json")); }

    void start(QProcess& writer, const QStringList& arguments) const
    {
        writer.start(QStringLiteral(VELMO_SETTINGS_WRITER), QStringList{path()} + arguments);
        ASSERT_TRUE(writer.waitForStarted(kGuardMilliseconds));
    }

    /// A save makes a new file beside the old one and replaces that; one that was killed has left it.
    [[nodiscard]] bool hasUnfinishedSave() const
    {
        const QStringList made =
            QDir(folder_.path()).entryList({QStringLiteral("settings.json.??????")}, QDir::Files);
        return !made.isEmpty();
    }

    /// The last number that the writer has said.
    [[nodiscard]] static int lastNumber(const QByteArray& output)
    {
        const auto end = output.lastIndexOf('\n');
        return output.first(std::max<qsizetype>(end, 0)).split('\n').constLast().toInt();
    }

    [[nodiscard]] QJsonObject stored() const
    {
        QFile file(path());
        return file.open(QIODevice::ReadOnly) ? QJsonDocument::fromJson(file.readAll()).object()
                                              : QJsonObject();
    }

    /// Everything that was said to be saved is there.
    void expectNothingLost(const QString& name, int number) const
    {
        const QJsonObject values = stored();
        ASSERT_GE(values.value(name).toInt(), number);
        for (int earlier = std::max(1, number - 9); earlier <= number; ++earlier)
            EXPECT_GE(values.value(name + QString::number(earlier % 10)).toInt(), earlier);
        EXPECT_FALSE(QFile::exists(path() + QStringLiteral(".bad")));
    }

private:
    /// In memory where that is possible: a disk that others keep busy makes every save a matter of seconds.
    static QString place()
    {
        const QString memory = QStringLiteral("/dev/shm");
        return (QFileInfo(memory).isWritable() ? memory : QDir::tempPath()) +
               QStringLiteral("/velmo-settings-XXXXXX");
    }

    QTemporaryDir folder_{place()};
};

TEST_F(SettingsKillTest, NothingThatWasSavedIsLostWhenTheProgramIsKilled)
{
    std::minstd_rand random(7);
    std::uniform_int_distribution<int> delay(0, 20'000);
    int insideASave = 0;
    for (int kill = 0; kill < kKills; ++kill) {
        QProcess writer;
        start(writer, {QStringLiteral("a")});
        ASSERT_TRUE(writer.waitForReadyRead(kGuardMilliseconds)) << "a save waits for one that is dead";
        std::this_thread::sleep_for(std::chrono::microseconds(delay(random)));
        writer.kill();
        ASSERT_TRUE(writer.waitForFinished(kGuardMilliseconds));
        ASSERT_NO_FATAL_FAILURE(
            expectNothingLost(QStringLiteral("a"), lastNumber(writer.readAllStandardOutput())));
        insideASave += hasUnfinishedSave() ? 1 : 0;
    }
    EXPECT_GT(insideASave, 0) << "the moment that matters most was never met";
    JsonFileDefaults defaults(path());
    defaults.setObject(QStringLiteral("last"), true);
    defaults.flush();
    EXPECT_FALSE(hasUnfinishedSave()) << "nobody clears up";
}

TEST_F(SettingsKillTest, TwoProgramsLoseNothingOfEachOther)
{
    constexpr int kCount = 2000;
    QProcess first;
    QProcess second;
    start(first, {QStringLiteral("a"), QString::number(kCount)});
    start(second, {QStringLiteral("b"), QString::number(kCount)});
    for (QProcess* writer : {&first, &second}) {
        ASSERT_TRUE(writer->waitForFinished(kGuardMilliseconds));
        EXPECT_EQ(writer->exitCode(), 0);
    }
    expectNothingLost(QStringLiteral("a"), kCount);
    expectNothingLost(QStringLiteral("b"), kCount);
}

TEST_F(SettingsKillTest, OneProgramLosesNothingByTheDeathOfAnother)
{
    constexpr int kCount = 5000;
    QProcess survivor;
    start(survivor, {QStringLiteral("a"), QString::number(kCount)});
    while (survivor.state() == QProcess::Running) {
        QProcess victim;
        start(victim, {QStringLiteral("b")});
        ASSERT_TRUE(victim.waitForReadyRead(kGuardMilliseconds));
        victim.kill();
        ASSERT_TRUE(victim.waitForFinished(kGuardMilliseconds));
        survivor.waitForFinished(0);
    }
    EXPECT_EQ(survivor.exitCode(), 0);
    expectNothingLost(QStringLiteral("a"), kCount);
}

} // namespace
} // namespace velmo
