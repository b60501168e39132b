#include "Benchmarks.h"
#include "Desktop.h"
#include "Limits.h"
#include "platform/x11/X11Connection.h"
#include "support/x11/Await.h"
#include "support/x11/InputDriver.h"

#include <QFile>
#include <QTemporaryDir>
#include <QThread>
#include <algorithm>
#include <benchmark/benchmark.h>
#include <chrono>
#include <optional>
#include <poll.h>
#include <utility>
#include <xcb/damage.h>

namespace velmo::bench {

namespace {

constexpr QSize kScreen{1920, 1080};
using Clock = std::chrono::steady_clock;
constexpr std::chrono::milliseconds kPatience{5'000};

/// Sees when a window that covers the whole screen comes, has painted for the first time, and goes.
class FullScreenWatch {
public:
    FullScreenWatch()
    {
        const uint32_t events = XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
        xcb_change_window_attributes(connection_->get(), connection_->root(), XCB_CW_EVENT_MASK, &events);
        firstDamage_ = connection_->extension(xcb_damage_id)->first_event;
        static_cast<void>(connection_->await(xcb_damage_query_version_reply,
                                             xcb_damage_query_version(connection_->get(), 1, 1)));
        connection_->sync();
    }

    /// False when it does not come.
    [[nodiscard]] bool awaitPainted()
    {
        isPainted_ = false;
        return await([this] { return isPainted_; });
    }
    [[nodiscard]] bool awaitGone(std::chrono::milliseconds patience = kPatience)
    {
        return await([this] { return window_ == XCB_NONE; }, patience);
    }
    [[nodiscard]] xcb_window_t window() const { return window_; }
    [[nodiscard]] X11Connection& connection() { return *connection_; }

private:
    template <typename Condition>
    [[nodiscard]] bool await(Condition condition, std::chrono::milliseconds patience = kPatience)
    {
        const auto end = Clock::now() + patience;
        while (!condition() && Clock::now() < end) {
            if (const auto event = connection_->nextEvent()) {
                handle(*event);
                continue;
            }
            pollfd descriptor{connection_->fileDescriptor(), POLLIN, 0};
            poll(&descriptor, 1, 50);
        }
        return condition();
    }

    void handle(const xcb_generic_event_t& event)
    {
        const int type = event.response_type & 0x7f;
        if (type == XCB_MAP_NOTIFY) {
            follow(reinterpret_cast<const xcb_map_notify_event_t&>(event).window);
        } else if (type == XCB_UNMAP_NOTIFY) {
            if (reinterpret_cast<const xcb_unmap_notify_event_t&>(event).window == window_)
                window_ = XCB_NONE;
        } else if (type == firstDamage_ + XCB_DAMAGE_NOTIFY) {
            // The first report is of the window as it was when the watching began: still unpainted.
            const auto& damage = reinterpret_cast<const xcb_damage_notify_event_t&>(event);
            if (damage.drawable == window_ && !std::exchange(isFresh_, false))
                isPainted_ = true;
        }
    }

    void follow(xcb_window_t window)
    {
        const auto geometry =
            connection_->await(xcb_get_geometry_reply, xcb_get_geometry(connection_->get(), window));
        if (!geometry || geometry->width != kScreen.width() || geometry->height != kScreen.height())
            return;
        window_ = window;
        isFresh_ = true;
        const xcb_damage_damage_t damage = xcb_generate_id(connection_->get());
        xcb_damage_create(connection_->get(), damage, window, XCB_DAMAGE_REPORT_LEVEL_NON_EMPTY);
        xcb_damage_subtract(connection_->get(), damage, XCB_NONE, XCB_NONE);
        connection_->sync();
    }

    std::unique_ptr<X11Connection> connection_ = X11Connection::open();
    int firstDamage_ = 0;
    xcb_window_t window_ = XCB_NONE;
    bool isPainted_ = false;
    bool isFresh_ = false;
};

double millisecondsSince(Clock::time_point begin)
{
    return std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
}

double quantile(std::vector<double> values, double share)
{
    std::ranges::sort(values);
    return values.at(static_cast<std::size_t>(static_cast<double>(values.size() - 1) * share));
}

void fail(benchmark::State& state, const char* reason)
{
    state.SkipWithError(reason);
    Limits::shared().fail(reason);
}

/// Presses the hotkey until the program is there to hear it.
bool awaitProgram(test::InputDriver& input, FullScreenWatch& watch)
{
    for (int attempt = 0; attempt < 10; ++attempt) {
        input.chord({"Control_L", "Alt_L", "space"});
        if (watch.awaitPainted()) {
            input.tap("Escape");
            return watch.awaitGone();
        }
    }
    return false;
}

/// The other program heeds keys only some time after it has painted.
bool dismiss(test::InputDriver& input, FullScreenWatch& watch)
{
    constexpr int kAttempts = 25;
    for (int attempt = 0; attempt < kAttempts && watch.window() != XCB_NONE; ++attempt) {
        xcb_set_input_focus(watch.connection().get(), XCB_INPUT_FOCUS_PARENT, watch.window(), 0);
        watch.connection().sync();
        input.tap("Escape");
        if (watch.awaitGone(std::chrono::milliseconds(200)))
            return true;
    }
    return watch.window() == XCB_NONE;
}

/// Presses the hotkey. Nothing when no overlay comes.
std::optional<double> timeHotkey(test::InputDriver& input, FullScreenWatch& watch)
{
    input.hold({"Control_L", "Alt_L"});
    const auto begin = Clock::now();
    input.post(XCB_KEY_PRESS, input.keyCode("space"));
    const bool painted = watch.awaitPainted();
    const double time = millisecondsSince(begin);
    input.release("space");
    input.letGo({"Control_L", "Alt_L"});
    input.tap("Escape");
    if (!painted || !watch.awaitGone())
        return std::nullopt;
    return time;
}

/// What a program that has shown nothing yet takes.
void firstHotkey(benchmark::State& state)
{
    constexpr std::chrono::seconds kSettling{2};
    const Desktop desktop(kScreen, Desktop::Windows::Some);
    if (!desktop.isReady())
        return fail(state, "the desktop did not start");
    test::InputDriver input;
    FullScreenWatch watch;
    std::vector<double> times;
    for ([[maybe_unused]] auto iteration : state) {
        const test::ChildProcess program({VELMO_EXECUTABLE, "--background"});
        QThread::sleep(kSettling.count());
        const auto time = timeHotkey(input, watch);
        if (!time)
            return fail(state, "the overlay did not come and go");
        times.push_back(*time);
    }
    Limits::shared().note("overlay/first", quantile(times, 0.5));
}

BENCHMARK(firstHotkey)->Iterations(9)->Unit(benchmark::kMillisecond);

void hotkeyToOverlay(benchmark::State& state)
{
    constexpr int kRounds = 60;
    constexpr int kPeerRounds = 8;
    Limits& limits = Limits::shared();
    const Desktop desktop(kScreen, Desktop::Windows::Some);
    const QTemporaryDir folder;
    const QString socket = folder.filePath(QStringLiteral("bus"));
    const QByteArray bus = "unix:path=" + socket.toUtf8();
    const test::ChildProcess daemon({"dbus-daemon", "--session", "--nofork", "--address=" + bus});
    const test::ChildProcess program({VELMO_EXECUTABLE, "--background"});
    test::InputDriver input;
    FullScreenWatch watch;
    if (!desktop.isReady() || !test::awaitCondition([&] { return QFile::exists(socket); }) ||
        !awaitProgram(input, watch)) {
        return fail(state, "the desktop or the program did not start");
    }
    const QByteArray address = "DBUS_SESSION_BUS_ADDRESS=" + bus;
    const test::ChildProcess peer({"env", address, "flameshot"});
    std::vector<double> ours;
    std::vector<double> peers;
    for ([[maybe_unused]] auto iteration : state) {
        for (int round = 0; round < kRounds; ++round) {
            const auto time = timeHotkey(input, watch);
            if (!time)
                return fail(state, "the overlay did not come and go");
            ours.push_back(*time);
            if (round % (kRounds / kPeerRounds) != 0)
                continue;
            const auto peerBegin = Clock::now();
            const test::ChildProcess command({"env", address, "flameshot", "gui"});
            if (!watch.awaitPainted())
                return fail(state, "the other program's overlay did not come");
            peers.push_back(millisecondsSince(peerBegin));
            if (!dismiss(input, watch))
                return fail(state, "the other program's overlay did not go");
        }
    }
    limits.note("overlay/p50", quantile(ours, 0.5));
    limits.note("overlay/p99", quantile(ours, 0.99));
    limits.note("overlay/flameshot", quantile(peers, 0.5));
}

BENCHMARK(hotkeyToOverlay)->Iterations(1)->Unit(benchmark::kMillisecond);

} // namespace

void checkOverlayLimits()
{
    Limits& limits = Limits::shared();
    Limits::report("first hotkey after the start to the overlay's first frame, ms",
                   limits.value("overlay/first"));
    Limits::report("hotkey to the overlay's first frame, p50, ms", limits.value("overlay/p50"));
    Limits::report("hotkey to the overlay's first frame, p99, ms", limits.value("overlay/p99"));
    Limits::report("the same, to `flameshot gui` at its p50",
                   limits.value("overlay/p50") / limits.value("overlay/flameshot"));
}

} // namespace velmo::bench
