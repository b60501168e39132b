#pragma once

#include "core/Result.h"
#include "platform/AudioRecorder.h"

#include <memory>
#include <vector>

struct AVCodecContext;
struct AVFormatContext;
struct AVFrame;
struct AVIOContext;
struct AVPacket;

namespace velmo {

class OwnedFile;

/// Sound as AAC, low complexity, in a new MPEG-4 file, which is removed with this object. One thread at a
/// time; it waits for the disk.
class AacFile {
public:
    /// In bits per second. High quality (96) is 128,000 for one channel, about as much as a voice can make
    /// use of; others stand in proportion, between what the encoder needs and what it can use.
    [[nodiscard]] static int bitRate(const AudioRecorderSettings& settings);

    /// Why no such file can be made on this computer. Waits for the disk when it is asked for the first time.
    [[nodiscard]] static std::optional<PlatformError> obstacle();
    [[nodiscard]] static Result<std::unique_ptr<AacFile>, PlatformError>
    create(const QString& path, const AudioRecorderSettings& settings);
    AacFile(const AacFile&) = delete;
    AacFile& operator=(const AacFile&) = delete;
    ~AacFile();

    /// Interleaved, full scale at 1. Nothing is done any more after something went wrong.
    void append(const std::vector<float>& samples);
    void appendSilence(size_t count);
    /// Completes the file.
    void finish();

    /// What went wrong so far.
    [[nodiscard]] const std::optional<PlatformError>& error() const { return error_; }

private:
    struct Free {
        void operator()(AVCodecContext* encoder) const;
        void operator()(AVFormatContext* container) const;
        void operator()(AVFrame* frame) const;
        void operator()(AVIOContext* output) const;
        void operator()(AVPacket* packet) const;
    };

    AacFile(std::unique_ptr<OwnedFile> file, const AudioRecorderSettings& settings);
    [[nodiscard]] bool openEncoder();
    [[nodiscard]] bool openContainer();
    [[nodiscard]] size_t samplesPerFrame() const;
    void add(float sample);
    void encodeFrame();
    void writePackets();
    void note(int status);

    const AudioRecorderSettings settings_;
    std::unique_ptr<OwnedFile> file_;
    std::unique_ptr<AVIOContext, Free> output_;
    std::unique_ptr<AVFormatContext, Free> container_;
    std::unique_ptr<AVCodecContext, Free> encoder_;
    std::unique_ptr<AVFrame, Free> frame_;
    std::unique_ptr<AVPacket, Free> packet_;
    std::vector<float> unencoded_; ///< Less than a frame.
    qint64 position_ = 0;          ///< Of the next frame, in samples of one channel.
    std::optional<PlatformError> error_;
};

} // namespace velmo
