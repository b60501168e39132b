#include "support/accessibility/ProcessTree.h"

#include "support/x11/Await.h"
#include "support/x11/ChildProcess.h"

#include <csignal>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

namespace velmo::test {
namespace {

/// Asks whether a signal would be sent, and sends none.
constexpr int kNoSignal = 0;

TEST(ProcessTree, SignalsReachNobodyElse)
{
    for (const pid_t process : {-1, 0, 1, -getpid(), getpid(), getppid()})
        EXPECT_FALSE(signalDescendant(process, kNoSignal)) << process;
    EXPECT_FALSE(Halt(std::nullopt).isHalted());
}

TEST(ProcessTree, SignalsReachWhatTheTestStartedAndWhatThatStarted)
{
    ChildProcess shell({"sh", "-c", "sleep 1000 & wait"});
    ASSERT_TRUE(awaitCondition([&] { return descendants(shell.processID()).size() == 1; }));
    const pid_t sleep = descendants(shell.processID()).front();
    EXPECT_TRUE(signalDescendant(shell.processID(), kNoSignal));
    EXPECT_TRUE(signalDescendant(sleep, kNoSignal));
    EXPECT_THAT(descendants(getpid()), testing::IsSupersetOf({shell.processID(), sleep}));
    EXPECT_TRUE(signalDescendant(sleep, SIGKILL));
}

} // namespace
} // namespace velmo::test
