#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

struct pa_mainloop;
struct pa_mainloop_api;
struct pa_io_event;

namespace velmo {

/// The thread on which everything about the sound server happens. It starts with the first function that is
/// posted, and loads what it speaks to the server with. There is no lock that callbacks hold, so whoever
/// posts never waits for the server.
class PulseLoop {
public:
    PulseLoop();
    PulseLoop(const PulseLoop&) = delete;
    PulseLoop& operator=(const PulseLoop&) = delete;
    ~PulseLoop();

    /// Runs the function on the thread, in the order of the calls. Any thread.
    void post(std::function<void()> function);
    /// Runs what has been posted, and the last function, then ends the thread; what is posted later is
    /// dropped. Everything that uses the API has to be gone after the last function, which the caller runs
    /// where the thread never began.
    void stop(std::function<void()> last = {});

    /// Only on the thread. Nothing where the library is missing.
    [[nodiscard]] pa_mainloop_api* api() const;

private:
    struct LoopEnd {
        void operator()(pa_mainloop* loop) const;
    };

    void run();
    void runWithLibrary();
    void runWithoutLibrary();
    void runPosted();

    const int wakeUp_; ///< Readable while there are functions to run.
    std::unique_ptr<pa_mainloop, LoopEnd> loop_;
    std::mutex mutex_;
    std::vector<std::function<void()>> functions_;
    bool stopped_ = false;
    std::thread thread_;
};

/// Calls its handler once after a while, on the loop's thread, where it also lives. Monotonic, unlike the
/// timers of the sound library, which follow the clock on the wall.
class PulseTimer {
public:
    PulseTimer(PulseLoop& loop, std::function<void()> onElapsed);
    PulseTimer(const PulseTimer&) = delete;
    PulseTimer& operator=(const PulseTimer&) = delete;
    ~PulseTimer();

    /// Instead of what was set before.
    void start(std::chrono::milliseconds delay) const;
    void stop() const;

private:
    const int descriptor_;
    PulseLoop& loop_;
    const std::function<void()> onElapsed_;
    pa_io_event* const event_; ///< Nothing without the library: then nobody answers, and nobody waits.
};

} // namespace velmo
