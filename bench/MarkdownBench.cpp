#include "Benchmarks.h"
#include "Limits.h"
#include "markdown/IncrementalRenderer.h"

#include <benchmark/benchmark.h>
#include <chrono>

namespace velmo::bench {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kAnswerUnits = 20'000;
constexpr std::size_t kHostileUnits = 100'000;
constexpr std::size_t kPieces = 2'000;
constexpr std::size_t kPiecesAtAnEnd = 200;

double secondsSince(Clock::time_point start)
{
    return std::chrono::duration<double>(Clock::now() - start).count();
}

std::u16string repeated(std::u16string_view part, std::size_t units)
{
    std::u16string text;
    while (text.size() < units)
        text += part;
    text.resize(units);
    return text;
}

std::u16string answer(std::size_t units)
{
    return repeated(
        u"## What the picture shows\n\nThe **selected** part is a `QWidget` whose size_hint is *small*; "
        u"it comes from a layout that was never given a stretch. There are two ways out of this:\n\n"
        u"1. Set the **size policy** of the widget, as in `setSizePolicy(Expanding, Fixed)`.\n"
        u"2. Give the layout a __stretch__ and let the widget be.\n\n"
        u"```cpp\nlayout->addStretch(1);\n```\n\n"
        u"- The first changes one widget, the second all of the row.\n\n",
        units);
}

void renderText(benchmark::State& state, const std::string& name, const std::u16string& source)
{
    for ([[maybe_unused]] auto iteration : state) {
        const auto start = Clock::now();
        const markdown::StyledText rendered = markdown::render(source);
        const double seconds = secondsSince(start);
        benchmark::DoNotOptimize(rendered.text.data());
        state.SetIterationTime(seconds);
        Limits::shared().note("markdown/" + name, seconds);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(source.size()));
}

void renderAnswer(benchmark::State& state)
{
    renderText(state, "answer", answer(kAnswerUnits));
}

void renderLongAnswer(benchmark::State& state)
{
    renderText(state, "long answer", answer(16 * kAnswerUnits));
}

void renderPlainText(benchmark::State& state)
{
    renderText(state, "plain", repeated(u"words and nothing else ", kHostileUnits));
}

void renderBackticks(benchmark::State& state)
{
    // Half of them open, and each of the others closes one. Literally, each takes a search through all before
    // it.
    renderText(state, "backticks",
               repeated(u"`", kHostileUnits / 3) + repeated(u"x`", kHostileUnits - kHostileUnits / 3));
}

void renderAsterisks(benchmark::State& state)
{
    renderText(state, "asterisks", repeated(u"****a** *", kHostileUnits));
}

void renderHashes(benchmark::State& state)
{
    renderText(state, "hashes", repeated(u"# ", kHostileUnits));
}

/// As a stream brings it: the renderer's time alone, in the first and in the last pieces.
void appendPieces(benchmark::State& state, const std::string& name, const std::u16string& source)
{
    const std::size_t length = source.size() / kPieces;
    for ([[maybe_unused]] auto iteration : state) {
        markdown::IncrementalRenderer renderer;
        const auto append = [&](std::size_t first, std::size_t last) {
            const auto start = Clock::now();
            for (std::size_t piece = first; piece < last; ++piece)
                benchmark::DoNotOptimize(
                    renderer.append(std::u16string_view(source).substr(piece * length, length)));
            return secondsSince(start);
        };
        const double atFirst = append(0, kPiecesAtAnEnd);
        const double between = append(kPiecesAtAnEnd, kPieces - kPiecesAtAnEnd);
        const double atLast = append(kPieces - kPiecesAtAnEnd, kPieces);
        state.SetIterationTime(atFirst + between + atLast);
        Limits::shared().note("markdown/first pieces/" + name, atFirst);
        Limits::shared().note("markdown/last pieces/" + name, atLast);
        Limits::shared().note("markdown/all pieces/" + name, atFirst + between + atLast);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kPieces));
}

void appendAnswer(benchmark::State& state)
{
    appendPieces(state, "answer", answer(kAnswerUnits));
}

void appendLongLine(benchmark::State& state)
{
    appendPieces(state, "line",
                 repeated(u"a line that does not end, with **bold** in it, ", 50 * kAnswerUnits));
}

BENCHMARK(renderAnswer)->UseManualTime()->Iterations(200);
BENCHMARK(renderLongAnswer)->UseManualTime()->Iterations(50);
BENCHMARK(renderPlainText)->UseManualTime()->Iterations(100);
BENCHMARK(renderBackticks)->UseManualTime()->Iterations(100);
BENCHMARK(renderAsterisks)->UseManualTime()->Iterations(100);
BENCHMARK(renderHashes)->UseManualTime()->Iterations(100);
BENCHMARK(appendAnswer)->UseManualTime()->Iterations(100);
BENCHMARK(appendLongLine)->UseManualTime()->Iterations(20);

} // namespace

void checkMarkdownLimits()
{
    constexpr double kLinearityLimit = 1.5;
    constexpr double kHostileLimit = 3;
    constexpr double kTailLimit = 2;
    constexpr double kStreamLimit = 5;
    Limits& limits = Limits::shared();
    Limits::report("markdown: an answer of 20,000 characters, ms", 1e3 * limits.value("markdown/answer"));
    limits.check("markdown: cost of a character in an answer 16 times as long",
                 limits.value("markdown/long answer") / limits.value("markdown/answer") / 16,
                 kLinearityLimit);
    for (const char* hostile : {"backticks", "asterisks", "hashes"})
        limits.checkRatio(std::string("markdown: 100,000 characters of ") + hostile + ", to plain ones",
                          std::string("markdown/") + hostile, "markdown/plain", kHostileLimit);
    limits.checkRatio("markdown: the answer's last 200 pieces of 2,000, to the first 200",
                      "markdown/last pieces/answer", "markdown/first pieces/answer", kTailLimit);
    limits.checkRatio("markdown: the same in a single line of 1,000,000 characters",
                      "markdown/last pieces/line", "markdown/first pieces/line", kTailLimit);
    limits.checkRatio("markdown: the answer in 2,000 pieces, to rendering it once",
                      "markdown/all pieces/answer", "markdown/answer", kStreamLimit);
}

} // namespace velmo::bench
