#include "Benchmarks.h"
#include "EventFeeder.h"
#include "Limits.h"
#include "core/Transcript.h"
#include "core/async/TaskScope.h"
#include "providers/AnthropicProvider.h"
#include "providers/OpenAIProvider.h"

#include <QCoreApplication>
#include <QFile>
#include <algorithm>
#include <benchmark/benchmark.h>
#include <curl/curl.h>
#include <functional>
#include <sys/resource.h>

namespace velmo::bench {

namespace {

constexpr qint64 kMegabyte = qint64(1024) * 1024;
constexpr qint64 kStreamBytes = 20 * kMegabyte;

/// Processor time of this process, all threads. The answer is worked on by two of them at once, so the clock
/// on the wall would hide half of the cost.
double processorSeconds()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

const char* nameOf(Shape shape)
{
    return shape == Shape::OpenAI ? "OpenAI" : "Anthropic";
}

std::string key(const char* what, Shape shape, qint64 bytes)
{
    return std::string(what) + '/' + nameOf(shape) + '/' + std::to_string(bytes);
}

// The same bytes through libcurl alone.

size_t countLines(char* data, size_t size, size_t count, void* lines)
{
    *static_cast<qint64*>(lines) += std::count(data, data + size * count, '\n');
    return size * count;
}

void fetchPlainly(benchmark::State& state, Shape shape)
{
    CURL* handle = curl_easy_init();
    const QByteArray url = EventFeeder::shared().baseUrl(shape, kStreamBytes).toUtf8() + "/v1/messages";
    qint64 lines = 0;
    curl_easy_setopt(handle, CURLOPT_URL, url.constData());
    curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, &countLines);
    curl_easy_setopt(handle, CURLOPT_WRITEDATA, &lines);
    curl_easy_setopt(handle, CURLOPT_BUFFERSIZE, 64L * 1024);
    for ([[maybe_unused]] auto iteration : state) {
        const double before = processorSeconds();
        if (curl_easy_perform(handle) != CURLE_OK || lines == 0)
            state.SkipWithError("the stream did not arrive");
        const double seconds = processorSeconds() - before;
        state.SetIterationTime(seconds);
        Limits::shared().note(key("plain", shape, kStreamBytes), seconds);
    }
    state.SetBytesProcessed(state.iterations() * EventFeeder::streamBytes(shape, kStreamBytes));
    curl_easy_cleanup(handle);
}

// The same bytes through the provider to a reader on the main thread.

async::Task<> readAnswer(AnswerChannel::Reader reader, std::function<void(const QString&)> onPiece,
                         bool* wentWell)
{
    while (true) {
        const auto batch = co_await reader.nextBatch();
        if (batch.empty())
            break;
        for (const QString& piece : batch)
            onPiece(piece);
    }
    *wentWell = !reader.error();
    QCoreApplication::exit();
}

bool streamAnswer(Shape shape, qint64 bytes, const std::function<void(const QString&)>& onPiece)
{
    const bool openAI = shape == Shape::OpenAI;
    qputenv(openAI ? "OPENAI_BASE_URL" : "ANTHROPIC_BASE_URL",
            EventFeeder::shared().baseUrl(shape, bytes).toUtf8());
    const QList<LLMMessage> messages{{LLMMessage::Role::User, QStringLiteral("What is this?"), std::nullopt}};
    const QString apiKey = QStringLiteral("dummy");
    const QString model = QStringLiteral("any");
    bool wentWell = false;
    async::TaskScope tasks;
    tasks.start(readAnswer(openAI ? OpenAIProvider(apiKey, model).stream(messages, {})
                                  : AnthropicProvider(apiKey, model).stream(messages, {}),
                           onPiece, &wentWell));
    QCoreApplication::exec();
    return wentWell;
}

void streamThroughProvider(benchmark::State& state, Shape shape, qint64 bytes)
{
    const qint64 expected = EventFeeder::textCharacters(shape, bytes);
    for ([[maybe_unused]] auto iteration : state) {
        qint64 characters = 0;
        const double before = processorSeconds();
        const bool wentWell =
            streamAnswer(shape, bytes, [&characters](const QString& piece) { characters += piece.size(); });
        const double seconds = processorSeconds() - before;
        if (!wentWell || characters != expected)
            state.SkipWithError("the answer did not arrive whole");
        state.SetIterationTime(seconds);
        Limits::shared().note(key("stream", shape, bytes), seconds);
    }
    state.SetBytesProcessed(state.iterations() * EventFeeder::streamBytes(shape, bytes));
}

// Memory.

/// From the kernel's account of this process, in bytes.
double residentBytes(const char* field)
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith(field))
            return line.simplified().split(' ').value(1).toDouble() * 1024;
    }
    return 0;
}

void resetPeak()
{
    QFile references(QStringLiteral("/proc/self/clear_refs"));
    if (references.open(QIODevice::WriteOnly))
        references.write("5");
}

