#pragma once

#include "platform/AudioRecorder.h"
#include "platform/linux/MicrophoneLookup.h"
#include "platform/linux/PulseConnection.h"
#include "platform/linux/PulseLoop.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace velmo {

/// One stream from the microphone, on the loop's thread but for its making. A stream that the server would
/// move to another device ends instead: the other one may be what the speakers play.
class PulseRecording final : private PulseConnection::User {
public:
    /// Called on the loop's thread.
    struct Sink {
        std::function<void(std::vector<float>)> onSamples; ///< Interleaved, full scale at 1.
        std::function<void(size_t)> onHole;                ///< As many samples got lost.
        std::function<void(PlatformError)> onFailure;      ///< Before the first sample; the end.
        std::function<void()> onStopped;                   ///< What was said until stop() has been told.
    };

    PulseRecording(PulseLoop& loop, PulseConnection& connection, const AudioRecorderSettings& settings,
                   Sink sink);
    PulseRecording(const PulseRecording&) = delete;
    PulseRecording& operator=(const PulseRecording&) = delete;
    ~PulseRecording() override;

    void begin();
    /// Takes what is still under way from the microphone, which the server answers for within a moment.
    void stop();
    /// What was recorded so far is all; stop() is still answered.
    void endEarly();
    /// Ends the recording; nothing is told any more. The thread of the loop may destroy it then.
    void end();

private:
    void onConnected(pa_context& context) override;
    void onDisconnected(const PlatformError& reason) override;
    void onMicrophone(pa_context& context, const std::optional<std::string>& name);
    void onStreamState();
    void onReadable();
    void onStopPosition();
    void onTooLate();
    void fail(const PlatformError& error);
    void failWith(const QString& what);
    void finishStop();
    [[nodiscard]] bool isAtMicrophone() const;

    PulseLoop& loop_;
    PulseConnection& connection_;
    const AudioRecorderSettings settings_;
    Sink sink_;
    enum class State { Starting, Recording, Stopping, Ended } state_ = State::Starting;
    std::string microphone_;
    size_t received_ = 0;             ///< Samples, holes included.
    std::optional<size_t> stopAfter_; ///< So many had reached the microphone when the recording was stopped.
    std::unique_ptr<MicrophoneLookup> lookup_;
    PulseStreamPtr stream_;
    PulseOperationPtr askPosition_;
    std::optional<PulseTimer> timer_; ///< From begin() on, since the thread it belongs to is not the maker's.
};

} // namespace velmo
