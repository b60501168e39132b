#pragma once

#include "core/Clock.h"
#include "platform/linux/MicrophoneFinding.h"

#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace velmo {

/// Whether the sound server has a microphone, and lets us listen to it. The server is asked on a thread of
/// its own, which begins with the first question; the connection is kept while somebody goes on asking, and
/// a server that is not running is never started. Main thread.
class PulseMicrophone {
public:
    using Handler = std::function<void(MicrophoneStatus)>;

    PulseMicrophone();
    PulseMicrophone(const PulseMicrophone&) = delete;
    PulseMicrophone& operator=(const PulseMicrophone&) = delete;
    /// Does not wait for the server.
    ~PulseMicrophone();

    /// What was heard last. A server that stops answering counts as none after two seconds.
    [[nodiscard]] MicrophoneStatus status();
    /// The same in more detail. The server is not asked.
    [[nodiscard]] MicrophoneFinding finding() const;
    /// Asks once; the answer comes on a later turn, within two seconds, unless this is gone by then.
    void ask(Handler onAnswer);
    /// Called on a later turn than the change.
    [[nodiscard]] Subscription observe(std::function<void()> handler);

private:
    class Watch;
    struct Known;
    struct Threads;

    void askServer();

    std::shared_ptr<Known> known_;
    std::optional<Clock::TimePoint> askedAt_;
    std::unique_ptr<Threads> threads_;
};

} // namespace velmo
