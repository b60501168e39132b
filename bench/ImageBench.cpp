#include "Benchmarks.h"
#include "Desktop.h"
#include "Limits.h"
#include "capture/PngEncoder.h"
#include "providers/ImagePayload.h"
#include "support/capture/Pictures.h"

#include <QBuffer>
#include <algorithm>
#include <benchmark/benchmark.h>
#include <chrono>
#include <functional>
#include <webp/encode.h>

namespace velmo::bench {

namespace {

/// What a screen of 1920x1080 is reduced to.
constexpr QSize kSize{1568, 882};
constexpr int kQuality = 82;

enum Picture { Screen, Photograph };

const char* nameOf(Picture picture)
{
    return picture == Screen ? "screen" : "photograph";
}

QImage make(Picture picture)
{
    if (picture == Photograph)
        return photograph(kSize);
    Desktop desktop({1920, 1080}, Desktop::Windows::Some);
    return desktop.isReady() ? desktop.grab().scaled(kSize, Qt::IgnoreAspectRatio, Qt::SmoothTransformation)
                             : QImage();
}

std::string key(const char* what, Picture picture)
{
    return std::string(what) + '/' + nameOf(picture);
}

using Encoder = std::function<QByteArray(const QImage&)>;

QByteArray encodedByToolkit(const QImage& image)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return bytes;
}

/// With everything but the quality as the library proposes.
QByteArray encodedAsWebP(const QImage& image)
{
    const QImage pixels = image.convertToFormat(QImage::Format_RGB888);
    uint8_t* bytes = nullptr;
    const size_t size = WebPEncodeRGB(pixels.constBits(), pixels.width(), pixels.height(),
                                      static_cast<int>(pixels.bytesPerLine()), kQuality, &bytes);
    QByteArray result(reinterpret_cast<const char*>(bytes), static_cast<qsizetype>(size));
    WebPFree(bytes);
    return result;
}

/// Both in turn; smallest times, and sizes, which do not vary.
void compare(benchmark::State& state, const char* what, const Encoder& ours, const Encoder& usual)
{
    constexpr int kRounds = 7;
    const auto picture = static_cast<Picture>(state.range(0));
    const QImage image = make(picture);
    if (image.isNull()) {
        state.SkipWithError("the desktop did not start");
        Limits::shared().fail("the desktop did not start");
        return;
    }
    const std::array sides{std::pair{std::string("/ours"), ours}, std::pair{std::string("/usual"), usual}};
    for ([[maybe_unused]] auto iteration : state) {
        for (int round = 0; round < kRounds; ++round) {
            for (const auto& [side, encode] : sides) {
                const auto begin = std::chrono::steady_clock::now();
                const QByteArray bytes = encode(image);
                const std::chrono::duration<double, std::milli> time =
                    std::chrono::steady_clock::now() - begin;
                if (bytes.isEmpty()) {
                    state.SkipWithError("a picture was not encoded");
                    Limits::shared().fail("a picture was not encoded");
                    return;
                }
                Limits::shared().note(key(what, picture) + side, time.count());
                Limits::shared().note(key(what, picture) + side + "/bytes",
                                      static_cast<double>(bytes.size()));
            }
        }
    }
    for (const auto& [side, encode] : sides) {
        const std::string name = key(what, picture) + side;
        state.counters[side.substr(1) + "_ms"] = Limits::shared().value(name);
        state.counters[side.substr(1) + "_bytes"] = Limits::shared().value(name + "/bytes");
    }
}

void png(benchmark::State& state)
{
    compare(
        state, "png", [](const QImage& image) { return encodePng(image).value_or(QByteArray()); },
        encodedByToolkit);
}

void payload(benchmark::State& state)
{
    compare(
        state, "webp",
        [](const QImage& image) {
            return systemImageEncoders().webP(image, kQuality).value_or(QByteArray());
        },
        encodedAsWebP);
}

BENCHMARK(png)->Arg(Screen)->Arg(Photograph)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(payload)->Arg(Screen)->Arg(Photograph)->Iterations(1)->Unit(benchmark::kMillisecond);

} // namespace

void checkImageLimits()
{
    constexpr double kPngTimeLimit = 0.25;
    constexpr double kPngSizeLimit = 1.35;
    constexpr double kPayloadTimeLimit = 0.6;
    constexpr double kPayloadSizeLimit = 1.05;
    Limits& limits = Limits::shared();
    for (const Picture picture : {Screen, Photograph}) {
        const std::string of = std::string(" of a ") + nameOf(picture);
        const std::string png = key("png", picture);
        const std::string webp = key("webp", picture);
        limits.checkRatio("time for a PNG" + of + ", to the toolkit", png + "/ours", png + "/usual",
                          kPngTimeLimit);
        limits.checkRatio("size of a PNG" + of + ", to the toolkit", png + "/ours/bytes",
                          png + "/usual/bytes", kPngSizeLimit);
        limits.checkRatio("time for a WebP" + of + ", to the library's default", webp + "/ours",
                          webp + "/usual", kPayloadTimeLimit);
        limits.checkRatio("size of a WebP" + of + ", to the library's default", webp + "/ours/bytes",
                          webp + "/usual/bytes", kPayloadSizeLimit);
    }
}

} // namespace velmo::bench
