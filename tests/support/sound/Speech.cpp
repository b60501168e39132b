#include "support/sound/Speech.h"

#include <QProcess>
#include <QStringList>
#include <cmath>
#include <cstring>
#include <vector>

namespace velmo::test {
namespace {

/// What the synthesizer writes: a head, and then samples of 16 bits.
constexpr qsizetype kHeadSize = 44;
constexpr double kRate = 22050;
constexpr double kFullScale = 32768;

} // namespace

SoundPlayer::Wave speech(const QString& sentence)
{
    QProcess synthesizer;
    synthesizer.start(QStringLiteral("espeak-ng"), {QStringLiteral("--stdout"), sentence});
    std::vector<qint16> samples;
    if (synthesizer.waitForFinished()) {
        const QByteArray bytes = synthesizer.readAllStandardOutput().mid(kHeadSize);
        samples.resize(static_cast<std::size_t>(bytes.size()) / sizeof(qint16));
        std::memcpy(samples.data(), bytes.constData(), samples.size() * sizeof(qint16));
    }
    return [samples](double time) {
        if (samples.empty())
            return 0.0;
        const auto index = static_cast<std::size_t>(time * kRate) % samples.size();
        return samples[index] / kFullScale;
    };
}

} // namespace velmo::test
