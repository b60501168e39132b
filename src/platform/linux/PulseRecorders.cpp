#include "platform/linux/PulseRecorders.h"

#include "core/async/SerialQueue.h"
#include "platform/linux/PulseConnection.h"
#include "platform/linux/PulseLoop.h"
#include "platform/linux/PulseRecording.h"
#include "platform/linux/RecordingFile.h"

#include <utility>

namespace velmo {

/// The loop's thread ends first: what it still has to say to the files is said by then. The files may speak
/// to the loop to their end.
struct PulseRecorders::Threads {
    Threads() = default;
    Threads(const Threads&) = delete;
    Threads& operator=(const Threads&) = delete;
    ~Threads()
    {
        loop.stop([this] { connection.reset(); });
    }

    PulseLoop loop;
    std::unique_ptr<PulseConnection> connection = std::make_unique<PulseConnection>(loop);
    async::SerialQueue files{"velmo.recorder"};
};

namespace {

/// What the caller holds: it sends orders to the two threads, and hears of the end.
class Recorder final : public AudioRecorder {
public:
    Recorder(PulseLoop& loop, std::shared_ptr<PulseRecording> recording, std::shared_ptr<RecordingFile> file,
             std::shared_ptr<RecordingFile::Listener> listener)
        : loop_(loop)
        , recording_(std::move(recording))
        , file_(std::move(file))
        , listener_(std::move(listener))
    {}
    Recorder(const Recorder&) = delete;
    Recorder& operator=(const Recorder&) = delete;
    ~Recorder() override
    {
        // The recording has to be destroyed on its own thread.
        loop_.post([recording = std::move(recording_)] { recording->end(); });
        file_->discard();
    }

    void stop(EndHandler onEnd) override
    {
        listener_->onEnd = std::move(onEnd);
        loop_.post([recording = recording_] { recording->stop(); });
    }

private:
    PulseLoop& loop_;
    std::shared_ptr<PulseRecording> recording_;
    std::shared_ptr<RecordingFile> file_;
    std::shared_ptr<RecordingFile::Listener> listener_;
};

/// The file learns everything about the recording, in order.
PulseRecording::Sink sinkInto(const std::shared_ptr<RecordingFile>& file,
                              PulseRecorders::FirstSoundHandler onFirstSound, int samplesPerSecond)
{
    return {
        [file, onFirstSound = std::move(onFirstSound), samplesPerSecond](std::vector<float> samples) mutable {
            if (const auto onFirst = std::exchange(onFirstSound, nullptr))
                onFirst(Clock::now() - std::chrono::microseconds(1'000'000 * samples.size() /
                                                                 static_cast<size_t>(samplesPerSecond)));
            file->append(std::move(samples));
        },
        [file](size_t count) { file->appendSilence(count); },
        [file](PlatformError error) { file->fail(std::move(error)); }, [file] { file->finish(); }};
}

} // namespace

PulseRecorders::PulseRecorders(FirstSoundHandler onFirstSound)
    : onFirstSound_(std::move(onFirstSound))
    , threads_(std::make_unique<Threads>())
{}

PulseRecorders::~PulseRecorders() = default;

std::shared_ptr<void> PulseRecorders::keepReady()
{
    Threads* threads = threads_.get();
    threads->loop.post([threads] { threads->connection->keep(); });
    return {threads, [](Threads* held) { held->loop.post([held] { held->connection->unkeep(); }); }};
}

Result<std::unique_ptr<AudioRecorder>, PlatformError>
PulseRecorders::record(const QString& path, const AudioRecorderSettings& settings,
                       StartFailureHandler onStartFailure)
{
    if (path.isEmpty() || settings.sampleRate <= 0 || settings.channelCount < 1 || settings.channelCount > 2)
        return Failure{PlatformError{PlatformError::Kind::Unsupported,
                                     QStringLiteral("There is no such kind of recording.")}};
    PulseLoop& loop = threads_->loop;
    auto listener = std::make_shared<RecordingFile::Listener>();
    listener->onStartFailure = std::move(onStartFailure);
    auto file = std::make_shared<RecordingFile>(threads_->files, listener);
    auto recording = std::make_shared<PulseRecording>(
        loop, *threads_->connection, settings,
        sinkInto(file, onFirstSound_, settings.sampleRate * settings.channelCount));
    loop.post([recording] { recording->begin(); });
    file->create(path, settings, [&loop, weak = std::weak_ptr(recording)] {
        loop.post([weak] {
            if (const auto useless = weak.lock())
                useless->endEarly();
        });
    });
    return std::unique_ptr<AudioRecorder>(
        std::make_unique<Recorder>(loop, std::move(recording), std::move(file), std::move(listener)));
}

} // namespace velmo
