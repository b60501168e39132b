#include "core/async/TaskScope.h"
#include "platform/linux/PackageOwner.h"
#include "support/core/Environment.h"
#include "support/core/EventLoop.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace velmo {

namespace {

class PackageOwner : public testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(programs_.isValid()); }

    /// A package manager that answers so.
    void install(const QString& name, const QByteArray& script)
    {
        QFile file(programs_.filePath(name));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write("#!/bin/sh\n" + script + '\n');
        file.close();
        ASSERT_TRUE(file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
    }

    static QString ownerOf(const QString& executable)
    {
        async::TaskScope scope;
        QString owner = QStringLiteral("nobody has said");
        scope.start(store(executable, &owner));
        EXPECT_TRUE(turnUntil([&scope] { return !scope.isBusy(); }));
        return owner;
    }
    QString ownerAmongThese()
    {
        const EnvironmentVariable path("PATH", QFile::encodeName(programs_.path()));
        return ownerOf(QStringLiteral("/usr/bin/velmo"));
    }

    static async::Task<> store(QString executable, QString* owner)
    {
        *owner = co_await findPackageOwner(executable);
    }

    QTemporaryDir programs_;
};

TEST_F(PackageOwner, IsNobodyForAProgramThatWasBuiltHere)
{
    EXPECT_EQ(ownerOf(QCoreApplication::applicationFilePath()), QString());
}

TEST_F(PackageOwner, IsTheDistributionForAProgramOfIts)
{
    if (!QFile::exists(QStringLiteral("/usr/bin/dpkg-query")))
        GTEST_SKIP() << "this is no distribution with dpkg";
    EXPECT_EQ(ownerOf(QStringLiteral("/usr/bin/dpkg-query")), QStringLiteral("APT"));
}

TEST_F(PackageOwner, IsWhoeverKnowsTheFile)
{
    EXPECT_EQ(ownerAmongThese(), QString());
    install(QStringLiteral("dpkg-query"), "exit 1");
    EXPECT_EQ(ownerAmongThese(), QString());
    install(QStringLiteral("rpm"), R"([ "$1 $2 $3" = "--query --file /usr/bin/velmo" ])");
    EXPECT_EQ(ownerAmongThese(), QStringLiteral("RPM"));
}

TEST_F(PackageOwner, IsNotWaitedForLongerThanTwoSeconds)
{
    install(QStringLiteral("dpkg-query"), "while :; do :; done");
    install(QStringLiteral("rpm"), "exit 0");
    QElapsedTimer time;
    time.start();
    EXPECT_EQ(ownerAmongThese(), QStringLiteral("RPM"));
    EXPECT_GE(time.elapsed(), 1'900);
    EXPECT_LT(time.elapsed(), 6'000);
}

TEST_F(PackageOwner, IsNotWaitedForByTheMainThread)
{
    install(QStringLiteral("dpkg-query"), "while :; do :; done");
    const EnvironmentVariable path("PATH", QFile::encodeName(programs_.path()));
    async::TaskScope scope;
    QString owner;
    scope.start(store(QStringLiteral("/usr/bin/velmo"), &owner));
    QElapsedTimer time;
    time.start();
    settle();
    EXPECT_LT(time.elapsed(), 1'000);
    EXPECT_TRUE(scope.isBusy());
}

} // namespace

} // namespace velmo
