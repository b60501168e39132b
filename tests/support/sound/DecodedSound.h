#pragma once

#include <QString>
#include <string>
#include <vector>

namespace velmo::test {

/// What other programs find in a sound file, all channels as one.
class DecodedSound {
public:
    /// Empty if it cannot be read without objections.
    explicit DecodedSound(const QString& path);

    /// Such as "aac" for codec_name; empty when the file has none.
    [[nodiscard]] static std::string property(const QString& path, const char* name);

    [[nodiscard]] size_t sampleCount() const { return samples_.size(); }
    /// In seconds.
    [[nodiscard]] double duration() const;
    /// How strong a tone is, between two times in seconds: 1 for full scale.
    [[nodiscard]] double level(double hertz, double from, double to) const;

    /// The root of its mean square: 1 for full scale.
    [[nodiscard]] double loudness() const;

    /// The time in a SoundPlayer's chirp where it is heard first, from there on without a gap, and last;
    /// below zero where it is not.
    [[nodiscard]] double firstChirp() const;
    [[nodiscard]] double lastChirp() const;

private:
    [[nodiscard]] size_t audibleEnd() const;
    [[nodiscard]] double chirpAt(size_t from, size_t to) const;

    std::vector<float> samples_;
};

} // namespace velmo::test
