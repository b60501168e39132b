#include "SoundTest.h"

#include <QFileInfo>
#include <algorithm>
#include <cmath>
#include <gmock/gmock.h>
#include <sys/stat.h>

namespace velmo::test {
namespace {

constexpr auto kNoMicrophone = "There is no microphone to record from.";
constexpr double kVoice = 440;
constexpr double kMusic = 1500;
/// A tone at half of full scale, with room for what the encoder does to it.
constexpr double kHeard = 0.3;
constexpr double kNotHeard = 0.005;

/// What a recording has of what was said while it ran. In seconds.
struct Heard {
    double lostAtStart = 0;
    double lostBetween = 0;
    double lostAtEnd = 0;
    double silence = 0;
    double tooLong = 0;

    [[nodiscard]] double worst() const
    {
        return std::max({lostAtStart, lostBetween, lostAtEnd, std::abs(silence)});
    }
};

class RecordingTest : public ServerSoundTest {
protected:
    void hear(Heard& heard)
    {
        constexpr double kHeld = 2;
        const auto ready = recorders_->keepReady();
        const SoundPlayer player(SoundServer::kMicrophoneSink, SoundPlayer::chirp);
        ASSERT_TRUE(player.isPlaying());

        const double pressed = player.position();
        const auto take = record();
        player.playOn(kHeld - (player.position() - pressed));
        const double released = player.position();
        ASSERT_TRUE(take->finish());
        EXPECT_EQ(take->errorText(), "");
        EXPECT_EQ(take->startFailures, 0);

        const DecodedSound sound(path());
        ASSERT_GE(sound.firstChirp(), 0);
        // Whatever the server's account of time is worth: nothing is missing between, and little is added.
        const double span = sound.lastChirp() - sound.firstChirp();
        heard = {.lostAtStart = sound.firstChirp() - pressed,
                 .lostBetween = released - pressed - span,
                 .lostAtEnd = released - sound.lastChirp(),
                 .silence = sound.duration() - span,
                 .tooLong = sound.duration() - (released - pressed)};
    }
};

INSTANTIATE_TEST_SUITE_P(Servers, RecordingTest, kSoundServers, soundServerName);

TEST_P(RecordingTest, KeepsWhatIsSaidFromThePressToTheRelease)
{
    constexpr double kLoss = 0.060;
    constexpr double kGuard = 0.3;
    constexpr int kTries = 3;
    ASSERT_TRUE(server_.plugMicrophone());
    // A sound server that is kept from running loses sound by itself, and so does the player: one recording
    // that is whole shows that none is lost here.
    Heard heard{.lostAtStart = kLoss + 1};
    for (int tries = 0; tries < kTries && heard.worst() > kLoss; ++tries)
        ASSERT_NO_FATAL_FAILURE(hear(heard));
    RecordProperty("start_loss_ms", std::to_string(heard.lostAtStart * 1000));
    RecordProperty("end_loss_ms", std::to_string(heard.lostAtEnd * 1000));
    EXPECT_LE(heard.lostAtStart, kLoss);
    EXPECT_LE(heard.lostBetween, kLoss);
    EXPECT_LE(heard.lostAtEnd, kLoss);
    EXPECT_NEAR(heard.silence, 0, kLoss);
    EXPECT_LE(heard.tooLong, kGuard);
}

TEST_P(RecordingTest, MakesAFileThatOnlyTheUserCanReadAndOthersUnderstand)
{
    ASSERT_TRUE(server_.plugMicrophone());
    const SoundPlayer player(SoundServer::kMicrophoneSink, SoundPlayer::tone(kVoice));
    const auto take = recordUntilSound();
    player.playOn(0.5);
    ASSERT_TRUE(take->finish());
    ASSERT_EQ(take->errorText(), "");

    struct stat status {};
    ASSERT_EQ(stat(QFile::encodeName(path()).constData(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0600U);
    EXPECT_EQ(DecodedSound::property(path(), "codec_name"), "aac");
    EXPECT_EQ(DecodedSound::property(path(), "profile"), "LC");
    EXPECT_EQ(DecodedSound::property(path(), "sample_rate"), "44100");
    EXPECT_EQ(DecodedSound::property(path(), "channels"), "1");
    EXPECT_TRUE(DecodedSound::property(path(), "format_name").find("m4a") != std::string::npos);
    const DecodedSound sound(path());
    EXPECT_GT(sound.level(kVoice, 0.1, sound.duration() - 0.1), kHeard);
}

TEST_P(RecordingTest, RecordsOnceMore)
{
    ASSERT_TRUE(server_.plugMicrophone());
    const auto ready = recorders_->keepReady();
    for (const auto& name : {QStringLiteral("one.m4a"), QStringLiteral("two.m4a")}) {
        const auto take = recordUntilSound(path(name));
        ASSERT_TRUE(take->finish());
        EXPECT_EQ(take->errorText(), "");
        EXPECT_EQ(DecodedSound::property(path(name), "codec_name"), "aac");
    }
    EXPECT_TRUE(turnUntil([this] { return server_.recordingCount() == 0; }));
    EXPECT_TRUE(turnUntil([this] { return isFolderEmpty(); }));
}

TEST_P(RecordingTest, RecordsTwiceAtATime)
{
    ASSERT_TRUE(server_.plugMicrophone());
    const auto first = recordUntilSound(path(QStringLiteral("one.m4a")));
    const auto second = recordUntilSound(path(QStringLiteral("two.m4a")));
    first->stop();
    ASSERT_TRUE(second->finish());
    ASSERT_TRUE(turnUntil([&] { return first->ends > 0; }));
    EXPECT_EQ(first->errorText(), "");
    EXPECT_EQ(second->errorText(), "");
    EXPECT_GT(DecodedSound(path(QStringLiteral("one.m4a"))).duration(), 0);
    EXPECT_GT(DecodedSound(path(QStringLiteral("two.m4a"))).duration(), 0);
}

TEST_P(RecordingTest, LeavesTheServerAloneWhenNobodyRecords)
{
    ASSERT_TRUE(server_.plugMicrophone());
    const auto take = recordUntilSound();
    EXPECT_EQ(server_.recordingCount(), 1);
    ASSERT_TRUE(take->finish());
    EXPECT_TRUE(turnUntil([this] { return server_.recordingCount() == 0; }));
}

TEST_P(RecordingTest, SaysWhenThereIsNoMicrophone)
{
    ASSERT_TRUE(server_.removeSpeakers());
    const auto take = record();
    ASSERT_TRUE(turnUntil([&] { return take->startFailures > 0; }));
    EXPECT_EQ(take->startFailureText(), kNoMicrophone);
    ASSERT_TRUE(take->finish());
    EXPECT_EQ(take->errorText(), kNoMicrophone);
    EXPECT_EQ(take->startFailures, 1);
}

TEST_P(RecordingTest, NeverTakesTheSpeakersForAMicrophone)
{
    ASSERT_TRUE(turnUntil([this] { return server_.defaultSource().endsWith(QStringLiteral(".monitor")); }));
    const auto take = record();
    ASSERT_TRUE(turnUntil([&] { return take->startFailures > 0; }));
    EXPECT_EQ(take->startFailureText(), kNoMicrophone);
    EXPECT_EQ(firstSounds_, 0);
}

TEST_P(RecordingTest, PrefersAMicrophoneToTheSpeakersThatAreTheDefault)
{
    ASSERT_TRUE(server_.plugMicrophone());
    ASSERT_TRUE(
        server_.makeDefaultSource(QString::fromLatin1(SoundServer::kSpeakers) + QStringLiteral(".monitor")));
    const SoundPlayer music(SoundServer::kSpeakers, SoundPlayer::tone(kMusic));
    const SoundPlayer voice(SoundServer::kMicrophoneSink, SoundPlayer::tone(kVoice));
    const auto take = recordUntilSound();
    voice.playOn(0.5);
    ASSERT_TRUE(take->finish());
    ASSERT_EQ(take->errorText(), "");
    const DecodedSound sound(path());
    EXPECT_GT(sound.level(kVoice, 0.1, sound.duration() - 0.1), kHeard);
    EXPECT_LT(sound.level(kMusic, 0, sound.duration()), kNotHeard);
}

TEST_P(RecordingTest, EndsWithTheMicrophoneThatIsUnplugged)
{
    ASSERT_TRUE(server_.plugMicrophone());
    const auto ready = recorders_->keepReady();
    const SoundPlayer music(SoundServer::kSpeakers, SoundPlayer::tone(kMusic));
    const SoundPlayer voice(SoundServer::kMicrophoneSink, SoundPlayer::tone(kVoice));
    ASSERT_TRUE(music.isPlaying());
    const auto take = recordUntilSound();
    voice.playOn(0.5);
    ASSERT_TRUE(server_.unplugMicrophone());
    const double unplugged = voice.position();
    music.playOn(1);
    EXPECT_EQ(server_.recordingCount(), 0);
    ASSERT_TRUE(take->finish());
    EXPECT_EQ(take->errorText(), "");
    EXPECT_EQ(take->startFailures, 0);

    const DecodedSound sound(path());
    EXPECT_GT(sound.duration(), 0.3);
    EXPECT_LT(sound.duration(), unplugged);
    EXPECT_GT(sound.level(kVoice, 0.1, 0.4), kHeard);
    EXPECT_LT(sound.level(kMusic, 0, sound.duration()), kNotHeard);
}

/// Some servers refuse that, some do it; then the recording ends.
TEST_P(RecordingTest, DoesNotFollowToAnotherDevice)
{
    ASSERT_TRUE(server_.plugMicrophone());
    const SoundPlayer music(SoundServer::kSpeakers, SoundPlayer::tone(kMusic));
    const SoundPlayer voice(SoundServer::kMicrophoneSink, SoundPlayer::tone(kVoice));
    const auto take = recordUntilSound();
    voice.playOn(0.4);
    server_.moveRecordings(QString::fromLatin1(SoundServer::kSpeakers) + QStringLiteral(".monitor"));
    music.playOn(0.6);
    ASSERT_TRUE(take->finish());
    EXPECT_EQ(take->errorText(), "");
    const DecodedSound sound(path());
    EXPECT_GT(sound.level(kVoice, 0.1, 0.3), kHeard);
    EXPECT_LT(sound.level(kMusic, 0, sound.duration()), kNotHeard);
}

} // namespace
} // namespace velmo::test
