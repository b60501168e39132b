#include "voice/ReplicateWhisperService.h"

#include "core/DebugLog.h"
#include "core/Text.h"
#include "core/async/OneShot.h"
#include "core/async/Timer.h"
#include "core/async/WorkerPool.h"
#include "voice/PredictionClient.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace velmo {

namespace {

using Transcribed = Result<QString, TranscriptionFailure>;
using RecordingEnd = async::OneShot<std::optional<PlatformError>>;

/// A recording that is being stopped.
struct StoppedRecording {
    std::unique_ptr<AudioRecorder> recorder;
    RecordingEnd end;
    std::optional<QString> file;
    std::optional<PlatformError> missing;
};

struct Sound {
    QByteArray dataURI;
    qsizetype byteCount = 0;
};

void log(const QString& message)
{
    DebugLog::log(QStringLiteral("Replicate"), message);
}

void logStartFailure(const PlatformError& error)
{
    log(QStringLiteral("Failed to start recording error=") + error.description);
}

Failure<TranscriptionFailure> failure(TranscriptionFailure reason)
{
    return {std::move(reason)};
}

/// On a worker.
Result<Sound, PlatformError> readSound(const QString& path)
{
    QFile file(path);
    QByteArray bytes;
    if (file.open(QIODevice::ReadOnly))
        bytes = file.readAll();
    if (file.error() != QFileDevice::NoError)
        return Failure{
            PlatformError{PlatformError::Kind::Failed,
                          QStringLiteral("The recording could not be read: ") + file.errorString()}};
    return Sound{"data:audio/m4a;base64," + bytes.toBase64(), bytes.size()};
}

/// Waits until the file is complete and reads it. The recording goes with this task, so that there is no file
/// any more when its caller goes on, or fails.
async::Task<Result<Sound, TranscriptionFailure>> takeSound(StoppedRecording recording)
{
    std::optional<PlatformError> error;
    if (recording.recorder)
        error = co_await recording.end.value();
    if (!recording.file)
        co_return failure(TranscriptionError::noAudioFile());
    // A recorder from before tells nothing of a file that was never begun.
    if (recording.missing)
        error = recording.missing;
    if (error)
        co_return failure(*error);
    auto read = [path = *recording.file] { return readSound(path); };
    auto sound = co_await async::onWorker(std::move(read));
    if (!sound)
        co_return failure(sound.error());
    co_return std::move(sound.value());
}

async::Task<Transcribed> transcribe(StoppedRecording recording, PredictionClient client, QString modelVersion)
{
    auto sound = co_await takeSound(std::move(recording));
    if (!sound)
        co_return failure(sound.error());
    log(QStringLiteral("Starting transcription modelVersion=") + modelVersion +
        QStringLiteral(" audioBytes=") + QString::number(sound.value().byteCount));
    const auto url = co_await client.createPrediction(std::move(sound.value().dataURI));
    if (!url)
        co_return failure(url.error());
    co_return co_await client.pollForResult(url.value());
}

} // namespace

async::Task<> monotonicPause(std::chrono::milliseconds duration)
{
    co_await async::sleepFor(duration);
}

ReplicateWhisperService::ReplicateWhisperService(QString apiKey, QString modelVersion,
                                                 VoiceCollaborators collaborators)
    : apiKey_(std::move(apiKey))
    , modelVersion_(std::move(modelVersion))
    , collaborators_(std::move(collaborators))
    , readiness_(collaborators_.recorders.keepReady())
{}

ReplicateWhisperService::~ReplicateWhisperService() = default;

void ReplicateWhisperService::startRecording()
{
    audioFileURL_ = QDir::tempPath() + u'/' + uuidText(QUuid::createUuid()) + QStringLiteral(".m4a");
    missing_.reset();
    auto recorder =
        collaborators_.recorders.record(*audioFileURL_, AudioRecorderSettings{}, &logStartFailure);
    if (!recorder) {
        missing_ = recorder.error();
        logStartFailure(recorder.error());
        return;
    }
    audioRecorder_ = std::move(recorder.value());
    log(QStringLiteral("Recording started file=") + QFileInfo(*audioFileURL_).fileName());
}

async::Task<Result<QString, TranscriptionFailure>> ReplicateWhisperService::stopAndTranscribe()
{
    StoppedRecording recording{std::move(audioRecorder_),
                               {},
                               std::exchange(audioFileURL_, std::nullopt),
                               std::exchange(missing_, std::nullopt)};
    if (recording.recorder)
        recording.recorder->stop(
            [end = recording.end](std::optional<PlatformError> error) { end.resolve(std::move(error)); });
    return transcribe(std::move(recording),
                      PredictionClient(apiKey_, modelVersion_, collaborators_.http, collaborators_.pause),
                      modelVersion_);
}

void ReplicateWhisperService::cancelRecording()
{
    audioRecorder_.reset();
    audioFileURL_.reset();
    missing_.reset();
    log(QStringLiteral("Recording discarded"));
}

} // namespace velmo
