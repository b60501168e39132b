#pragma once

#include "core/async/SerialQueue.h"
#include "platform/AudioRecorder.h"
#include "platform/linux/AacFile.h"

#include <functional>
#include <memory>
#include <vector>

namespace velmo {

/// The file of one recording, kept by a thread of its own; and, since everything about a recording passes
/// here, the judge of what became of it. Functions may be called on any thread and are carried out in the
/// order of the calls.
class RecordingFile : public std::enable_shared_from_this<RecordingFile> {
public:
    /// Main thread; the recorder's. What is to be told to a recorder that is gone is dropped.
    struct Listener {
        AudioRecorders::StartFailureHandler onStartFailure;
        AudioRecorder::EndHandler onEnd;
    };

    /// The queue outlives it.
    RecordingFile(async::SerialQueue& queue, std::weak_ptr<Listener> listener);

    /// onUseless: it cannot be written, so more sound is of no use. On the queue's thread.
    void create(const QString& path, const AudioRecorderSettings& settings, std::function<void()> onUseless);
    void append(std::vector<float> samples);
    void appendSilence(size_t count);
    /// Nothing will be recorded.
    void fail(PlatformError error);
    /// Completes the file and tells the listener, unless it was discarded.
    void finish();
    /// Removes the file, whatever follows.
    void discard();

private:
    void run(std::function<void(RecordingFile&)> function);
    void fillWith(const std::function<void(AacFile&)>& sound);
    void noteStartFailure(const PlatformError& error);
    void noteUseless();

    async::SerialQueue& queue_;
    const std::weak_ptr<Listener> listener_;
    // What follows belongs to the queue's thread.
    std::function<void()> onUseless_;
    std::unique_ptr<AacFile> file_;
    std::optional<PlatformError> startFailure_;
    bool hasSound_ = false;
};

} // namespace velmo
