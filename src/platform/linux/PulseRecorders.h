#pragma once

#include "core/Clock.h"
#include "platform/AudioRecorder.h"

#include <functional>
#include <memory>

namespace velmo {

/// Recording from PulseAudio, or from PipeWire, which speaks like it. Two threads, which start with the first
/// use: one for the server, one that encodes and writes.
class PulseRecorders final : public AudioRecorders {
public:
    /// Called on the server's thread when the first sound of a recording has come, with the moment at which
    /// the first piece of it began.
    using FirstSoundHandler = std::function<void(Clock::TimePoint)>;

    explicit PulseRecorders(FirstSoundHandler onFirstSound = {});
    PulseRecorders(const PulseRecorders&) = delete;
    PulseRecorders& operator=(const PulseRecorders&) = delete;
    /// Waits until the files of all recorders are removed, which does not depend on the server.
    ~PulseRecorders() override;

    /// Keeps a connection to the server, unless there is none; then each recording looks for one.
    [[nodiscard]] std::shared_ptr<void> keepReady() override;

    [[nodiscard]] Result<std::unique_ptr<AudioRecorder>, PlatformError>
    record(const QString& path, const AudioRecorderSettings& settings,
           StartFailureHandler onStartFailure) override;

private:
    struct Threads;
    const FirstSoundHandler onFirstSound_;
    std::unique_ptr<Threads> threads_;
};

} // namespace velmo
