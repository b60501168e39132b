#include "platform/linux/AacFile.h"
#include "support/core/FileSizeLimit.h"
#include "support/sound/DecodedSound.h"
#include "support/sound/SoundPlayer.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <gmock/gmock.h>
#include <limits>
#include <random>

namespace velmo::test {
namespace {

constexpr int kRate = 44100;
constexpr size_t kFrame = 1024;

class AacFileTest : public testing::Test {
protected:
    [[nodiscard]] QString path() const { return folder_.filePath(QStringLiteral("sound.m4a")); }
    [[nodiscard]] QByteArray name() const { return QFile::encodeName(path()); }
    [[nodiscard]] bool isFolderEmpty() const { return QDir(folder_.path()).isEmpty(); }

    std::unique_ptr<AacFile> create(const AudioRecorderSettings& settings = {})
    {
        auto created = AacFile::create(path(), settings);
        if (created)
            return std::move(created.value());
        failure_ = created.error().description.toStdString();
        return nullptr;
    }
    static std::string errorOf(const AacFile& file)
    {
        return file.error() ? file.error()->description.toStdString() : std::string();
    }
    static std::vector<float> tone(size_t count)
    {
        const auto wave = SoundPlayer::tone(440);
        std::vector<float> samples(count);
        for (size_t index = 0; index < count; ++index)
            samples[index] = static_cast<float>(wave(static_cast<double>(index) / kRate));
        return samples;
    }
    /// Sound that needs all the room it can get.
    static std::vector<float> noise(size_t count)
    {
        std::minstd_rand random(1);
        std::uniform_real_distribution<float> distribution(-0.9F, 0.9F);
        std::vector<float> samples(count);
        for (float& sample : samples)
            sample = distribution(random);
        return samples;
    }

    QTemporaryDir folder_;
    std::string failure_;
};

TEST_F(AacFileTest, KeepsEverySampleAndAddsNone)
{
    for (const size_t count : {size_t{100}, size_t{1024}, size_t{44100}, size_t{44101}}) {
        const auto file = create();
        ASSERT_TRUE(file) << failure_;
        file->append(tone(count));
        file->finish();
        EXPECT_EQ(errorOf(*file), "");
        EXPECT_EQ(DecodedSound::property(path(), "duration_ts"), std::to_string(count));
        // The decoder is one of those that do not cut the last frame.
        const auto frames = (count + kFrame - 1) / kFrame;
        EXPECT_EQ(DecodedSound(path()).sampleCount(), frames * kFrame);
    }
}

TEST_F(AacFileTest, PutsSilenceWhereSoundIsMissing)
{
    const auto file = create();
    file->append(tone(kRate));
    file->appendSilence(kRate);
    file->append(tone(kRate));
    file->finish();
    const DecodedSound sound(path());
    EXPECT_NEAR(sound.duration(), 3, static_cast<double>(kFrame) / kRate);
    EXPECT_GT(sound.level(440, 0.1, 0.9), 0.4);
    EXPECT_LT(sound.level(440, 1.1, 1.9), 0.001);
    EXPECT_GT(sound.level(440, 2.1, 2.9), 0.4);
}

TEST_F(AacFileTest, SurvivesWhatIsNoSound)
{
    const auto file = create();
    auto samples = tone(kRate);
    samples[5000] = std::numeric_limits<float>::quiet_NaN();
    samples[5001] = std::numeric_limits<float>::infinity();
    samples[5002] = -std::numeric_limits<float>::max();
    file->append(samples);
    file->finish();
    EXPECT_EQ(errorOf(*file), "");
    EXPECT_GT(DecodedSound(path()).level(440, 0.2, 0.9), 0.4);
}

TEST_F(AacFileTest, WritesTwoChannels)
{
    AudioRecorderSettings settings;
    settings.channelCount = 2;
    const auto file = create(settings);
    ASSERT_TRUE(file) << failure_;
    file->append(std::vector<float>(size_t{2} * kRate));
    file->finish();
    EXPECT_EQ(errorOf(*file), "");
    EXPECT_EQ(DecodedSound::property(path(), "channels"), "2");
}

TEST_F(AacFileTest, HigherQualityTakesMoreRoom)
{
    EXPECT_EQ(AacFile::bitRate({}), 128'000);
    qint64 last = 0;
    for (const int quality : {0, 32, 64, 96}) {
        AudioRecorderSettings settings;
        settings.quality = quality;
        const auto file = create(settings);
        file->append(noise(2 * kRate));
        file->finish();
        const qint64 size = QFile(path()).size();
        EXPECT_GT(size, last) << quality;
        last = size;
    }
}

TEST_F(AacFileTest, IsRemovedWithItsObject)
{
    auto file = create();
    ASSERT_TRUE(file);
    EXPECT_TRUE(QFile::exists(path()));
    file.reset();
    EXPECT_TRUE(isFolderEmpty());
    file = create();
    file->append(tone(kRate));
    file->finish();
    EXPECT_TRUE(QFile::exists(path()));
    file.reset();
    EXPECT_TRUE(isFolderEmpty());
}

TEST_F(AacFileTest, TakesNoFileThatIsThere)
{
    QFile other(path());
    ASSERT_TRUE(other.open(QIODevice::WriteOnly));
    other.write("precious");
    other.close();
    EXPECT_FALSE(create());
    EXPECT_EQ(failure_, "The recording's file could not be created: File exists.");
    EXPECT_EQ(other.size(), 8);

    ASSERT_TRUE(other.remove());
    ASSERT_TRUE(QFile::link(folder_.filePath(QStringLiteral("elsewhere")), path()));
    EXPECT_FALSE(create());
    EXPECT_FALSE(QFile::exists(folder_.filePath(QStringLiteral("elsewhere"))));
}

TEST_F(AacFileTest, LeavesAFileAloneThatTookItsPlace)
{
    auto file = create();
    ASSERT_TRUE(QFile::remove(path()));
    QFile other(path());
    ASSERT_TRUE(other.open(QIODevice::WriteOnly));
    file->append(tone(kRate));
    file->finish();
    EXPECT_EQ(errorOf(*file), "The recording's file was removed.");
    file.reset();
    EXPECT_TRUE(QFile::exists(path()));
}

TEST_F(AacFileTest, NoticesMidwayThatThereIsNoRoom)
{
    const auto file = create();
    const FileSizeLimit limit(50'000);
    file->append(noise(20 * kRate));
    EXPECT_EQ(errorOf(*file), "The recording could not be written: File too large.");
    file->finish();
    EXPECT_EQ(errorOf(*file), "The recording could not be written: File too large.");
}

TEST_F(AacFileTest, NoticesAtTheVeryEndThatThereIsNoRoom)
{
    qint64 whole = 0;
    {
        const auto file = create();
        file->append(tone(kRate));
        file->finish();
        whole = QFile(path()).size();
    }
    const auto file = create();
    const FileSizeLimit limit(whole - 1);
    file->append(tone(kRate));
    EXPECT_EQ(errorOf(*file), "");
    file->finish();
    EXPECT_EQ(errorOf(*file), "The recording could not be written: File too large.");
}

} // namespace
} // namespace velmo::test
