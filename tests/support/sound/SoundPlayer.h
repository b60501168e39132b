#pragma once

#include "core/Clock.h"

#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace velmo::test {

/// Something that sounds without a pause, and when it does. The server must not be halted while it plays.
class SoundPlayer {
public:
    /// What sounds at a time, in seconds from the beginning; full scale at 1.
    using Wave = std::function<double(double)>;

    /// Rises by kChirpRise hertz a second, so its pitch tells the time.
    static double chirp(double time);
    static constexpr double kChirpStart = 300;
    static constexpr double kChirpRise = 100;
    static Wave tone(double hertz);

    /// It can be heard when this returns, unless isPlaying() is false.
    SoundPlayer(std::string sink, Wave wave);
    SoundPlayer(const SoundPlayer&) = delete;
    SoundPlayer& operator=(const SoundPlayer&) = delete;
    ~SoundPlayer();

    [[nodiscard]] bool isPlaying() const { return isPlaying_; }
    /// The time in the wave that leaves the speakers at a moment, which is not long ago, in seconds, by the
    /// server's own account.
    [[nodiscard]] double position(Clock::TimePoint at = Clock::now()) const;
    /// Runs the main loop until so much more of it has sounded.
    void playOn(double seconds) const;

private:
    void run(const std::string& sink, const Wave& wave);

    std::atomic<bool> isPlaying_ = false;
    std::atomic<bool> isStopping_ = false;
    mutable std::mutex mutex_;
    double position_ = 0; ///< At the moment below.
    Clock::TimePoint moment_;
    std::thread thread_;
};

} // namespace velmo::test
