#include "platform/linux/LinuxPermissions.h"
#include "platform/linux/PulseMicrophone.h"
#include "support/core/Environment.h"
#include "support/core/EventLoop.h"
#include "support/core/LongestTurn.h"
#include "support/sound/SoundServer.h"

#include <QFile>
#include <QLocalServer>
#include <QLocalSocket>
#include <QTemporaryDir>
#include <gmock/gmock.h>

namespace velmo::test {
namespace {

using Status = MicrophoneStatus;

class MicrophoneStatusTest : public testing::TestWithParam<SoundServer::Kind> {
protected:
    /// While somebody goes on asking.
    [[nodiscard]] bool becomes(Status expected)
    {
        return longest.turnUntil([&] {
            Status status{};
            longest.run([&] { status = microphone->status(); });
            return status == expected;
        });
    }

    std::unique_ptr<PulseMicrophone> microphone = std::make_unique<PulseMicrophone>();
    LongestTurn longest;
};

INSTANTIATE_TEST_SUITE_P(Servers, MicrophoneStatusTest,
                         testing::Values(SoundServer::Kind::PulseAudio, SoundServer::Kind::PipeWire),
                         [](const auto& kind) {
                             return kind.param == SoundServer::Kind::PulseAudio ? "PulseAudio" : "PipeWire";
                         });

TEST_P(MicrophoneStatusTest, KnowsNothingAtFirstAndThenWhatTheServerSays)
{
    SoundServer server(GetParam());
    ASSERT_TRUE(server.isReady() && server.plugMicrophone());
    EXPECT_EQ(microphone->status(), Status::NotDetermined);
    EXPECT_EQ(microphone->finding(), MicrophoneFinding::Unknown);
    EXPECT_TRUE(becomes(Status::Authorized));
    EXPECT_EQ(microphone->finding(), MicrophoneFinding::Found);
}

TEST_P(MicrophoneStatusTest, WhatTheSpeakersPlayIsNoMicrophone)
{
    SoundServer server(GetParam());
    ASSERT_TRUE(server.isReady());
    EXPECT_TRUE(becomes(Status::Restricted));
    EXPECT_EQ(microphone->finding(), MicrophoneFinding::NoMicrophone);
}

TEST_P(MicrophoneStatusTest, HearsOfAMicrophoneThatComesOrGoesWithoutBeingAskedAgain)
{
    SoundServer server(GetParam());
    ASSERT_TRUE(server.isReady());
    ASSERT_TRUE(becomes(Status::Restricted));
    int changes = 0;
    const auto subscription = microphone->observe([&changes] { ++changes; });
    static_cast<void>(microphone->status());
    ASSERT_TRUE(server.plugMicrophone());
    EXPECT_TRUE(turnUntil([&] { return changes == 1; }));
    EXPECT_EQ(microphone->status(), Status::Authorized);
    ASSERT_TRUE(server.unplugMicrophone());
    EXPECT_TRUE(turnUntil([&] { return changes == 2; }));
    EXPECT_EQ(microphone->status(), Status::Restricted);
}

TEST_P(MicrophoneStatusTest, AnswersOnceToEachWhoAsks)
{
    SoundServer server(GetParam());
    ASSERT_TRUE(server.isReady() && server.plugMicrophone());
    std::vector<Status> answers;
    microphone->ask([&answers](Status status) { answers.push_back(status); });
    EXPECT_TRUE(answers.empty());
    EXPECT_TRUE(turnUntil([&] { return !answers.empty(); }));
    microphone->ask([&answers](Status status) { answers.push_back(status); });
    EXPECT_EQ(answers.size(), 1U);
    EXPECT_TRUE(turnUntil([&] { return answers.size() == 2; }));
    EXPECT_THAT(answers, testing::Each(Status::Authorized));
}

TEST_P(MicrophoneStatusTest, LeavesTheServerWhenNobodyAsksAnyMore)
{
    SoundServer server(GetParam());
    ASSERT_TRUE(server.isReady() && server.plugMicrophone());
    EXPECT_EQ(server.clientCount(), 0) << "not before the first question";
    ASSERT_TRUE(becomes(Status::Authorized));
    EXPECT_EQ(server.clientCount(), 1);
    EXPECT_TRUE(turnUntil([&] { return server.clientCount() == 0; }));
    EXPECT_EQ(microphone->status(), Status::Authorized);
    EXPECT_TRUE(turnUntil([&] { return server.clientCount() == 1; })) << "it was asked again";
}

TEST_P(MicrophoneStatusTest, FindsTheServerThatComesAfterOneThatDied)
{
    auto server = std::make_unique<SoundServer>(GetParam());
    ASSERT_TRUE(server->isReady() && server->plugMicrophone());
    ASSERT_TRUE(becomes(Status::Authorized));
    server->kill();
    EXPECT_TRUE(becomes(Status::Restricted));
    EXPECT_EQ(microphone->finding(), MicrophoneFinding::NoServer);
    server.reset();
    SoundServer next(GetParam());
    ASSERT_TRUE(next.isReady() && next.plugMicrophone());
    EXPECT_TRUE(becomes(Status::Authorized));
    EXPECT_LT(longest.milliseconds(), LongestTurn::kGuard);
}

TEST_P(MicrophoneStatusTest, NeverWaitsForAServerThatDoesNotAnswer)
{
    SoundServer server(GetParam());
    ASSERT_TRUE(server.isReady() && server.plugMicrophone());
    ASSERT_TRUE(becomes(Status::Authorized));
    server.halt();
    const auto begin = Clock::now();
    std::optional<Status> answer;
    longest.run([&] { microphone->ask([&answer](Status status) { answer = status; }); });
    EXPECT_EQ(microphone->status(), Status::Authorized) << "that is what was heard last";
    EXPECT_TRUE(longest.turnUntil([&] { return answer.has_value(); }));
    EXPECT_EQ(answer, Status::Restricted);
    EXPECT_EQ(microphone->finding(), MicrophoneFinding::NoServer);
    EXPECT_GE(Clock::now() - begin, std::chrono::milliseconds(1900));
    EXPECT_LT(Clock::now() - begin, std::chrono::seconds(5));
    // The next question has to connect first.
    answer.reset();
    longest.run([&] { microphone->ask([&answer](Status status) { answer = status; }); });
    EXPECT_TRUE(longest.turnUntil([&] { return answer.has_value(); }));
    EXPECT_EQ(answer, Status::Restricted);
    server.resume();
    EXPECT_TRUE(becomes(Status::Authorized));
    server.halt();
    longest.run([&] {
        microphone->ask([](Status) { ADD_FAILURE() << "whoever asked has gone"; });
        microphone.reset();
    });
    settle();
    EXPECT_LT(longest.milliseconds(), LongestTurn::kGuard);
    server.resume();
}

TEST_F(MicrophoneStatusTest, WithoutAServerThereIsNoMicrophone)
{
    const QTemporaryDir folder;
    const EnvironmentVariable server("PULSE_SERVER",
                                     "unix:" + QFile::encodeName(folder.filePath(QStringLiteral("none"))));
    const EnvironmentVariable cookie("PULSE_COOKIE",
                                     QFile::encodeName(folder.filePath(QStringLiteral("cookie"))));
    testing::internal::CaptureStderr();
    EXPECT_TRUE(becomes(Status::Restricted));
    EXPECT_EQ(microphone->finding(), MicrophoneFinding::NoServer);
    std::optional<Status> answer;
    microphone->ask([&answer](Status status) { answer = status; });
    EXPECT_TRUE(turnUntil([&] { return answer.has_value(); }));
    EXPECT_EQ(answer, Status::Restricted);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

/// Says no to whoever connects.
class RefusingServer {
public:
    RefusingServer()
    {
        QObject::connect(&server_, &QLocalServer::newConnection, &server_, [this] {
            QLocalSocket* socket = server_.nextPendingConnection();
            QObject::connect(socket, &QLocalSocket::readyRead, socket, [socket] {
                if (socket->readAll().isEmpty())
                    return;
                // A frame of 15 bytes on the control channel: an error, to the first request, of access.
                socket->write(QByteArray::fromHex("0000000f"
                                                  "ffffffff"
                                                  "0000000000000000"
                                                  "00000000"
                                                  "4c00000000"
                                                  "4c00000000"
                                                  "4c00000001"));
            });
        });
        server_.listen(folder_.filePath(QStringLiteral("native")));
    }
    [[nodiscard]] QByteArray address() const { return "unix:" + QFile::encodeName(server_.fullServerName()); }
    [[nodiscard]] QByteArray cookie() const
    {
        return QFile::encodeName(folder_.filePath(QStringLiteral("cookie")));
    }

private:
    QTemporaryDir folder_;
    QLocalServer server_;
};

TEST_F(MicrophoneStatusTest, AServerThatRefusesUsHasDeniedIt)
{
    const RefusingServer refusing;
    const EnvironmentVariable server("PULSE_SERVER", refusing.address());
    const EnvironmentVariable cookie("PULSE_COOKIE", refusing.cookie());
    EXPECT_TRUE(becomes(Status::Denied));
    EXPECT_EQ(microphone->finding(), MicrophoneFinding::Refused);
}

class FakeDisplayPermissions final : public DisplayPermissions {
public:
    [[nodiscard]] bool accessibilityGranted() override { return true; }
    [[nodiscard]] bool screenRecordingGranted() override { return false; }
    void requestScreenRecording() override { ++requests; }
    int requests = 0;
};

TEST(LinuxPermissionsTest, JoinsTheDisplayAndTheSoundServer)
{
    SoundServer server(SoundServer::Kind::PulseAudio);
    ASSERT_TRUE(server.isReady() && server.plugMicrophone());
    auto display = std::make_unique<FakeDisplayPermissions>();
    FakeDisplayPermissions& fake = *display;
    LinuxPermissions permissions(std::move(display));
    EXPECT_TRUE(permissions.accessibilityGranted());
    EXPECT_FALSE(permissions.screenRecordingGranted());
    permissions.requestScreenRecording();
    EXPECT_EQ(fake.requests, 1);
    bool hasChanged = false;
    const auto subscription = permissions.observeMicrophone([&hasChanged] { hasChanged = true; });
    std::optional<bool> granted;
    permissions.requestMicrophoneAccess([&granted](bool isGranted) { granted = isGranted; });
    EXPECT_TRUE(turnUntil([&] { return granted.has_value() && hasChanged; }));
    EXPECT_EQ(granted, true);
    EXPECT_EQ(permissions.microphoneStatus(), MicrophoneStatus::Authorized);
}

TEST(LinuxPermissionsTest, ExplainsWhatIsTheMatterWithTheMicrophoneWhereNothingCanBeOpened)
{
    const QTemporaryDir folder;
    const EnvironmentVariable path("PATH", QFile::encodeName(folder.path()));
    const EnvironmentVariable cookie("PULSE_COOKIE",
                                     QFile::encodeName(folder.filePath(QStringLiteral("cookie"))));
    LinuxPermissions permissions(std::make_unique<FakeDisplayPermissions>());
    const auto explanationOnceItIs = [&permissions](Status expected) {
        EXPECT_TRUE(turnUntil([&] { return permissions.microphoneStatus() == expected; }));
        return permissions.openSettings(SettingsAnchor::Microphone).explanation();
    };
    {
        const EnvironmentVariable none("PULSE_SERVER",
                                       "unix:" + QFile::encodeName(folder.filePath(QStringLiteral("none"))));
        EXPECT_TRUE(explanationOnceItIs(Status::Restricted).contains(QStringLiteral("PipeWire")));
    }
    const RefusingServer refusing;
    const EnvironmentVariable server("PULSE_SERVER", refusing.address());
    EXPECT_TRUE(explanationOnceItIs(Status::Denied).contains(QStringLiteral("privacy settings")));
}

} // namespace
} // namespace velmo::test
