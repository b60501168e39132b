#include "Benchmarks.h"
#include "Commands.h"
#include "Desktop.h"
#include "Limits.h"
#include "capture/ScreenCaptureService.h"
#include "core/async/TaskScope.h"
#include "platform/x11/X11DisplayCapture.h"
#include "support/capture/Pictures.h"
#include "support/x11/Await.h"
#include "support/x11/PlainClient.h"

#include <QBuffer>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <array>
#include <benchmark/benchmark.h>
#include <chrono>
#include <future>

namespace velmo::bench {

namespace {

constexpr QSize kUsual{1920, 1080};
constexpr QSize kLarge{3840, 2160};

void skip(benchmark::State& state, const char* reason)
{
    state.SkipWithError(reason);
    Limits::shared().fail(reason);
}

QSize sizeOf(const benchmark::State& state)
{
    return {static_cast<int>(state.range(0)), static_cast<int>(state.range(1))};
}

std::string key(const std::string& what, QSize size)
{
    return "capture/" + what + '/' + std::to_string(size.height());
}

template <typename Function>
double milliseconds(Function function)
{
    const auto begin = std::chrono::steady_clock::now();
    function();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin).count();
}

async::Task<> keepPicture(ScreenCaptureService* service, QImage overlay, QByteArray* picture, bool* finished)
{
    const auto outcome = co_await service->captureWithAnnotations(std::nullopt, std::move(overlay));
    if (outcome)
        *picture = outcome.value();
    *finished = true;
}

/// From the end of the stroke to the picture's bytes, as the session goes about it.
QByteArray takePicture(ScreenCaptureService& service, async::TaskScope& scope, const QImage& overlay)
{
    QByteArray picture;
    bool finished = false;
    service.freezeScreen(std::nullopt);
    scope.start(keepPicture(&service, overlay, &picture, &finished));
    while (!finished)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    return picture;
}

/// The same as it is usually written: no thought given to what each step costs.
QByteArray takePictureNaively(Desktop& desktop, const QImage& overlay)
{
    QImage screen = desktop.grab();
    QPainter(&screen).drawImage(0, 0, overlay);
    const QImage reduced = screen.scaled(ScreenCaptureService::sizeForVision(screen.size()),
                                         Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    QByteArray picture;
    QBuffer buffer(&picture);
    buffer.open(QIODevice::WriteOnly);
    reduced.save(&buffer, "PNG");
    return picture;
}

void strokeEndToPicture(benchmark::State& state)
{
    constexpr int kRounds = 15;
    Desktop desktop(sizeOf(state), Desktop::Windows::Some);
    if (!desktop.isReady())
        return skip(state, "the desktop did not start");
    X11DisplayCapture displays;
    displays.prepare();
    ScreenCaptureService service(displays);
    async::TaskScope scope;
    const QImage overlay = strokes(desktop.size());
    for ([[maybe_unused]] auto iteration : state) {
        for (int round = 0; round < kRounds; ++round) {
            QByteArray ours;
            QByteArray naive;
            const double our = milliseconds([&] { ours = takePicture(service, scope, overlay); });
            const double other = milliseconds([&] { naive = takePictureNaively(desktop, overlay); });
            if (!showsTheSame(QImage::fromData(ours), QImage::fromData(naive)))
                return skip(state, "the picture is not what is on the screen");
            Limits::shared().note(key("picture", desktop.size()), our);
            Limits::shared().note(key("picture/naive", desktop.size()), other);
        }
    }
    state.counters["ms"] = Limits::shared().value(key("picture", desktop.size()));
    state.counters["naive_ms"] = Limits::shared().value(key("picture/naive", desktop.size()));
    displays.release();
}

struct Program {
    const char* name;
    QByteArrayList command;
    bool writesToOutput = false;
};

std::vector<Program> programs(const QString& picture, const QByteArray& bus)
{
    const QByteArray file = picture.toUtf8();
    return {
        {"velmo", {VELMO_CAPTURE_ONCE, file}},
        {"maim", {"maim", file}},
        {"flameshot", {"env", "DBUS_SESSION_BUS_ADDRESS=" + bus, "flameshot", "full", "--raw"}, true},
        {"scrot", {"scrot", "--overwrite", file}},
        {"import", {"import", "-silent", "-window", "root", file}},
    };
}

/// Ours is reduced; the others' pictures have the size of the screen.
bool showsTheScreen(const QString& picture, const QImage& screen)
{
    const QImage image(picture, "PNG");
    return !image.isNull() &&
           showsTheSame(image, screen.scaled(image.size(), Qt::IgnoreAspectRatio, Qt::SmoothTransformation));
}

void wholeCommand(benchmark::State& state)
{
    constexpr int kRounds = 4;
    Desktop desktop(sizeOf(state), Desktop::Windows::Some);
    if (!desktop.isReady())
        return skip(state, "the desktop did not start");
    const QTemporaryDir folder;
    const QString socket = folder.filePath(QStringLiteral("bus"));
    const QByteArray bus = "unix:path=" + socket.toUtf8();
    const test::ChildProcess daemon({"dbus-daemon", "--session", "--nofork", "--address=" + bus});
    if (!test::awaitCondition([&] { return QFile::exists(socket); }))
        return skip(state, "the session bus did not start");
    const QString picture = folder.filePath(QStringLiteral("picture.png"));
    for ([[maybe_unused]] auto iteration : state) {
        for (int round = 0; round < kRounds; ++round) {
            for (const Program& program : programs(picture, bus)) {
                QFile::remove(picture);
                const double time =
                    timeCommand(program.command, program.writesToOutput ? picture : QString());
                // Every time: a program that fails is fast.
                if (!showsTheScreen(picture, desktop.grab())) {
                    const std::string reason = std::string(program.name) + " did not take the picture";
                    return skip(state, reason.c_str());
                }
                Limits::shared().note(key(std::string("command/") + program.name, desktop.size()), time);
            }
        }
    }
    for (const Program& program : programs(picture, bus))
        state.counters[std::string(program.name) + "_ms"] =
            Limits::shared().value(key(std::string("command/") + program.name, desktop.size()));
}

/// None if there was no picture.
std::optional<double> timeCapture(X11DisplayCapture& displays)
{
    const auto work = [&]() -> std::optional<double> {
        const auto content = displays.shareableContent();
        if (!content || content.value().displays.empty())
            return std::nullopt;
        std::optional<Result<QImage, PlatformError>> image;
        const double time = milliseconds([&] {
            image = displays.captureDisplay(content.value().displays.front().id, CaptureMoment::Now);
        });
        return image->hasValue() ? std::optional(time) : std::nullopt;
    };
    return std::async(std::launch::async, work).get();
}

/// False as soon as one capture fails.
bool noteCaptures(X11DisplayCapture& displays, const char* name, int rounds)
{
    for (int round = 0; round < rounds; ++round) {
        const auto time = timeCapture(displays);
        if (!time)
            return false;
        Limits::shared().note(name, *time);
    }
    return true;
}

void stackedWindows(benchmark::State& state)
{
    constexpr int kRounds = 15;
    constexpr int kWindows = 44;
    Desktop desktop(kUsual, Desktop::Windows::None);
    if (!desktop.isReady())
        return skip(state, "the desktop did not start");
    X11DisplayCapture displays;
    displays.prepare();
    for ([[maybe_unused]] auto iteration : state) {
        if (!noteCaptures(displays, "capture/empty", kRounds))
            return skip(state, "there was no picture of the empty desktop");
        std::vector<std::unique_ptr<test::PlainClient>> windows;
        for (int index = 0; index < kWindows; ++index) {
            test::PlainClient::Options options;
            options.area = QRect(100 + 7 * index, 60 + 5 * index, 1300, 720);
            options.color = static_cast<quint32>(0x203040 + 0x030507 * index);
            windows.push_back(std::make_unique<test::PlainClient>(options));
        }
        if (!noteCaptures(displays, "capture/stacked", kRounds))
            return skip(state, "there was no picture of the windows");
    }
    state.counters["empty_ms"] = Limits::shared().value("capture/empty");
    state.counters["stacked_ms"] = Limits::shared().value("capture/stacked");
    displays.release();
}

void bothSizes(benchmark::internal::Benchmark* benchmark)
{
    for (const QSize size : {kUsual, kLarge})
        benchmark->Args({size.width(), size.height()});
    benchmark->Iterations(1)->Unit(benchmark::kMillisecond);
}

BENCHMARK(strokeEndToPicture)->Apply(bothSizes);
BENCHMARK(wholeCommand)->Apply(bothSizes);
BENCHMARK(stackedWindows)->Iterations(1)->Unit(benchmark::kMillisecond);

struct SizeLimits {
    QSize size;
    double toNaive;
    double toMaim;
    double toFlameshot;
};

} // namespace

void checkCaptureLimits()
{
    constexpr std::array kLimits{SizeLimits{kUsual, 0.40, 0.45, 0.5}, SizeLimits{kLarge, 0.45, 0.25, 0.35}};
    constexpr double kStackLimit = 3;
    Limits& limits = Limits::shared();
    for (const auto& [size, toNaive, toMaim, toFlameshot] : kLimits) {
        const std::string lines = ", " + std::to_string(size.height()) + " lines";
        limits.checkRatio("stroke's end to PNG, to the naive way" + lines, key("picture", size),
                          key("picture/naive", size), toNaive);
        const std::string ours = key("command/velmo", size);
        limits.checkRatio("whole command, to maim" + lines, ours, key("command/maim", size), toMaim);
        limits.checkRatio("whole command, to flameshot" + lines, ours, key("command/flameshot", size),
                          toFlameshot);
        Limits::report("whole command, to scrot" + lines,
                       limits.value(ours) / limits.value(key("command/scrot", size)));
        Limits::report("whole command, to import" + lines,
                       limits.value(ours) / limits.value(key("command/import", size)));
        Limits::report("milliseconds from stroke's end to PNG" + lines, limits.value(key("picture", size)));
        Limits::report("milliseconds of the whole command" + lines, limits.value(ours));
    }
    limits.checkRatio("capture of 44 stacked windows, to an empty desktop", "capture/stacked",
                      "capture/empty", kStackLimit);
}

} // namespace velmo::bench
