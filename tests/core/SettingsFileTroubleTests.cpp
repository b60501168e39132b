// Settings files that can be neither read nor written.

#include "platform/linux/FileLock.h"
#include "platform/linux/JsonFileDefaults.h"
#include "support/core/EventLoop.h"
#include "support/core/Printing.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <optional>

namespace velmo {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

/// The administrator may read and write everything, so for as long as this lives the administrator is nobody,
/// whom the folders belong to.
class OrdinaryUser {
public:
    explicit OrdinaryUser(const QStringList& folders)
        : before_(geteuid())
    {
        constexpr uid_t kNobody = 65534;
        if (before_ != 0)
            return;
        for (const QString& folder : folders)
            isOrdinary_ &= chown(QFile::encodeName(folder).constData(), kNobody, gid_t(-1)) == 0;
        isOrdinary_ &= seteuid(kNobody) == 0;
    }
    OrdinaryUser(const OrdinaryUser&) = delete;
    OrdinaryUser& operator=(const OrdinaryUser&) = delete;
    ~OrdinaryUser()
    {
        if (geteuid() != before_ && seteuid(before_) != 0)
            ADD_FAILURE() << "the administrator is gone";
    }

    /// False: this place has no other users.
    [[nodiscard]] bool isOrdinary() const { return isOrdinary_; }

private:
    uid_t before_;
    bool isOrdinary_ = true;
};

class SettingsFileTroubleTest : public testing::Test {
protected:
    [[nodiscard]] QString folder() const { return root_.path(); }
    [[nodiscard]] QString path() const { return root_.filePath(QStringLiteral("settings.json")); }
    [[nodiscard]] QByteArray encodedPath() const { return QFile::encodeName(path()); }
    [[nodiscard]] QString aside() const { return path() + QStringLiteral(".bad"); }
    [[nodiscard]] QJsonObject stored() const
    {
        QFile file(path());
        return file.open(QIODevice::ReadOnly) ? QJsonDocument::fromJson(file.readAll()).object()
                                              : QJsonObject();
    }

