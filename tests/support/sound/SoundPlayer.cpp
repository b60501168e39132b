#include "support/sound/SoundPlayer.h"

#include "support/x11/Await.h"

#include <array>
#include <cmath>
#include <memory>
#include <numbers>
#include <pulse/simple.h>

namespace velmo::test {
namespace {

constexpr int kRate = 44100;
constexpr size_t kPiece = 441;

struct FreePlayer {
    void operator()(pa_simple* player) const { pa_simple_free(player); }
};

} // namespace

double SoundPlayer::chirp(double time)
{
    return 0.5 * std::sin(2 * std::numbers::pi * (kChirpStart * time + kChirpRise / 2 * time * time));
}

SoundPlayer::Wave SoundPlayer::tone(double hertz)
{
    return [hertz](double time) { return 0.5 * std::sin(2 * std::numbers::pi * hertz * time); };
}

SoundPlayer::SoundPlayer(std::string sink, Wave wave)
    : thread_([this, sink = std::move(sink), wave = std::move(wave)] { run(sink, wave); })
{
    // The first sounds of a stream are still finding their place.
    constexpr double kSettled = 0.3;
    awaitCondition([this] { return isPlaying_ && position() > kSettled; });
}

SoundPlayer::~SoundPlayer()
{
    isStopping_ = true;
    thread_.join();
}

double SoundPlayer::position(Clock::TimePoint at) const
{
    const std::scoped_lock lock(mutex_);
    return position_ + std::chrono::duration<double>(at - moment_).count();
}

void SoundPlayer::playOn(double seconds) const
{
    const double end = position() + seconds;
    awaitCondition([&] { return position() >= end; });
}

void SoundPlayer::run(const std::string& sink, const Wave& wave)
{
    const pa_sample_spec format{PA_SAMPLE_FLOAT32LE, kRate, 1};
    pa_buffer_attr buffer{UINT32_MAX, UINT32_MAX, UINT32_MAX, UINT32_MAX, UINT32_MAX};
    buffer.tlength = static_cast<uint32_t>(kPiece * sizeof(float) * 4);
    const std::unique_ptr<pa_simple, FreePlayer> player(pa_simple_new(
        nullptr, "Test", PA_STREAM_PLAYBACK, sink.c_str(), "Wave", &format, nullptr, &buffer, nullptr));
    size_t written = 0;
    std::array<float, kPiece> piece{};
    while (player && !isStopping_) {
        for (float& sample : piece)
            sample = static_cast<float>(wave(static_cast<double>(written++) / kRate));
        if (pa_simple_write(player.get(), piece.data(), sizeof piece, nullptr) < 0)
            break;
        const double waiting = static_cast<double>(pa_simple_get_latency(player.get(), nullptr)) / 1e6;
        const std::scoped_lock lock(mutex_);
        moment_ = Clock::now();
        position_ = static_cast<double>(written) / kRate - waiting;
        isPlaying_ = true;
    }
    isPlaying_ = false;
}

} // namespace velmo::test
