#pragma once

#include "platform/linux/LinuxApplicationInstance.h"
#include "support/x11/Await.h"
#include "support/x11/ChildProcess.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <future>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <vector>

namespace velmo::test {

/// Several starts of the program, in one process, on a display that is only a name.
class InstanceTest : public testing::Test {
protected:
    [[nodiscard]] std::unique_ptr<LinuxApplicationInstance> start() const
    {
        return std::make_unique<LinuxApplicationInstance>(surroundings);
    }

    void serve(LinuxApplicationInstance& instance)
    {
        instance.serve([this](RemoteVerb verb) {
            asked.push_back(verb);
            return reply;
        });
    }

    template <typename T>
    [[nodiscard]] static T turnUntilReady(std::future<T>& future)
    {
        EXPECT_TRUE(awaitCondition(
            [&] { return future.wait_for(std::chrono::seconds(0)) == std::future_status::ready; }));
        return future.get();
    }

    /// What waits does so on a thread of its own, as another process would.
    template <typename Function>
    [[nodiscard]] static auto whileServing(Function function)
    {
        auto outcome = std::async(std::launch::async, std::move(function));
        return turnUntilReady(outcome);
    }

    [[nodiscard]] static std::vector<QString> problemsOf(LinuxApplicationInstance& instance)
    {
        std::vector<QString> problems;
        instance.setProblemHandler([&](const QString& sentence) { problems.push_back(sentence); });
        instance.setProblemHandler({});
        return problems;
    }

    [[nodiscard]] QString privateFolder() const
    {
        return runtime.filePath(QStringLiteral("app.velmo.Velmo"));
    }
    [[nodiscard]] QString temporaryFolder() const
    {
        return temporary.filePath(QStringLiteral("app.velmo.Velmo-") + QString::number(geteuid()));
    }
    [[nodiscard]] static mode_t modeOf(const QString& path)
    {
        struct stat status {};
        EXPECT_EQ(stat(QFile::encodeName(path).constData(), &status), 0);
        return status.st_mode & 07777;
    }

    QTemporaryDir runtime;
    QTemporaryDir temporary;
    LinuxApplicationInstance::Surroundings surroundings{
        .busAddress = {},
        .display = QStringLiteral(":5"),
        .runtimeFolder = runtime.path().toLocal8Bit(),
        .temporaryFolder = temporary.path().toLocal8Bit(),
    };
    RemoteReply reply;
    std::vector<RemoteVerb> asked;
};

} // namespace velmo::test
