#include "Benchmarks.h"
#include "Limits.h"
#include "core/async/TaskScope.h"
#include "platform/HttpClient.h"
#include "platform/linux/AacFile.h"
#include "platform/linux/PulseRecorders.h"
#include "support/sound/DecodedSound.h"
#include "support/sound/SoundPlayer.h"
#include "support/sound/SoundServer.h"
#include "support/x11/Await.h"
#include "voice/ReplicateWhisperService.h"

#include <QProcess>
#include <QTemporaryDir>
#include <algorithm>
#include <atomic>
#include <benchmark/benchmark.h>
#include <ctime>
#include <random>

namespace velmo::bench {

namespace {

using Milliseconds = std::chrono::duration<double, std::milli>;
using test::SoundPlayer;
using test::SoundServer;

constexpr std::chrono::milliseconds kHeld{600};

/// A part of all samples, from the smallest on.
double quantile(std::vector<double> samples, double part)
{
    std::sort(samples.begin(), samples.end());
    return samples.empty() ? 0 : samples[static_cast<size_t>(part * static_cast<double>(samples.size() - 1))];
}

void skip(benchmark::State& state, const char* reason)
{
    state.SkipWithError(reason);
    Limits::shared().fail(reason);
}

/// Everything that a recording needs, as it is when the panel is open.
class RecordingDesk {
public:
    [[nodiscard]] bool start() { return server_.isReady() && server_.plugMicrophone(); }

    struct Take {
        Clock::TimePoint pressed;
        Clock::TimePoint firstSound;
        Milliseconds held{0}; ///< The main thread, by the press.
        Milliseconds toFile{0};
        bool isGood = false;
    };

    Take take(std::chrono::milliseconds held)
    {
        Take result;
        hasSound_ = false;
        result.pressed = Clock::now();
        const auto recorder = recorders_.record(path(), {}, [](const PlatformError&) {});
        result.held = Clock::now() - result.pressed;
        test::awaitCondition([this] { return hasSound_.load(); });
        result.firstSound = firstSound_;
        test::awaitCondition([&] { return Clock::now() >= result.pressed + held; });
        const auto released = Clock::now();
        bool hasEnded = false;
        recorder.value()->stop([&](const std::optional<PlatformError>& error) {
            result.isGood = !error;
            hasEnded = true;
        });
        while (!hasEnded)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        result.toFile = Clock::now() - released;
        lost_ = player_ && result.isGood
                    ? (test::DecodedSound(path()).firstChirp() - player_->position(result.pressed)) * 1000
                    : 0;
        return result;
    }

    void play() { player_ = std::make_unique<SoundPlayer>(SoundServer::kMicrophoneSink, SoundPlayer::chirp); }
    [[nodiscard]] const SoundPlayer& player() const { return *player_; }
    /// What the last take lacks at its beginning, in milliseconds.
    [[nodiscard]] double lost() const { return lost_; }
    [[nodiscard]] QString path() const { return folder_.filePath(QStringLiteral("take.m4a")); }

private:
    SoundServer server_{SoundServer::Kind::PulseAudio};
    QTemporaryDir folder_;
    std::atomic<bool> hasSound_ = false;
    Clock::TimePoint firstSound_;
    PulseRecorders recorders_{[this](Clock::TimePoint moment) {
        firstSound_ = moment;
        hasSound_ = true;
    }};
    std::shared_ptr<void> readiness_ = recorders_.keepReady();
    std::unique_ptr<SoundPlayer> player_;
    double lost_ = 0;
};

void pressToFirstSound(benchmark::State& state)
{
    RecordingDesk desk;
    if (!desk.start()) {
        skip(state, "the sound server did not start");
        return;
    }
    desk.play();
    std::vector<double> waits;
    std::vector<double> files;
    constexpr int kPresses = 100;
    for ([[maybe_unused]] auto iteration : state) {
        for (int press = 0; press < kPresses; ++press) {
            const auto take = desk.take({});
            if (!take.isGood) {
                skip(state, "a recording failed");
                return;
            }
            waits.push_back(Milliseconds(take.firstSound - take.pressed).count());
            files.push_back(take.toFile.count());
        }
    }
    Limits& limits = Limits::shared();
    limits.note("sound/first/p50", quantile(waits, 0.5));
    limits.note("sound/first/p99", quantile(waits, 0.99));
    limits.note("sound/file/p50", quantile(files, 0.5));
    limits.note("sound/file/p99", quantile(files, 0.99));
}

#ifdef VELMO_RECORD_ONCE
/// What the toolkit's recorder lacks at the beginning, and how long its press holds the main thread up, in
/// milliseconds; nothing if it failed, since some of its files cannot be read.
void recordByToolkit(const RecordingDesk& desk, std::vector<double>& lost, std::vector<double>& held)
{
    QProcess process;
    const QString path = desk.path() + QStringLiteral(".toolkit.m4a");
    process.start(QStringLiteral(VELMO_RECORD_ONCE), {path, QString::number(kHeld.count())});
    if (!process.waitForFinished() || process.exitCode() != 0)
        return;
    const auto times = process.readAllStandardOutput().trimmed().split(' ');
    const std::chrono::nanoseconds pressed(times.first().toLongLong());
    held.push_back(times.last().toDouble() / 1e6);
    const double first = test::DecodedSound(path).firstChirp();
    QFile::remove(path);
    if (first >= 0)
        lost.push_back((first - desk.player().position(Clock::TimePoint(pressed))) * 1000);
}
#endif

/// From what sounds in the finished files, so that both are measured alike.
void lostAtBeginning(benchmark::State& state)
{
    RecordingDesk desk;
    if (!desk.start()) {
        skip(state, "the sound server did not start");
        return;
    }
    desk.play();
    std::vector<double> ours;
    std::vector<double> held;
    std::vector<double> toolkits;
    std::vector<double> toolkitHeld;
    constexpr int kTakes = 9;
    for ([[maybe_unused]] auto iteration : state) {
        for (int take = 0; take < kTakes; ++take) {
            const auto made = desk.take(kHeld);
            if (!made.isGood) {
                skip(state, "a recording failed");
                return;
            }
            ours.push_back(desk.lost());
            held.push_back(made.held.count());
#ifdef VELMO_RECORD_ONCE
            recordByToolkit(desk, toolkits, toolkitHeld);
#endif
        }
    }
    Limits::shared().note("sound/lost", quantile(ours, 0.5));
    Limits::shared().note("sound/held", quantile(held, 0.5));
#ifdef VELMO_RECORD_ONCE
    if (toolkitHeld.empty())
        skip(state, "the toolkit's recorder never worked");
#endif
    if (!toolkitHeld.empty())
        Limits::shared().note("sound/held/toolkit", quantile(toolkitHeld, 0.5));
    if (!toolkits.empty())
        Limits::shared().note("sound/lost/toolkit", quantile(toolkits, 0.5));
}

/// Notes when it is asked to send something, and sends nothing.
class UploadClock final : public HttpClient {
public:
    [[nodiscard]] std::unique_ptr<HttpExchange> send(HttpRequest request, HeadHandler /*onHead*/) override
    {
        moment = Clock::now();
        bytes = request.body.size();
        return std::make_unique<HttpExchange>();
    }

