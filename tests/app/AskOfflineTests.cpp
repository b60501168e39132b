#include "support/app/AskTest.h"
#include "support/core/EmptyNetwork.h"

namespace velmo {

namespace {

QStringList shell(const QString& script)
{
    return {QStringLiteral("sh"), QStringLiteral("-c"), script};
}

} // namespace

/// Without a network.
class AskOfflineTest : public AskTest {
protected:
    void SetUp() override
    {
        if (!test::EmptyNetwork::isPossible(shell(QStringLiteral("ip link set lo up"))))
            GTEST_SKIP() << "no network can be made for this test";
        AskTest::SetUp();
        environment.insert(QStringLiteral("VELMO"), QStringLiteral(VELMO_EXECUTABLE));
    }

    AskResult run(const QString& baseUrl, const QString& script)
    {
        environment.insert(QStringLiteral("ANTHROPIC_BASE_URL"), baseUrl);
        QProcess process;
        process.setProcessEnvironment(environment);
        process.start(test::EmptyNetwork::kProgram, test::EmptyNetwork::arguments(shell(script)));
        return finish(process);
    }

    /// Half a second is long after the first attempt has found that there is no network.
    const QString waitAndConnect =
        QStringLiteral("ip link set lo up; \"$VELMO\" ask Why? & "
                       "sleep 0.5; echo '[connected]' >&2; "
                       "ip addr add 192.0.2.1/32 dev lo; ip route add default dev lo; wait $!");
};

TEST_F(AskOfflineTest, ARequestWaitsForTheNetworkAndStaysTheSameAttempt)
{
    const AskResult result = run(QStringLiteral("https://192.0.2.1"), waitAndConnect);
    EXPECT_EQ(result.exitCode, 1);
    const QByteArray before =
        result.errors.first(std::max<qsizetype>(result.errors.indexOf("[connected]"), 0));
    EXPECT_TRUE(before.contains("Starting request attempt=1")) << result.errors.constData();
    EXPECT_FALSE(before.contains("Request attempt failed"));
    // Nobody listens there, but there is a way now.
    EXPECT_EQ(result.otherErrors().value(result.otherErrors().size() - 1),
              QStringLiteral("[Error: Could not connect to the server 192.0.2.1.]"));
}

TEST_F(AskOfflineTest, ANameIsNotTakenForUnknownWhereNothingCanBeAsked)
{
    // One second after the start it would have been tried twice.
    const AskResult result =
        run(QStringLiteral("https://api.example.com"),
            QStringLiteral("ip link set lo up; timeout 1.5 \"$VELMO\" ask Why?; exit 0"));
    EXPECT_TRUE(result.errors.contains("Starting request attempt=1")) << result.errors.constData();
    EXPECT_FALSE(result.errors.contains("Request attempt failed"));
}

TEST_F(AskOfflineTest, ThisComputerIsNeverWaitedFor)
{
    const AskResult result = run(QStringLiteral("http://127.0.0.1:9"), QStringLiteral("\"$VELMO\" ask Why?"));
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(result.errors.contains("Request attempt failed attempt=2 retryable=true"))
        << result.errors.constData();
}

} // namespace velmo
