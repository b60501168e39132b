#include "Benchmarks.h"
#include "Limits.h"
#include "fakes/FakeCapture.h"
#include "fakes/FakeFocus.h"
#include "fakes/FakeScreens.h"
#include "overlay/OverlaySurface.h"

#include <QApplication>
#include <QFile>
#include <QPainterPath>
#include <algorithm>
#include <array>
#include <benchmark/benchmark.h>
#include <chrono>
#include <cmath>
#include <cstring>
#include <unistd.h>

namespace velmo::bench {

namespace {

constexpr QSize kDesktop{7680, 2160};
constexpr QSize kUsualScreen{1920, 1080};
constexpr int kVertices = 10'000;
constexpr int kMeasured = 1'000;

template <typename Function>
double milliseconds(Function function)
{
    const auto begin = std::chrono::steady_clock::now();
    function();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin).count();
}

/// What this process has of the machine's memory, in MiB.
double residentMegabytes()
{
    QFile file(QStringLiteral("/proc/self/statm"));
    if (!file.open(QIODevice::ReadOnly))
        return 0;
    const double pages = file.readAll().split(' ').value(1).toDouble();
    return pages * static_cast<double>(sysconf(_SC_PAGESIZE)) / (1024 * 1024);
}

/// The way of a hand that never lifts the pen: all over the desktop, each step some pixels long.
CanvasPoint wayAt(int vertex)
{
    const double turn = vertex * 0.01;
    const double share = 0.3 + 0.7 * vertex / kVertices;
    return {kDesktop.width() * (0.5 + 0.45 * std::cos(turn * 3.1) * share),
            kDesktop.height() * (0.5 + 0.45 * std::sin(turn * 2.3))};
}

/// A canvas over a wide desktop with the window that shows it.
class Board {
public:
    Board()
    {
        canvas_.onChange = [this](std::size_t, const QRect& pixels) { surface_.refresh(pixels); };
        surface_.show();
        QApplication::processEvents();
    }

    /// Draws so many vertices and shows each. Returns the mean of one, in ms.
    double draw(int from, int count)
    {
        return milliseconds([&] {
                   for (int vertex = from; vertex < from + count; ++vertex) {
                       canvas_.extendStroke(wayAt(vertex));
                       QApplication::processEvents();
                   }
               }) /
               count;
    }

    DrawingCanvasView& canvas() { return canvas_; }

private:
    FakeScreens screens_;
    FakeFocus focus_;
    FakeCapture capture_;
    AnnotationSession session_{SessionCollaborators{{}, {}, capture_, focus_, screens_, {}, {}}};
    DrawingCanvasView canvas_{
        ScreenRect{0, 0, static_cast<double>(kDesktop.width()), static_cast<double>(kDesktop.height())},
        std::make_shared<DrawingState>(), session_};
    OverlaySurface surface_{QRect(QPoint(), kDesktop), canvas_, 0};
};

/// What an event costs early and late in a long stroke, and what the picture of it costs afterwards.
void drawLongStroke(benchmark::State& state)
{
    Limits& limits = Limits::shared();
    for (auto _ : state) {
        const double memoryBefore = residentMegabytes();
        Board board;
        const double memoryShown = residentMegabytes();
        board.canvas().beginStroke(wayAt(0));
        limits.note("draw/first", board.draw(1, kMeasured));
        board.draw(kMeasured + 1, kVertices - 2 * kMeasured);
        limits.note("draw/last", board.draw(kVertices - kMeasured + 1, kMeasured));
        limits.note("draw/end", milliseconds([&] { board.canvas().endStroke(); }));
        limits.note("draw/memory of the window", memoryShown - memoryBefore);
        limits.note("draw/memory of the layers", residentMegabytes() - memoryShown);

        const CanvasRect screen{static_cast<double>(kUsualScreen.width()), 500,
                                static_cast<double>(kUsualScreen.width()),
                                static_cast<double>(kUsualScreen.height())};
        QImage picture;
        limits.note("draw/render", milliseconds([&] { picture = board.canvas().renderToImage(screen); }));
        limits.note("draw/render all",
                    milliseconds([&] { picture = board.canvas().renderToImage(std::nullopt); }));
        const QImage frame = board.canvas().renderToImage(screen);
        QByteArray copy(frame.sizeInBytes(), Qt::Uninitialized);
        limits.note("draw/memcpy", milliseconds([&] {
                        std::memcpy(copy.data(), frame.constBits(), static_cast<std::size_t>(copy.size()));
                    }));
        benchmark::DoNotOptimize(copy);
    }
}

BENCHMARK(drawLongStroke)->Iterations(3)->Unit(benchmark::kMillisecond);

} // namespace

void checkDrawLimits()
{
    Limits& limits = Limits::shared();
    constexpr double kSlowdown = 2;
    constexpr double kRenderLimit = 10;
    limits.checkRatio("drawing: a vertex late / early in a stroke of 10,000", "draw/last", "draw/first",
                      kSlowdown);
    limits.check("drawing: picture of 1920x1080 after 10,000 vertices, ms", limits.value("draw/render"),
                 kRenderLimit);
    Limits::report("drawing: a vertex early, ms", limits.value("draw/first"));
    Limits::report("drawing: a vertex late, ms", limits.value("draw/last"));
    Limits::report("drawing: end of the stroke, ms", limits.value("draw/end"));
    Limits::report("drawing: that picture / memcpy of it",
                   limits.value("draw/render") / limits.value("draw/memcpy"));
    Limits::report("drawing: picture of the whole desktop, ms", limits.value("draw/render all"));
    Limits::report("drawing: memory of the layers, MiB", limits.value("draw/memory of the layers"));
}

} // namespace velmo::bench