    std::optional<Clock::TimePoint> moment;
    qsizetype bytes = 0;
};

/// From the end of a question of some seconds until its sound leaves the program.
void releaseToUpload(benchmark::State& state)
{
    constexpr std::chrono::milliseconds kQuestion{2000};
    constexpr int kQuestions = 9;
    SoundServer server(SoundServer::Kind::PulseAudio);
    if (!server.isReady() || !server.plugMicrophone()) {
        skip(state, "the sound server did not start");
        return;
    }
    const SoundPlayer player(SoundServer::kMicrophoneSink, SoundPlayer::chirp);
    PulseRecorders recorders;
    std::vector<double> waits;
    for ([[maybe_unused]] auto iteration : state) {
        for (int question = 0; question < kQuestions; ++question) {
            UploadClock upload;
            async::TaskScope tasks;
            ReplicateWhisperService service(QStringLiteral("key"), QStringLiteral("version"),
                                            VoiceCollaborators{recorders, upload});
            service.startRecording();
            const auto pressed = Clock::now();
            test::awaitCondition([&] { return Clock::now() >= pressed + kQuestion; });
            const auto released = Clock::now();
            tasks.start(service.stopAndTranscribe());
            if (!test::awaitCondition([&] { return upload.moment.has_value(); })) {
                skip(state, "a recording failed");
                return;
            }
            waits.push_back(Milliseconds(*upload.moment - released).count());
        }
    }
    Limits::shared().note("sound/upload/p50", quantile(waits, 0.5));
    Limits::shared().note("sound/upload/max", quantile(waits, 1));
}

void encodeSound(benchmark::State& state)
{
    constexpr int kSeconds = 60;
    constexpr size_t kRate = 44100;
    std::minstd_rand random(1);
    std::uniform_real_distribution<float> noise(-0.05F, 0.05F);
    std::vector<float> samples(kSeconds * kRate);
    for (size_t index = 0; index < samples.size(); ++index)
        samples[index] =
            static_cast<float>(SoundPlayer::chirp(static_cast<double>(index) / kRate)) + noise(random);
    const QTemporaryDir folder;
    for ([[maybe_unused]] auto iteration : state) {
        const std::clock_t before = std::clock();
        const auto file = AacFile::create(folder.filePath(QStringLiteral("sound.m4a")), {});
        if (!file) {
            skip(state, "the file could not be made");
            return;
        }
        file.value()->append(samples);
        file.value()->finish();
        const double seconds = static_cast<double>(std::clock() - before) / CLOCKS_PER_SEC;
        state.SetIterationTime(seconds);
        Limits::shared().note("sound/encode", seconds / kSeconds * 100);
    }
}

BENCHMARK(pressToFirstSound)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(lostAtBeginning)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(releaseToUpload)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(encodeSound)->UseManualTime()->Iterations(3)->Unit(benchmark::kMillisecond);

} // namespace

void checkSoundLimits()
{
    constexpr double kBesideToolkit = 0.25;
    constexpr double kEncodingPercent = 2;
    Limits& limits = Limits::shared();
    limits.report("press to the first sample, median, ms; below 0: the server had it already",
                  limits.value("sound/first/p50"));
    limits.report("press to the first sample, 99th percentile, ms", limits.value("sound/first/p99"));
    limits.report("sound lost after the press, median, ms", limits.value("sound/lost"));
    limits.report("the same with the toolkit's recorder, ms", limits.value("sound/lost/toolkit"));
    limits.report("main thread held up by the press, median, ms", limits.value("sound/held"));
    limits.report("the same with the toolkit's recorder, ms", limits.value("sound/held/toolkit"));
    limits.checkRatio("main thread held up by the press, to the toolkit's recorder", "sound/held",
                      "sound/held/toolkit", kBesideToolkit);
    limits.report("release to complete file, median, ms", limits.value("sound/file/p50"));
    limits.report("release to complete file, 99th percentile, ms", limits.value("sound/file/p99"));
    limits.report("release of a two-second question to its upload, median, ms",
                  limits.value("sound/upload/p50"));
    limits.report("the same at its longest, ms", limits.value("sound/upload/max"));
    limits.check("encoding, in percent of the sound's own time", limits.value("sound/encode"),
                 kEncodingPercent);
}

} // namespace velmo::bench
