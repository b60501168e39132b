#include "Benchmarks.h"
#include "Limits.h"
#include "input/HotkeyMonitor.h"
#include "platform/x11/X11EventTap.h"
#include "support/x11/Await.h"
#include "support/x11/InputDriver.h"
#include "support/x11/PlainClient.h"

#include <QDir>
#include <QFile>
#include <QSet>
#include <algorithm>
#include <benchmark/benchmark.h>
#include <chrono>
#include <fcntl.h>
#include <functional>
#include <memory>
#include <thread>
#include <unistd.h>
#include <vector>
#include <xcb/xtest.h>

namespace velmo::bench {

namespace {

using Clock = std::chrono::steady_clock;
using Microseconds = std::chrono::duration<double, std::micro>;

/// A part of all samples, from the smallest on.
double quantile(std::vector<double> samples, double part)
{
    if (samples.empty())
        return 0;
    const auto index = static_cast<std::ptrdiff_t>(part * static_cast<double>(samples.size() - 1));
    std::nth_element(samples.begin(), samples.begin() + index, samples.end());
    return samples[static_cast<std::size_t>(index)];
}

void skip(benchmark::State& state, const char* reason)
{
    state.SkipWithError(reason);
    Limits::shared().fail(reason);
}

/// A console that takes every line and shows none.
void printNowhere(QByteArrayView line)
{
    static const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    static_cast<void>(!write(nowhere, line.data(), static_cast<size_t>(line.size())));
}

/// The monitor on its tap, as the program runs it, with every gesture on.
class RunningMonitor {
public:
    RunningMonitor()
    {
        monitor_->printLine = printNowhere;
        monitor_->onStarted = [this](const EventTap::StartReport& report) { isReady_ = report.started; };
        monitor_->start();
        test::awaitCondition([this] { return isReady_; });
    }
    RunningMonitor(const RunningMonitor&) = delete;
    RunningMonitor& operator=(const RunningMonitor&) = delete;
    ~RunningMonitor() { monitor_->stop(); }

