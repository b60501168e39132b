#include "SoundTest.h"
#include "support/core/LongestTurn.h"

#include <QFile>
#include <gmock/gmock.h>

namespace velmo::test {
namespace {

constexpr auto kNoServer = "There is no sound server.";
constexpr auto kNoAnswer = "The sound server does not answer.";

class SoundServerTroubleTest : public ServerSoundTest {};

INSTANTIATE_TEST_SUITE_P(Servers, SoundServerTroubleTest, kSoundServers, soundServerName);

TEST_F(SoundTest, SaysWhenThereIsNoServerAndNothingElse)
{
    const EnvironmentVariable server("PULSE_SERVER",
                                     "unix:" + QFile::encodeName(path(QStringLiteral("none"))));
    const EnvironmentVariable cookie("PULSE_COOKIE",
                                     QFile::encodeName(folder_.filePath(QStringLiteral("c"))));
    testing::internal::CaptureStderr();
    const auto ready = recorders_->keepReady();
    for (const auto& name : {QStringLiteral("one.m4a"), QStringLiteral("two.m4a")}) {
        const auto take = record(path(name));
        ASSERT_TRUE(turnUntil([&] { return take->startFailures > 0; }));
        EXPECT_EQ(take->startFailureText(), kNoServer);
        ASSERT_TRUE(take->finish());
        EXPECT_EQ(take->errorText(), kNoServer);
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_P(SoundServerTroubleTest, KeepsWhatWasRecordedBeforeTheServerDied)
{
    ASSERT_TRUE(server_.plugMicrophone());
    const auto ready = recorders_->keepReady();
    auto player = std::make_unique<SoundPlayer>(SoundServer::kMicrophoneSink, SoundPlayer::tone(440));
    const auto take = recordUntilSound();
    player->playOn(0.5);
    server_.kill();
    player.reset();
    ASSERT_TRUE(take->finish());
    EXPECT_EQ(take->errorText(), "");
    EXPECT_EQ(take->startFailures, 0);
    const DecodedSound sound(path());
    EXPECT_GT(sound.duration(), 0.3);
    EXPECT_GT(sound.level(440, 0.1, 0.3), 0.3);
}

TEST_P(SoundServerTroubleTest, FindsTheNextServer)
{
    ASSERT_TRUE(server_.plugMicrophone());
    const auto ready = recorders_->keepReady();
    ASSERT_TRUE(recordUntilSound()->finish());
    server_.kill();
    const auto failed = record(path(QStringLiteral("two.m4a")));
    ASSERT_TRUE(turnUntil([&] { return failed->startFailures > 0; }));
    EXPECT_EQ(failed->startFailureText(), kNoServer);

    SoundServer next(GetParam());
    ASSERT_TRUE(next.isReady() && next.plugMicrophone());
    const auto take = recordUntilSound(path(QStringLiteral("three.m4a")));
    ASSERT_TRUE(take->finish());
    EXPECT_EQ(take->errorText(), "");
}

TEST_P(SoundServerTroubleTest, GivesUpOnAServerThatDoesNotAnswerWithoutWaitingForIt)
{
    ASSERT_TRUE(server_.plugMicrophone());
    for (const bool isReady : {false, true}) {
        std::shared_ptr<void> ready;
        if (isReady) {
            ready = recorders_->keepReady();
            ASSERT_TRUE(recordUntilSound(path(QStringLiteral("first.m4a")))->finish());
        }
        server_.halt();
        LongestTurn longest;
        std::unique_ptr<Take> take;
        const auto begin = Clock::now();
        longest.run([&] { take = record(); });
        ASSERT_TRUE(longest.turnUntil([&] { return take->startFailures > 0; }));
        EXPECT_EQ(take->startFailureText(), kNoAnswer);
        EXPECT_GE(Clock::now() - begin, std::chrono::milliseconds(900));
        EXPECT_LT(Clock::now() - begin, std::chrono::seconds(3));
        longest.run([&] { take->stop(); });
        ASSERT_TRUE(longest.turnUntil([&] { return take->ends > 0; }));
        EXPECT_EQ(take->errorText(), kNoAnswer);
        longest.run([&] { take.reset(); });
        EXPECT_LT(longest.milliseconds(), LongestTurn::kGuard);

        server_.resume();
        take = recordUntilSound(path(QStringLiteral("later.m4a")));
        ASSERT_TRUE(take->finish());
        EXPECT_EQ(take->errorText(), "");
        EXPECT_TRUE(turnUntil([this] { return server_.recordingCount() == 0; }));
    }
}

TEST_P(SoundServerTroubleTest, FinishesTheFileThoughTheServerStoppedAnswering)
{
    ASSERT_TRUE(server_.plugMicrophone());
    const auto ready = recorders_->keepReady();
    const auto take = recordUntilSound();
    server_.halt();
    LongestTurn longest;
    const auto begin = Clock::now();
    longest.run([&] { take->stop(); });
    ASSERT_TRUE(longest.turnUntil([&] { return take->ends > 0; }));
    EXPECT_LT(Clock::now() - begin, std::chrono::seconds(1));
    EXPECT_EQ(take->errorText(), "");
    EXPECT_EQ(DecodedSound::property(path(), "codec_name"), "aac");
    longest.run([&] { take->recorder.reset(); });
    EXPECT_LT(longest.milliseconds(), LongestTurn::kGuard);
    server_.resume();
    EXPECT_TRUE(turnUntil([this] { return server_.recordingCount() == 0; }))
        << "the microphone is still open";
}

TEST_P(SoundServerTroubleTest, EndsWithoutAServerThatAnswers)
{
    ASSERT_TRUE(server_.plugMicrophone());
    auto ready = recorders_->keepReady();
    auto take = recordUntilSound();
    server_.halt();
    const auto waiting = record(path(QStringLiteral("two.m4a")));
    LongestTurn longest;
    longest.run([&] {
        take->recorder.reset();
        waiting->recorder.reset();
        ready.reset();
        recorders_.reset();
    });
    EXPECT_LT(longest.milliseconds(), LongestTurn::kGuard);
    EXPECT_TRUE(isFolderEmpty());
}

} // namespace
} // namespace velmo::test
