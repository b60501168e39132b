#include "support/sound/DecodedSound.h"

#include "support/sound/SoundPlayer.h"

#include <QProcess>
#include <algorithm>
#include <cmath>
#include <complex>
#include <cstring>
#include <numbers>

namespace velmo::test {
namespace {

constexpr double kRate = 44100;
/// Long enough to tell a pitch to a tenth of a hertz.
constexpr size_t kWindow = 4410;
/// The encoder takes a while to follow where sound sets in.
constexpr size_t kEdge = 400;

bool isAudible(float sample)
{
    constexpr float kThreshold = 0.02F;
    return std::abs(sample) > kThreshold;
}

} // namespace

DecodedSound::DecodedSound(const QString& path)
{
    QProcess process;
    process.start(QStringLiteral("ffmpeg"),
                  {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-i"), path,
                   QStringLiteral("-ac"), QStringLiteral("1"), QStringLiteral("-ar"), QStringLiteral("44100"),
                   QStringLiteral("-f"), QStringLiteral("f32le"), QStringLiteral("-")});
    if (!process.waitForFinished() || process.exitCode() != 0 || !process.readAllStandardError().isEmpty())
        return;
    const QByteArray bytes = process.readAllStandardOutput();
    samples_.resize(static_cast<size_t>(bytes.size()) / sizeof(float));
    std::memcpy(samples_.data(), bytes.constData(), samples_.size() * sizeof(float));
}

std::string DecodedSound::property(const QString& path, const char* name)
{
    const QString entry = QString::fromLatin1(name);
    QProcess process;
    process.start(QStringLiteral("ffprobe"),
                  {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-show_entries"),
                   QStringLiteral("stream=") + entry + QStringLiteral(":format=") + entry,
                   QStringLiteral("-of"), QStringLiteral("default=noprint_wrappers=1:nokey=1"), path});
    if (!process.waitForFinished())
        return {};
    return QString::fromUtf8(process.readAllStandardOutput()).section(u'\n', 0, 0).toStdString();
}

double DecodedSound::duration() const
{
    return static_cast<double>(samples_.size()) / kRate;
}

double DecodedSound::loudness() const
{
    double sum = 0;
    for (const float sample : samples_)
        sum += static_cast<double>(sample) * static_cast<double>(sample);
    return samples_.empty() ? 0 : std::sqrt(sum / static_cast<double>(samples_.size()));
}

double DecodedSound::level(double hertz, double from, double to) const
{
    const auto first = static_cast<size_t>(std::max(from, 0.0) * kRate);
    const auto last = std::min(samples_.size(), static_cast<size_t>(to * kRate));
    std::complex<double> sum;
    for (size_t index = first; index < last; ++index)
        sum += std::polar(static_cast<double>(samples_[index]),
                          2 * std::numbers::pi * hertz * static_cast<double>(index) / kRate);
    return last > first ? 2 * std::abs(sum) / static_cast<double>(last - first) : 0;
}

double DecodedSound::firstChirp() const
{
    const auto sound = std::find_if(samples_.begin(), samples_.end(), isAudible);
    const auto begin = static_cast<size_t>(sound - samples_.begin());
    // What a recorder garbled at its beginning does not fit what comes after it.
    constexpr double kFits = 0.02;
    constexpr size_t kStep = kWindow / 10;
    const double end = lastChirp();
    for (size_t from = begin; from + kEdge + kWindow <= samples_.size(); from += kStep) {
        const double time =
            chirpAt(from + kEdge, from + kEdge + kWindow) - static_cast<double>(kEdge) / kRate;
        if (std::abs(time + static_cast<double>(audibleEnd() - from) / kRate - end) < kFits)
            return time;
    }
    return -1;
}

size_t DecodedSound::audibleEnd() const
{
    return static_cast<size_t>(samples_.rend() - std::find_if(samples_.rbegin(), samples_.rend(), isAudible));
}

double DecodedSound::lastChirp() const
{
    const size_t end = audibleEnd();
    if (end < kEdge + kWindow)
        return -1;
    return chirpAt(end - kEdge - kWindow, end - kEdge) + static_cast<double>(kEdge + kWindow) / kRate;
}

/// At the window's beginning, from the times between zero crossings.
double DecodedSound::chirpAt(size_t from, size_t to) const
{
    std::vector<double> crossings;
    for (size_t index = from + 1; index < to; ++index) {
        const double before = samples_[index - 1];
        const double after = samples_[index];
        if (before < 0 && after >= 0)
            crossings.push_back(static_cast<double>(index) - after / (after - before));
    }
    if (crossings.size() < 3)
        return -1;
    const double pitch =
        static_cast<double>(crossings.size() - 1) / (crossings.back() - crossings.front()) * kRate;
    const double centre = (crossings.front() + crossings.back()) / 2;
    return (pitch - SoundPlayer::kChirpStart) / SoundPlayer::kChirpRise -
           (centre - static_cast<double>(from)) / kRate;
}

} // namespace velmo::test
