#pragma once

#include "core/Result.h"
#include "platform/PlatformError.h"

#include <QString>
#include <functional>
#include <memory>
#include <optional>

namespace velmo {

/// AAC in an MPEG-4 file.
struct AudioRecorderSettings {
    int sampleRate = 44100; ///< Samples per second.
    int channelCount = 1;
    int quality = 96; ///< Of 127: high.
};

/// One recording from the microphone into one file, which is this object's: it is removed with it. Main
/// thread; nothing here waits for the sound server or the disk.
class AudioRecorder {
public:
    /// Why there is no file that could be used, if so.
    using EndHandler = std::function<void(std::optional<PlatformError>)>;

    /// Ends the recording, and removes the file soon.
    virtual ~AudioRecorder() = default;

    /// Once. What was said until now is still recorded; then the file is complete and onEnd runs, on a later
    /// turn of the main loop, unless the recorder is gone by then. A sound server that does not answer delays
    /// it by a moment at most. Without a single sample the end is an error, and the same one as that of a
    /// start failure if there was any. A file that somebody else removed is an error, too.
    virtual void stop(EndHandler onEnd) = 0;
};

/// The sound system. Main thread.
class AudioRecorders {
public:
    /// Nothing was recorded, and why.
    using StartFailureHandler = std::function<void(PlatformError)>;

    virtual ~AudioRecorders() = default;

    /// While the returned value lives, recording begins without any delay. It must not outlive this object.
    [[nodiscard]] virtual std::shared_ptr<void> keepReady() = 0;

    /// Records from the default microphone, never from what the speakers play, into a new file that only the
    /// user can read. Begins at once and goes on elsewhere: what prevents the first sample is told to
    /// onStartFailure, once, on a later turn of the main loop, unless the recorder is gone by then, and also
    /// if it was stopped meanwhile; a stop that comes too early is no such failure. What happens after the
    /// first sample ends the recording early, and the file is still good, unless it cannot be written: that
    /// is told at the end. The handler may destroy the recorder. Recorders must not outlive this object.
    [[nodiscard]] virtual Result<std::unique_ptr<AudioRecorder>, PlatformError>
    record(const QString& path, const AudioRecorderSettings& settings,
           StartFailureHandler onStartFailure) = 0;
};

} // namespace velmo
