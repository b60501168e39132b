#include "platform/linux/PulseRecording.h"

#include "platform/linux/PulseLibrary.h"

#include <utility>

namespace velmo {

namespace {

/// For each answer of the server.
constexpr std::chrono::milliseconds kAnswerLimit{1000};
/// For the first sample, when the server has answered everything: a wireless microphone has to wake up.
constexpr std::chrono::milliseconds kFirstSoundLimit{3000};
/// Longer than a microphone, its buffer and the server hold sound back.
constexpr std::chrono::milliseconds kStopLimit{120};
/// A smaller piece of sound would wake everybody more often for nothing.
constexpr uint32_t kPiecesPerSecond = 50;

pa_sample_spec formatOf(const AudioRecorderSettings& settings)
{
    return {PA_SAMPLE_FLOAT32LE, static_cast<uint32_t>(settings.sampleRate),
            static_cast<uint8_t>(settings.channelCount)};
}

} // namespace

PulseRecording::PulseRecording(PulseLoop& loop, PulseConnection& connection,
                               const AudioRecorderSettings& settings, Sink sink)
    : loop_(loop)
    , connection_(connection)
    , settings_(settings)
    , sink_(std::move(sink))
{}

PulseRecording::~PulseRecording()
{
    end();
}

void PulseRecording::begin()
{
    timer_.emplace(loop_, [this] { onTooLate(); });
    timer_->start(kAnswerLimit);
    connection_.add(*this);
}

void PulseRecording::onConnected(pa_context& context)
{
    timer_->start(kAnswerLimit);
    lookup_ = std::make_unique<MicrophoneLookup>(
        context, [this, &context](const std::optional<std::string>& name, int error) {
            if (error != 0)
                failWith(QString::fromUtf8(pa_strerror(error)));
            else
                onMicrophone(context, name);
        });
}

void PulseRecording::onDisconnected(const PlatformError& reason)
{
    if (state_ == State::Starting)
        fail(reason);
    else
        endEarly();
}

void PulseRecording::onMicrophone(pa_context& context, const std::optional<std::string>& name)
{
    lookup_.reset();
    if (!name) {
        fail({PlatformError::Kind::Unsupported, QStringLiteral("There is no microphone to record from.")});
        return;
    }
    microphone_ = *name;
    const pa_sample_spec format = formatOf(settings_);
    stream_.reset(pa_stream_new(&context, "Question", &format, nullptr));
    if (!stream_) {
        failWith(QString::fromUtf8(pa_strerror(pa_context_errno(&context))));
        return;
    }
    pa_stream_set_state_callback(
        stream_.get(), [](pa_stream*, void* self) { static_cast<PulseRecording*>(self)->onStreamState(); },
        this);
    pa_stream_set_read_callback(
        stream_.get(),
        [](pa_stream*, size_t, void* self) { static_cast<PulseRecording*>(self)->onReadable(); }, this);
    pa_stream_set_moved_callback(
        stream_.get(), [](pa_stream*, void* self) { static_cast<PulseRecording*>(self)->onStreamState(); },
        this);
    pa_buffer_attr buffer{UINT32_MAX, UINT32_MAX, UINT32_MAX, UINT32_MAX, UINT32_MAX};
    buffer.fragsize = static_cast<uint32_t>(pa_bytes_per_second(&format) / kPiecesPerSecond);
    timer_->start(kAnswerLimit);
    const auto flags = static_cast<pa_stream_flags_t>(PA_STREAM_DONT_MOVE | PA_STREAM_ADJUST_LATENCY);
    if (pa_stream_connect_record(stream_.get(), microphone_.c_str(), &buffer, flags) < 0 && stream_)
        failWith(QString::fromUtf8(pa_strerror(pa_context_errno(&context))));
}

bool PulseRecording::isAtMicrophone() const
{
    const char* name = pa_stream_get_device_name(stream_.get());
    return name != nullptr && name == microphone_;
}

/// Also after a move.
void PulseRecording::onStreamState()
{
    switch (pa_stream_get_state(stream_.get())) {
    case PA_STREAM_READY:
        if (state_ == State::Starting)
            timer_->start(kFirstSoundLimit);
        if (isAtMicrophone())
            return;
        if (state_ == State::Starting)
            failWith(QStringLiteral("another device was opened instead"));
        else
            endEarly();
        break;
    case PA_STREAM_FAILED:
    case PA_STREAM_TERMINATED:
        if (state_ == State::Starting)
            failWith(QString::fromUtf8(pa_strerror(pa_context_errno(pa_stream_get_context(stream_.get())))));
        else
            endEarly();
        break;
    case PA_STREAM_UNCONNECTED:
    case PA_STREAM_CREATING:
        break;
    }
}

void PulseRecording::onReadable()
{
    while (stream_ && pa_stream_readable_size(stream_.get()) > 0) {
        const void* data = nullptr;
        size_t bytes = 0;
        if (pa_stream_peek(stream_.get(), &data, &bytes) < 0 || bytes == 0)
            return;
        const size_t count = bytes / sizeof(float);
        if (data != nullptr) {
            const auto* samples = static_cast<const float*>(data);
            sink_.onSamples({samples, samples + count});
        } else {
            sink_.onHole(count);
        }
        received_ += count;
        pa_stream_drop(stream_.get());
        if (state_ == State::Starting) {
            state_ = State::Recording;
            timer_->stop();
        }
    }
    if (stopAfter_ && received_ >= *stopAfter_)
        finishStop();
}

void PulseRecording::stop()
{
    if (state_ != State::Recording) {
        finishStop();
        return;
    }
    state_ = State::Stopping;
    timer_->start(kStopLimit);
    // The answer tells how much sound is on its way here.
    askPosition_.reset(pa_stream_update_timing_info(
        stream_.get(),
        [](pa_stream*, int, void* self) { static_cast<PulseRecording*>(self)->onStopPosition(); }, this));
}

void PulseRecording::onStopPosition()
{
    pa_usec_t position = 0;
    if (pa_stream_get_time(stream_.get(), &position) < 0)
        return;
    const pa_sample_spec format = formatOf(settings_);
    stopAfter_ = pa_usec_to_bytes(position, &format) / sizeof(float);
    if (received_ >= *stopAfter_)
        finishStop();
}

void PulseRecording::onTooLate()
{
    if (state_ == State::Stopping) {
        finishStop();
        return;
    }
    if (stream_ && pa_stream_get_state(stream_.get()) == PA_STREAM_READY) {
        fail({PlatformError::Kind::Failed, QStringLiteral("The microphone gives no sound.")});
        return;
    }
    const PlatformError error{PlatformError::Kind::Failed,
                              QStringLiteral("The sound server does not answer.")};
    // A connection that was asked in vain is not asked again: what it still carries out comes too late.
    fail(error);
    connection_.giveUp(error);
}

void PulseRecording::fail(const PlatformError& error)
{
    end();
    sink_.onFailure(error);
}

void PulseRecording::failWith(const QString& what)
{
    fail({PlatformError::Kind::Failed, QStringLiteral("The microphone could not be opened: ") + what + u'.'});
}

void PulseRecording::endEarly()
{
    if (state_ == State::Stopping)
        finishStop();
    else
        end();
}

void PulseRecording::finishStop()
{
    end();
    sink_.onStopped();
}

void PulseRecording::end()
{
    state_ = State::Ended;
    if (timer_)
        timer_->stop();
    stopAfter_.reset();
    lookup_.reset();
    askPosition_.reset();
    stream_.reset();
    connection_.remove(*this);
}

} // namespace velmo