    [[nodiscard]] bool isReady() const { return isReady_; }
    [[nodiscard]] int activations() const { return activations_; }

private:
    bool isReady_ = false;
    int activations_ = 0;
    X11EventTap tap_;
    std::shared_ptr<HotkeyMonitor> monitor_ = std::make_shared<HotkeyMonitor>(
        tap_,
        HotkeyMonitor::Callbacks{[this] { ++activations_; }, [](ScreenPoint) {}, [](ScreenPoint) {}, [] {}});
};

/// From the press of a key to the focused application having it, some times over.
void timeKeys(test::PlainClient& client, test::InputDriver& input, std::vector<double>& into)
{
    constexpr int kPresses = 40;
    xcb_connection_t* application = client.connection().get();
    const auto key = input.keyCode("a");
    for (int press = 0; press < kPresses; ++press) {
        const auto begin = Clock::now();
        input.post(XCB_KEY_PRESS, key);
        for (bool isThere = false; !isThere;) {
            const XcbPointer<xcb_generic_event_t> event(xcb_wait_for_event(application));
            isThere = event && (event->response_type & 0x7f) == XCB_KEY_PRESS;
        }
        into.push_back(Microseconds(Clock::now() - begin).count());
        input.release("a");
        client.forgetEvents();
    }
}

void keyToApplication(benchmark::State& state)
{
    test::InputDriver input;
    test::PlainClient client{{}};
    client.takeFocus();
    client.forgetEvents();
    std::vector<double> with;
    std::vector<double> without;
    constexpr int kBlocks = 12;
    for ([[maybe_unused]] auto iteration : state) {
        // In turns, so that what the machine does beside hits both alike.
        for (int block = 0; block < kBlocks; ++block) {
            timeKeys(client, input, without);
            const RunningMonitor monitor;
            if (!monitor.isReady()) {
                skip(state, "the tap did not start");
                return;
            }
            timeKeys(client, input, with);
        }
    }
    Limits::shared().note("tap/key/with", quantile(with, 0.5));
    Limits::shared().note("tap/key/without", quantile(without, 0.5));
    state.counters["median_us"] = quantile(with, 0.5);
    state.counters["median_us_without"] = quantile(without, 0.5);
}

QSet<QString> threads()
{
    const QStringList names =
        QDir(QStringLiteral("/proc/self/task")).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    return {names.begin(), names.end()};
}

/// What the kernel has given to these threads so far.
double processorMilliseconds(const QSet<QString>& of)
{
    double total = 0;
    for (const QString& thread : of) {
        QFile file(QStringLiteral("/proc/self/task/") + thread + QStringLiteral("/schedstat"));
        if (file.open(QIODevice::ReadOnly))
            total += file.readAll().split(' ').first().toDouble() / 1e6;
    }
    return total;
}

void motions(benchmark::State& state)
{
    test::InputDriver input;
    constexpr int kMotions = 5000;
    constexpr std::chrono::milliseconds kPace{1};
    for ([[maybe_unused]] auto iteration : state) {
        const auto before = threads();
        const RunningMonitor monitor;
        const auto ours = threads() - before;
        if (!monitor.isReady() || ours.isEmpty()) {
            skip(state, "the tap did not start");
            return;
        }
        const double begin = processorMilliseconds(ours);
        if (begin <= 0) {
            skip(state, "the kernel does not tell what threads have used");
            return;
        }
        auto due = Clock::now();
        for (int motion = 0; motion < kMotions; ++motion) {
            input.moveTo(100 + motion % 700, 100 + motion % 500);
            std::this_thread::sleep_until(due += kPace);
        }
        const double end = processorMilliseconds(ours);
        input.chord({"Control_L", "Alt_L", "space"});
        if (!test::awaitCondition([&] { return monitor.activations() == 1; })) {
            skip(state, "the tap was gone after the motions");
            return;
        }
        const double used = end - begin;
        Limits::shared().note("tap/motions", used);
        state.counters["tap_ms"] = used;
    }
}

void hotkeyToMainThread(benchmark::State& state)
{
    test::InputDriver input;
    const RunningMonitor monitor;
    if (!monitor.isReady()) {
        skip(state, "the tap did not start");
        return;
    }
    std::vector<double> samples;
    const auto space = input.keyCode("space");
    constexpr int kPresses = 1000;
    for ([[maybe_unused]] auto iteration : state) {
        input.press("Control_L");
        input.press("Alt_L");
        for (int press = 0; press < kPresses; ++press) {
            const int seen = monitor.activations();
            const auto begin = Clock::now();
            input.post(XCB_KEY_PRESS, space);
            while (monitor.activations() == seen)
                QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
            samples.push_back(Microseconds(Clock::now() - begin).count());
            input.release("space");
        }
        input.release("Alt_L");
        input.release("Control_L");
    }
    const double median = quantile(samples, 0.5);
    const double late = quantile(samples, 0.99);
    Limits::shared().note("tap/activate/p50", median);
    Limits::shared().note("tap/activate/p99", late);
    state.counters["p50_us"] = median;
    state.counters["p99_us"] = late;
}

/// From stop() to the server having let go of everything, which is when the tap's thread has ended.
double timeStop(const std::function<void()>& begin)
{
    auto monitor = std::make_unique<RunningMonitor>();
    begin();
    const auto start = Clock::now();
    monitor.reset();
    const double milliseconds = Microseconds(Clock::now() - start).count() / 1000;
    return milliseconds;
}

void stopToFree(benchmark::State& state)
{
    test::InputDriver input;
    constexpr int kRounds = 20;
    double idle = 0;
    double stroke = 0;
    for ([[maybe_unused]] auto iteration : state) {
        for (int round = 0; round < kRounds; ++round) {
            idle = std::max(idle, timeStop([] {}));
            stroke = std::max(stroke, timeStop([&] {
                                  input.hold({"Alt_L", "Super_L"});
                                  input.pressButton(1);
                              }));
            input.releaseButton(1);
            input.letGo({"Alt_L", "Super_L"});
        }
    }
    state.counters["idle_ms"] = idle;
    state.counters["stroke_ms"] = stroke;
    Limits::shared().note("tap/stop/longest", std::max(idle, stroke));
}

BENCHMARK(stopToFree)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(keyToApplication)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(motions)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(hotkeyToMainThread)->Iterations(1)->Unit(benchmark::kMillisecond);

} // namespace

void checkTapLimits()
{
    constexpr double kKeyLimit = 2;
    constexpr double kMotionLimit = 10;
    constexpr double kActivateLimit = 1000;
    constexpr double kStopLimit = 50;
    Limits& limits = Limits::shared();
    limits.checkRatio("a key's way to an application with the tap, to the same without", "tap/key/with",
                      "tap/key/without", kKeyLimit);
    limits.check("milliseconds of processor for 5,000 motions in 5 s", limits.value("tap/motions"),
                 kMotionLimit);
    limits.check("microseconds from the hotkey to the main thread, median", limits.value("tap/activate/p50"),
                 kActivateLimit);
    limits.check("milliseconds from stop() to everything free, idle or amid a stroke, longest of 40",
                 limits.value("tap/stop/longest"), kStopLimit);
    Limits::report("microseconds from the hotkey to the main thread, 99th of 100",
                   limits.value("tap/activate/p99"));
}

} // namespace velmo::bench
