#include "SoundTest.h"

#include <array>

namespace velmo::test {
namespace {

/// Handlers that run after their recorder is gone would find nothing any more.
class RecorderDestructionTest : public ServerSoundTest {
protected:
    enum class Moment { AtOnce, AfterAFewTurns, WithSound, WhileStopping, Stopped };
    static constexpr std::array kMoments{Moment::AtOnce, Moment::AfterAFewTurns, Moment::WithSound,
                                         Moment::WhileStopping, Moment::Stopped};

    std::unique_ptr<Take> recordUntil(Moment moment)
    {
        auto take =
            moment == Moment::AtOnce || moment == Moment::AfterAFewTurns ? record() : recordUntilSound();
        if (moment == Moment::AfterAFewTurns)
            settle();
        if (moment == Moment::WhileStopping)
            take->stop();
        if (moment == Moment::Stopped) {
            EXPECT_TRUE(take->finish());
        }
        return take;
    }
};

INSTANTIATE_TEST_SUITE_P(Servers, RecorderDestructionTest, kSoundServers, soundServerName);

TEST_P(RecorderDestructionTest, LeavesNeitherFileNorStreamAtAnyMoment)
{
    ASSERT_TRUE(server_.plugMicrophone());
    const auto ready = recorders_->keepReady();
    for (const Moment moment : kMoments) {
        const auto take = recordUntil(moment);
        const int ends = take->ends;
        take->recorder.reset();
        // What it had still posted comes before this.
        EXPECT_TRUE(turnUntil([this] { return isFolderEmpty() && server_.recordingCount() == 0; }));
        settle();
        EXPECT_EQ(take->ends, ends) << static_cast<int>(moment);
        EXPECT_EQ(take->startFailures, 0) << static_cast<int>(moment);
    }
}

TEST_P(RecorderDestructionTest, LeavesNothingWhenTheProgramEndsAtAnyMoment)
{
    ASSERT_TRUE(server_.plugMicrophone());
    for (const Moment moment : kMoments) {
        const auto take = recordUntil(moment);
        const int ends = take->ends;
        take->recorder.reset();
        recorders_.reset();
        EXPECT_TRUE(isFolderEmpty()) << static_cast<int>(moment);
        settle();
        EXPECT_EQ(take->ends, ends) << static_cast<int>(moment);
        recorders_ = std::make_unique<PulseRecorders>([this](Clock::TimePoint) { ++firstSounds_; });
    }
}

TEST_P(RecorderDestructionTest, MayBeDestroyedByItsOwnHandlers)
{
    Take failed;
    auto made = recorders_->record(path(), {}, [&failed](const PlatformError&) {
        ++failed.startFailures;
        failed.recorder.reset();
    });
    ASSERT_TRUE(made);
    failed.recorder = std::move(made.value());
    EXPECT_TRUE(turnUntil([&] { return failed.startFailures > 0 && isFolderEmpty(); }));

    ASSERT_TRUE(server_.plugMicrophone());
    const auto take = recordUntilSound();
    take->recorder->stop([&take = *take](const std::optional<PlatformError>&) {
        ++take.ends;
        take.recorder.reset();
    });
    EXPECT_TRUE(turnUntil([&] { return take->ends > 0 && isFolderEmpty(); }));
}

} // namespace
} // namespace velmo::test
