#include "SoundTest.h"

#include <QFile>
#include <gmock/gmock.h>
#include <sys/mount.h>

namespace velmo::test {
namespace {

/// A file system of a few pages, where the system lets tests have one.
class TinyDisk {
public:
    explicit TinyDisk(const QString& folder)
        : folder_(QFile::encodeName(folder))
        , isThere_(mount("tmpfs", folder_.constData(), "tmpfs", 0, "size=16k") == 0)
    {}
    TinyDisk(const TinyDisk&) = delete;
    TinyDisk& operator=(const TinyDisk&) = delete;
    ~TinyDisk()
    {
        if (isThere_)
            umount2(folder_.constData(), MNT_DETACH);
    }
    [[nodiscard]] bool isThere() const { return isThere_; }

private:
    const QByteArray folder_;
    const bool isThere_;
};

class RecordingFileTroubleTest : public SoundTest {
protected:
    RecordingFileTroubleTest()
    {
        EXPECT_TRUE(server_.isReady());
        EXPECT_TRUE(server_.plugMicrophone());
    }

    /// What is told of a recording into a file that cannot be made.
    std::string startFailureFor(const QString& file)
    {
        const auto take = record(file);
        EXPECT_TRUE(turnUntil([&] { return take->startFailures > 0; }));
        EXPECT_TRUE(take->finish());
        EXPECT_EQ(take->errorText(), take->startFailureText());
        EXPECT_EQ(take->startFailures, 1);
        EXPECT_TRUE(turnUntil([this] { return server_.recordingCount() == 0; }));
        return take->startFailureText();
    }

    SoundServer server_{SoundServer::Kind::PulseAudio};
};

TEST_F(RecordingFileTroubleTest, SaysWhyTheFileCannotBeMade)
{
    EXPECT_EQ(startFailureFor(path(QStringLiteral("missing/take.m4a"))),
              "The recording's file could not be created: No such file or directory.");
    // Not even the administrator can make one there.
    EXPECT_THAT(startFailureFor(QStringLiteral("/sys/take.m4a")),
                testing::AnyOf("The recording's file could not be created: Permission denied.",
                               "The recording's file could not be created: Operation not permitted.",
                               "The recording's file could not be created: Read-only file system."));
}

TEST_F(RecordingFileTroubleTest, SaysWhenTheDiskIsFull)
{
    const TinyDisk disk(folder_.path());
    if (!disk.isThere())
        GTEST_SKIP() << "the system lets this test have no disk of its own";
    const SoundPlayer player(SoundServer::kMicrophoneSink, SoundPlayer::chirp);
    const auto take = recordUntilSound();
    player.playOn(1.5);
    ASSERT_TRUE(take->finish());
    EXPECT_EQ(take->errorText(), "The recording could not be written: No space left on device.");
    EXPECT_EQ(take->startFailures, 0);
    take->recorder.reset();
    EXPECT_TRUE(turnUntil([this] { return isFolderEmpty(); }));
}

TEST_F(RecordingFileTroubleTest, SaysWhenTheFileIsRemovedMeanwhile)
{
    const auto take = recordUntilSound();
    // The encoder is only being loaded when the first sound comes.
    ASSERT_TRUE(turnUntil([this] { return QFile::exists(path()); }));
    ASSERT_TRUE(QFile::remove(path()));
    ASSERT_TRUE(take->finish());
    EXPECT_EQ(take->errorText(), "The recording's file was removed.");
}

TEST_F(RecordingFileTroubleTest, HasNothingWhenItIsStoppedAtOnce)
{
    const auto take = record();
    ASSERT_TRUE(take->finish());
    EXPECT_EQ(take->errorText(), "Nothing was recorded.");
    EXPECT_EQ(take->startFailures, 0);
}

TEST_F(RecordingFileTroubleTest, RefusesWhatNobodyCouldRecord)
{
    AudioRecorderSettings settings;
    settings.channelCount = 0;
    EXPECT_FALSE(recorders_->record(path(), settings, [](const PlatformError&) {}));
    EXPECT_TRUE(isFolderEmpty());
}

} // namespace
} // namespace velmo::test