    static inline const QString kKey = QStringLiteral("key");

private:
    QTemporaryDir root_;
};

TEST_F(SettingsFileTroubleTest, APipeInItsPlaceDoesNotHang)
{
    ASSERT_EQ(mkfifo(encodedPath().constData(), 0600), 0);
    {
        JsonFileDefaults defaults(path());
        EXPECT_THAT(defaults.takeProblems(),
                    ElementsAre(QStringLiteral("Settings file ") + path() +
                                QStringLiteral(
                                    " could not be read (it is not a regular file); using the defaults, the "
                                    "file is kept as ") +
                                aside()));
        defaults.setObject(kKey, 1);
    }
    EXPECT_EQ(stored().value(kKey), QJsonValue(1));
}

TEST_F(SettingsFileTroubleTest, ADirectoryInItsPlaceIsKeptAside)
{
    ASSERT_TRUE(QDir().mkpath(path() + QStringLiteral("/inner")));
    {
        JsonFileDefaults defaults(path());
        EXPECT_THAT(defaults.takeProblems(), SizeIs(1));
        EXPECT_TRUE(QFileInfo(aside() + QStringLiteral("/inner")).isDir());
        defaults.setObject(kKey, 1);
    }
    EXPECT_EQ(stored().value(kKey), QJsonValue(1));
}

TEST_F(SettingsFileTroubleTest, AFileThatMayNotBeReadIsKeptAside)
{
    QFile file(path());
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("{}");
    file.close();
    ASSERT_EQ(chmod(encodedPath().constData(), 0), 0);
    const OrdinaryUser user({folder()});
    if (!user.isOrdinary())
        GTEST_SKIP() << "the administrator may read everything";
    JsonFileDefaults defaults(path());

    EXPECT_THAT(defaults.takeProblems(), SizeIs(1));
    EXPECT_TRUE(QFile::exists(aside()));
}

TEST_F(SettingsFileTroubleTest, AFileThatIsFarTooLargeIsNotRead)
{
    QFile file(path());
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    ASSERT_TRUE(file.resize(qint64(100) * 1024 * 1024));
    file.close();
    JsonFileDefaults defaults(path());
    const QStringList problems = defaults.takeProblems();

    ASSERT_THAT(problems, SizeIs(1));
    EXPECT_TRUE(problems[0].contains(u"(it is too large)"));
    EXPECT_TRUE(QFile::exists(aside()));
}

TEST_F(SettingsFileTroubleTest, AFileInTheFoldersPlaceIsToldForReadingAndForWriting)
{
    QFile blocker(path());
    ASSERT_TRUE(blocker.open(QIODevice::WriteOnly));
    blocker.close();
    const QString below = path() + QStringLiteral("/settings.json");
    JsonFileDefaults defaults(below);
    EXPECT_THAT(defaults.takeProblems(),
                ElementsAre(QStringLiteral("Settings file ") + below +
                            QStringLiteral(" could not be read (Not a directory); using the "
                                           "defaults")));
    QStringList told;
    defaults.setProblemHandler([&told](const QString& problem) { told.append(problem); });
    defaults.setObject(kKey, 1);
    EXPECT_EQ(defaults.object(kKey), QJsonValue(1)) << "for this run the choice counts all the same";

    ASSERT_TRUE(turnUntil([&told] { return !told.isEmpty(); }));
    EXPECT_THAT(told, ElementsAre(QStringLiteral("Settings could not be saved: ") + path() +
                                  QStringLiteral(" cannot be created")));
}

TEST_F(SettingsFileTroubleTest, AFolderThatMayNotBeWrittenIsToldAtOnce)
{
    const QString below = path() + QStringLiteral("/settings.json");
    ASSERT_TRUE(QDir().mkpath(path()));
    ASSERT_EQ(chmod(encodedPath().constData(), 0500), 0);
    const OrdinaryUser user({folder(), path()});
    if (!user.isOrdinary())
        GTEST_SKIP() << "the administrator may write everywhere";
    QStringList told;
    QElapsedTimer time;
    time.start();
    {
        JsonFileDefaults defaults(below);
        defaults.setProblemHandler([&told](const QString& problem) { told.append(problem); });
        defaults.setObject(kKey, 1);
        ASSERT_TRUE(turnUntil([&told] { return !told.isEmpty(); }));
    }
    // A lock that somebody has is waited for as long as this takes, and once more at the end.
    EXPECT_LT(time.elapsed(), 1'800);
    EXPECT_THAT(told, ElementsAre(QStringLiteral("Settings could not be saved: ") + below +
                                  QStringLiteral(" cannot be locked (Permission denied)")));
}

TEST_F(SettingsFileTroubleTest, ALinkInTheLocksPlaceIsToldAtOnce)
{
    const QByteArray link = encodedPath() + ".lock";
    ASSERT_EQ(symlink("elsewhere", link.constData()), 0);
    QStringList told;
    QElapsedTimer time;
    time.start();
    {
        JsonFileDefaults defaults(path());
        defaults.setProblemHandler([&told](const QString& problem) { told.append(problem); });
        defaults.setObject(kKey, 1);
        ASSERT_TRUE(turnUntil([&told] { return !told.isEmpty(); }));
    }
    EXPECT_LT(time.elapsed(), 1'800);
    EXPECT_THAT(told, ElementsAre(QStringLiteral("Settings could not be saved: ") + path() +
                                  QStringLiteral(" cannot be locked (Too many levels of symbolic links)")));
}

TEST_F(SettingsFileTroubleTest, ALockThatSomebodyKeepsIsWaitedForOnceWithEveryChange)
{
    std::optional<FileLock> lock(path() + QStringLiteral(".lock"));
    ASSERT_EQ(lock->tryLock({}), 0);
    QStringList told;
    {
        JsonFileDefaults defaults(path());
        defaults.setProblemHandler([&told](const QString& problem) { told.append(problem); });
        QElapsedTimer time;
        time.start();
        defaults.setObject(kKey, 1);
        ASSERT_TRUE(turnUntil([&told] { return !told.isEmpty(); }));
        EXPECT_GE(time.elapsed(), 2'000);
        EXPECT_THAT(told, ElementsAre(QStringLiteral("Settings could not be saved: ") + path() +
                                      QStringLiteral(" cannot be locked (another program has the lock)")));
        time.start();
        defaults.flush();
        EXPECT_LT(time.elapsed(), 1'800);
        // Something new is worth the whole patience again.
        told.clear();
        time.start();
        defaults.setObject(QStringLiteral("new"), 2);
        ASSERT_TRUE(turnUntil([&told] { return !told.isEmpty(); }));
        EXPECT_GE(time.elapsed(), 2'000);
        lock.reset();
    }
    EXPECT_EQ(stored().value(kKey), QJsonValue(1)) << "it was given back at last";
}

TEST_F(SettingsFileTroubleTest, WhatCouldNotBeSavedGoesWithTheNextWrite)
{
    const QString folder = path();
    QFile blocker(folder);
    ASSERT_TRUE(blocker.open(QIODevice::WriteOnly));
    blocker.close();
    const QString below = folder + QStringLiteral("/settings.json");
    {
        JsonFileDefaults defaults(below);
        defaults.setObject(kKey, 1);
        defaults.flush();
        ASSERT_TRUE(QFile::remove(folder));
        defaults.setObject(QStringLiteral("other"), 2);
    }
    QFile file(below);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(QJsonDocument::fromJson(file.readAll()).object(),
              (QJsonObject{{kKey, 1}, {QStringLiteral("other"), 2}}));
}

/// A limit on the size of files stands in for a disk that fills up in the middle of a write. Lock files are
/// small enough for it.
class FullDisk {
public:
    FullDisk()
        : handler_(std::signal(SIGXFSZ, SIG_IGN))
    {
        constexpr rlim_t kRoom = 2048;
        getrlimit(RLIMIT_FSIZE, &before_);
        const rlimit limit{kRoom, before_.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    FullDisk(const FullDisk&) = delete;
    FullDisk& operator=(const FullDisk&) = delete;
    ~FullDisk()
    {
        setrlimit(RLIMIT_FSIZE, &before_);
        std::signal(SIGXFSZ, handler_);
    }

private:
    rlimit before_{};
    void (*handler_)(int);
};

class FullDiskTest : public SettingsFileTroubleTest, public testing::WithParamInterface<int> {};

TEST_P(FullDiskTest, LeavesTheOldFileWhole)
{
    {
        JsonFileDefaults defaults(path());
        defaults.setObject(kKey, 1);
    }
    const QString large = QStringLiteral("x").repeated(GetParam());
    QStringList told;
    {
        JsonFileDefaults defaults(path());
        defaults.setProblemHandler([&told](const QString& problem) { told.append(problem); });
        {
            const FullDisk full;
            defaults.setObject(QStringLiteral("large"), large);
            defaults.flush();
        }
        settle();
        ASSERT_THAT(told, SizeIs(1));
        EXPECT_EQ(told[0],
                  u"Settings could not be saved: only a part could be written, the disk may be full");
        EXPECT_EQ(stored(), (QJsonObject{{kKey, 1}}));
        EXPECT_FALSE(QFile::exists(aside()));

        defaults.setObject(kKey, 2);
    }
    EXPECT_EQ(stored(), (QJsonObject{{kKey, 2}, {QStringLiteral("large"), large}})) << "there is room again";
}

// The toolkit writes small and large texts by different ways.
INSTANTIATE_TEST_SUITE_P(SmallAndLarge, FullDiskTest, testing::Values(5000, 100'000));

TEST_F(SettingsFileTroubleTest, AFileThatIsDamagedMeanwhileIsKeptAsideBeforeWriting)
{
    JsonFileDefaults defaults(path());
    QStringList told;
    defaults.setProblemHandler([&told](const QString& problem) { told.append(problem); });
    QFile file(path());
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("half a file {");
    file.close();
    defaults.setObject(kKey, 1);
    ASSERT_TRUE(turnUntil([&told] { return !told.isEmpty(); }));

    EXPECT_TRUE(told[0].endsWith(QStringLiteral("the file is kept as ") + aside()));
    EXPECT_EQ(stored().value(kKey), QJsonValue(1));
    QFile kept(aside());
    ASSERT_TRUE(kept.open(QIODevice::ReadOnly));
    EXPECT_EQ(kept.readAll(), QByteArray("half a file {"));
}

TEST_F(SettingsFileTroubleTest, ProblemsBeforeThereIsAHandlerAreKept)
{
    QFile blocker(path());
    ASSERT_TRUE(blocker.open(QIODevice::WriteOnly));
    blocker.close();
    JsonFileDefaults defaults(path() + QStringLiteral("/settings.json"));
    EXPECT_THAT(defaults.takeProblems(), SizeIs(1));
    defaults.setObject(kKey, 1);
    defaults.flush();
    settle();

    EXPECT_THAT(defaults.takeProblems(), SizeIs(1));
    EXPECT_THAT(defaults.takeProblems(), IsEmpty());
}

TEST_F(SettingsFileTroubleTest, WhatCouldNotBeSavedIsTriedOnceMoreAtTheEnd)
{
    QFile blocker(path());
    ASSERT_TRUE(blocker.open(QIODevice::WriteOnly));
    blocker.close();
    const QString below = path() + QStringLiteral("/settings.json");
    {
        JsonFileDefaults defaults(below);
        defaults.setObject(kKey, 1);
        defaults.flush();
        ASSERT_FALSE(QFile::exists(below));
        ASSERT_TRUE(blocker.remove());
    }
    EXPECT_TRUE(QFile::exists(below));
}

TEST_F(SettingsFileTroubleTest, AFileThatWasKeptAsideOnceStays)
{
    for (const QByteArray& content : {QByteArrayLiteral("first"), QByteArrayLiteral("second")}) {
        QFile file(path());
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(content);
        file.close();
        JsonFileDefaults defaults(path());
        EXPECT_THAT(defaults.takeProblems(), SizeIs(1));
    }
    QFile first(aside());
    ASSERT_TRUE(first.open(QIODevice::ReadOnly));
    EXPECT_EQ(first.readAll(), QByteArrayLiteral("first"));
    QFile second(aside() + QStringLiteral(".2"));
    ASSERT_TRUE(second.open(QIODevice::ReadOnly));
    EXPECT_EQ(second.readAll(), QByteArrayLiteral("second"));
}

} // namespace
} // namespace velmo