/// As the session keeps an answer: once as the running text, once in the transcript's message.
void keepLongAnswer(benchmark::State& state)
{
    constexpr qint64 kTextBytes = 100 * kMegabyte;
    const double perByte = static_cast<double>(EventFeeder::textCharacters(Shape::AnthropicLong, kMegabyte)) /
                           static_cast<double>(EventFeeder::streamBytes(Shape::AnthropicLong, kMegabyte));
    const auto streamBytes = static_cast<qint64>(static_cast<double>(kTextBytes) / perByte);
    for ([[maybe_unused]] auto iteration : state) {
        PublishedText text;
        Transcript transcript;
        const QUuid id = transcript.append(ChatMessage::streamingAssistant());
        resetPeak();
        const double before = residentBytes("VmRSS:");
        const double start = processorSeconds();
        const bool wentWell = streamAnswer(Shape::AnthropicLong, streamBytes, [&](const QString& piece) {
            text.extend(piece);
            transcript.extend(id, piece);
        });
        state.SetIterationTime(processorSeconds() - start);
        const auto characters = static_cast<double>(text.value().size());
        if (!wentWell || characters < 0.99 * static_cast<double>(kTextBytes))
            state.SkipWithError("the answer did not arrive whole");
        const double growth = (residentBytes("VmHWM:") - before) / characters;
        state.counters["bytes per byte of text"] = growth;
        Limits::shared().note("memory", growth);
    }
}

// The transcript.

void extendTranscript(benchmark::State& state)
{
    Transcript transcript;
    for (qint64 count = 1; count < state.range(0); ++count)
        transcript.append(ChatMessage::user(QStringLiteral("a question")));
    const QUuid id = transcript.append(ChatMessage::streamingAssistant());
    qint64 characters = 0;
    const auto subscription = transcript.subscribe(
        [&characters](const TranscriptChange& change) { characters += change.text.size(); });
    const QString piece = QStringLiteral(" piece");
    constexpr int kPieces = 100'000;
    for ([[maybe_unused]] auto iteration : state) {
        transcript.replace(id, {}, true);
        const double before = processorSeconds();
        for (int count = 0; count < kPieces; ++count)
            transcript.extend(id, piece);
        const double seconds = processorSeconds() - before;
        state.SetIterationTime(seconds);
        Limits::shared().note("transcript/" + std::to_string(state.range(0)), seconds);
    }
    state.SetItemsProcessed(state.iterations() * kPieces);
}

BENCHMARK_CAPTURE(fetchPlainly, Anthropic, Shape::Anthropic)->UseManualTime()->Iterations(7);
BENCHMARK_CAPTURE(fetchPlainly, OpenAI, Shape::OpenAI)->UseManualTime()->Iterations(7);
BENCHMARK_CAPTURE(streamThroughProvider, Anthropic, Shape::Anthropic, kStreamBytes)
    ->UseManualTime()
    ->Iterations(7);
BENCHMARK_CAPTURE(streamThroughProvider, OpenAI, Shape::OpenAI, kStreamBytes)->UseManualTime()->Iterations(7);
BENCHMARK_CAPTURE(streamThroughProvider, Anthropic_quarter, Shape::Anthropic, kStreamBytes / 4)
    ->UseManualTime()
    ->Iterations(7);
BENCHMARK_CAPTURE(streamThroughProvider, Anthropic_fourfold, Shape::Anthropic, kStreamBytes * 4)
    ->UseManualTime()
    ->Iterations(3);
BENCHMARK(keepLongAnswer)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(extendTranscript)->Arg(10)->Arg(10'000)->UseManualTime()->Iterations(20);

} // namespace

void checkStreamLimits()
{
    constexpr double kParseLimit = 6;
    constexpr double kLinearityLimit = 1.3;
    constexpr double kMemoryLimit = 8;
    constexpr double kTranscriptLimit = 1.5;
    Limits& limits = Limits::shared();
    for (const Shape shape : {Shape::Anthropic, Shape::OpenAI})
        limits.checkRatio(std::string("reading the ") + nameOf(shape) +
                              " stream, to libcurl counting its lines",
                          key("stream", shape, kStreamBytes), key("plain", shape, kStreamBytes), kParseLimit);
    const auto perByte = [&limits](qint64 bytes) {
        return limits.value(key("stream", Shape::Anthropic, bytes)) / static_cast<double>(bytes);
    };
    limits.check("cost of a byte in a stream 4 times as long",
                 perByte(kStreamBytes) / perByte(kStreamBytes / 4), kLinearityLimit);
    limits.check("cost of a byte in a stream 16 times as long",
                 perByte(kStreamBytes * 4) / perByte(kStreamBytes / 4), kLinearityLimit);
    limits.check("resident memory per byte of a 100 MB answer", limits.value("memory"), kMemoryLimit);
    limits.checkRatio("a piece in a transcript of 10,000 messages, to one of 10", "transcript/10000",
                      "transcript/10", kTranscriptLimit);
}

} // namespace velmo::bench
