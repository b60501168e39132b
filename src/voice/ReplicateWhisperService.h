#pragma once

#include "core/Result.h"
#include "core/async/Task.h"
#include "platform/AudioRecorder.h"
#include "platform/HttpClient.h"
#include "voice/TranscriptionError.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

namespace velmo {

/// Waits on the monotonic clock.
[[nodiscard]] async::Task<> monotonicPause(std::chrono::milliseconds duration);

/// What the service works with. The references outlive it and every transcription.
struct VoiceCollaborators {
    AudioRecorders& recorders;
    HttpClient& http;
    /// Waits between two polls; with tests it costs no time.
    std::function<async::Task<>(std::chrono::milliseconds)> pause = monotonicPause;
};

/// Records a spoken question and turns it into text with a hosted model. Recording begins without delay as
/// long as it exists. Main thread.
///
/// A recording's file belongs to its recorder, so it is gone when the recording was read or discarded, when a
/// transcription ends or is cancelled, and when this object or a transcription's scope is destroyed.
class ReplicateWhisperService {
public:
    ReplicateWhisperService(QString apiKey, QString modelVersion, VoiceCollaborators collaborators);
    ReplicateWhisperService(const ReplicateWhisperService&) = delete;
    ReplicateWhisperService& operator=(const ReplicateWhisperService&) = delete;
    ~ReplicateWhisperService();

    /// Into a fresh temporary file. What goes wrong is logged, and shows when the transcript is asked for.
    void startRecording();

    /// Ends the recording with this very call; the task then gives its text, which may be empty. The file is
    /// gone as soon as it was read. The task needs this object no more: it may be destroyed, or record again.
    /// What the task does need are the collaborators, so its scope must go before them: a task that is to
    /// outlive a window belongs to whoever owns those, as detachedTasks() end with the application object
    /// only.
    [[nodiscard]] async::Task<Result<QString, TranscriptionFailure>> stopAndTranscribe();

    /// Forgets the recording, and its file. A transcription under way is not touched.
    void cancelRecording();

private:
    const QString apiKey_;
    const QString modelVersion_;
    std::unique_ptr<AudioRecorder> audioRecorder_;
    /// The file being recorded. After a recorder could not be created, the one that was meant for it.
    std::optional<QString> audioFileURL_;
    /// Why there is nothing at audioFileURL_, if no recorder could be created for it.
    std::optional<PlatformError> missing_;
    VoiceCollaborators collaborators_;
    std::shared_ptr<void> readiness_;
};

} // namespace velmo
