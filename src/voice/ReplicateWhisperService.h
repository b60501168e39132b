#pragma once

#include "core/Result.h"
#include "core/async/Task.h"
#include "platform/AudioRecorder.h"
#include "platform/HttpClient.h"
#include "voice/TranscriptionError.h"

#include <QJsonValue>
#include <QUrl>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>

namespace velmo {

/// What the service works with. The references outlive it and every transcription.
struct VoiceCollaborators {
    AudioRecorders& recorders;
    HttpClient& http;
    /// Waits between two polls; with tests it costs no time.
    std::function<async::Task<>(std::chrono::milliseconds)> pause;
};

/// Records a spoken question and turns it into text with a hosted model. Recording begins without delay as
/// long as it exists. Main thread.
class ReplicateWhisperService {
public:
    ReplicateWhisperService(QString apiKey, QString modelVersion, VoiceCollaborators collaborators);

    /// Into a fresh temporary file. What goes wrong is logged, and shows when the transcript is asked for.
    void startRecording();
    /// Ends the recording and gives its text, which may be empty. The file is gone afterwards in any case.
    /// The service has to outlive the task.
    [[nodiscard]] async::Task<Result<QString, TranscriptionFailure>> stopAndTranscribe();
    /// Forgets the recording, and its file.
    void cancelRecording();

private:
    const QString apiKey_;
    const QString modelVersion_;
    std::unique_ptr<AudioRecorder> audioRecorder_;
    std::optional<QString> audioFileURL_;
    VoiceCollaborators collaborators_;
    std::shared_ptr<void> readiness_;
};

} // namespace velmo
