#include "platform/linux/AacFile.h"

#include "core/Text.h"
#include "platform/linux/AvLibraries.h"
#include "platform/linux/OwnedFile.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <span>

namespace velmo {

namespace {

constexpr int kBufferSize = 32 * 1024;

/// The libraries would print on standard error what is told by other means.
void silenceLibraries()
{
    static const bool done = [] {
        av_log_set_level(AV_LOG_QUIET);
        return true;
    }();
    static_cast<void>(done);
}

} // namespace

void AacFile::Free::operator()(AVCodecContext* encoder) const
{
    avcodec_free_context(&encoder);
}

void AacFile::Free::operator()(AVFormatContext* container) const
{
    avformat_free_context(container);
}

void AacFile::Free::operator()(AVFrame* frame) const
{
    av_frame_free(&frame);
}

void AacFile::Free::operator()(AVIOContext* output) const
{
    av_freep(&output->buffer);
    avio_context_free(&output);
}

void AacFile::Free::operator()(AVPacket* packet) const
{
    av_packet_free(&packet);
}

int AacFile::bitRate(const AudioRecorderSettings& settings)
{
    constexpr int kHighQuality = 96;
    constexpr int kHighBitRate = 128'000;
    constexpr int kLowest = 32'000;
    constexpr int kHighest = 160'000;
    return std::clamp(settings.quality * kHighBitRate / kHighQuality, kLowest, kHighest) *
           settings.channelCount;
}

std::optional<PlatformError> AacFile::obstacle()
{
    for (DelayLoadedLibrary* library : {&avutilLibrary, &avcodecLibrary, &avformatLibrary}) {
        if (!library->load())
            return PlatformError{PlatformError::Kind::Unsupported, library->absence()};
    }
    return std::nullopt;
}

Result<std::unique_ptr<AacFile>, PlatformError> AacFile::create(const QString& path,
                                                                const AudioRecorderSettings& settings)
{
    if (const auto obstacle = AacFile::obstacle())
        return Failure{*obstacle};
    silenceLibraries();
    int error = 0;
    auto owned = OwnedFile::create(path, error);
    if (!owned)
        return Failure{PlatformError{PlatformError::Kind::Failed,
                                     QStringLiteral("The recording's file could not be created: ") +
                                         systemErrorText(error) + u'.'}};
    std::unique_ptr<AacFile> file(new AacFile(std::move(owned), settings));
    if (!file->openEncoder() || !file->openContainer())
        return Failure{file->error_.value_or(PlatformError{
            PlatformError::Kind::Unsupported, QStringLiteral("There is no encoder for such a recording.")})};
    return file;
}

AacFile::AacFile(std::unique_ptr<OwnedFile> file, const AudioRecorderSettings& settings)
    : settings_(settings)
    , file_(std::move(file))
{}

AacFile::~AacFile() = default;

bool AacFile::openEncoder()
{
    const AVCodec* codec = avcodec_find_encoder(AV_CODEC_ID_AAC);
    if (codec == nullptr)
        return false;
    encoder_.reset(avcodec_alloc_context3(codec));
    encoder_->sample_rate = settings_.sampleRate;
    encoder_->sample_fmt = AV_SAMPLE_FMT_FLTP;
    encoder_->bit_rate = bitRate(settings_);
    encoder_->time_base = {1, settings_.sampleRate};
    encoder_->profile = FF_PROFILE_AAC_LOW;
    encoder_->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    av_channel_layout_default(&encoder_->ch_layout, settings_.channelCount);
    return avcodec_open2(encoder_.get(), codec, nullptr) == 0;
}

bool AacFile::openContainer()
{
    AVFormatContext* container = nullptr;
    if (avformat_alloc_output_context2(&container, nullptr, "ipod", nullptr) < 0)
        return false;
    container_.reset(container);
    output_.reset(avio_alloc_context(
        static_cast<unsigned char*>(av_malloc(kBufferSize)), kBufferSize, 1, file_.get(), nullptr,
        [](void* file, uint8_t* data, int size) {
            auto* owned = static_cast<OwnedFile*>(file);
            return owned->write(reinterpret_cast<const char*>(data), static_cast<size_t>(size))
                       ? size
                       : AVERROR(owned->error());
        },
        [](void* file, int64_t offset, int origin) {
            return int64_t{static_cast<OwnedFile*>(file)->seek(offset, origin & ~AVSEEK_FORCE)};
        }));
    container->pb = output_.get();
    AVStream* stream = avformat_new_stream(container, nullptr);
    if (stream == nullptr || avcodec_parameters_from_context(stream->codecpar, encoder_.get()) < 0)
        return false;
    stream->time_base = encoder_->time_base;
    frame_.reset(av_frame_alloc());
    packet_.reset(av_packet_alloc());
    unencoded_.reserve(samplesPerFrame());
    // Otherwise the file would say in whole milliseconds where its sound ends.
    AVDictionary* options = nullptr;
    av_dict_set_int(&options, "movie_timescale", settings_.sampleRate, 0);
    note(avformat_write_header(container, &options));
    av_dict_free(&options);
    return !error_;
}

size_t AacFile::samplesPerFrame() const
{
    return static_cast<size_t>(encoder_->frame_size) * static_cast<size_t>(settings_.channelCount);
}

void AacFile::append(const std::vector<float>& samples)
{
    for (const float sample : samples)
        add(sample);
}

void AacFile::appendSilence(size_t count)
{
    for (; count > 0 && !error_; --count)
        add(0);
}

void AacFile::add(float sample)
{
    if (error_)
        return;
    // The encoder gives up on what is no number.
    unencoded_.push_back(std::isnan(sample) ? 0.0F : std::clamp(sample, -1.0F, 1.0F));
    if (unencoded_.size() == samplesPerFrame())
        encodeFrame();
}

void AacFile::encodeFrame()
{
    const auto channels = static_cast<size_t>(settings_.channelCount);
    const size_t count = unencoded_.size() / channels;
    frame_->nb_samples = static_cast<int>(count);
    frame_->format = encoder_->sample_fmt;
    frame_->sample_rate = encoder_->sample_rate;
    frame_->pts = position_;
    position_ += frame_->nb_samples;
    int status = av_channel_layout_copy(&frame_->ch_layout, &encoder_->ch_layout);
    if (status >= 0)
        status = av_frame_get_buffer(frame_.get(), 0);
    if (status >= 0) {
        for (size_t channel = 0; channel < channels; ++channel) {
            const std::span plane(reinterpret_cast<float*>(frame_->extended_data[channel]), count);
            for (size_t sample = 0; sample < count; ++sample)
                plane[sample] = unencoded_[sample * channels + channel];
        }
        status = avcodec_send_frame(encoder_.get(), frame_.get());
    }
    av_frame_unref(frame_.get());
    unencoded_.clear();
    note(status);
    writePackets();
}

void AacFile::writePackets()
{
    while (!error_ && avcodec_receive_packet(encoder_.get(), packet_.get()) == 0) {
        av_packet_rescale_ts(packet_.get(), encoder_->time_base, container_->streams[0]->time_base);
        packet_->stream_index = 0;
        note(av_interleaved_write_frame(container_.get(), packet_.get()));
    }
}

void AacFile::finish()
{
    if (!error_ && !unencoded_.empty())
        encodeFrame();
    if (!error_) {
        note(avcodec_send_frame(encoder_.get(), nullptr));
        writePackets();
    }
    if (!error_) {
        note(av_write_trailer(container_.get()));
        avio_flush(output_.get());
        file_->close();
        note(0);
    }
    if (!error_ && !file_->isInPlace())
        error_ =
            PlatformError{PlatformError::Kind::Failed, QStringLiteral("The recording's file was removed.")};
}

/// What the disk refuses does not always show in what the libraries return.
void AacFile::note(int status)
{
    if (error_ || (status >= 0 && file_->error() == 0))
        return;
    if (file_->error() != 0) {
        error_ = PlatformError{PlatformError::Kind::Failed,
                               QStringLiteral("The recording could not be written: ") +
                                   systemErrorText(file_->error()) + u'.'};
        return;
    }
    std::array<char, AV_ERROR_MAX_STRING_SIZE> text{};
    av_strerror(status, text.data(), text.size());
    error_ =
        PlatformError{PlatformError::Kind::Failed, QStringLiteral("The recording could not be encoded: ") +
                                                       QString::fromLocal8Bit(text.data()) + u'.'};
}

} // namespace velmo
