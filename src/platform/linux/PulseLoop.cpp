#include "platform/linux/PulseLoop.h"

#include "platform/linux/PulseLibrary.h"

#include <csignal>
#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/timerfd.h>
#include <unistd.h>

namespace velmo {

void PulseLoop::LoopEnd::operator()(pa_mainloop* loop) const
{
    pa_mainloop_free(loop);
}

PulseLoop::PulseLoop()
    : wakeUp_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{}

PulseLoop::~PulseLoop()
{
    stop();
    loop_.reset();
    close(wakeUp_);
}

void PulseLoop::stop(std::function<void()> last)
{
    std::unique_lock lock(mutex_);
    if (!thread_.joinable()) {
        stopped_ = true;
        lock.unlock();
        if (last)
            last();
        return;
    }
    lock.unlock();
    post([this, last = std::move(last)] {
        if (last)
            last();
        const std::scoped_lock stopping(mutex_);
        stopped_ = true;
        if (loop_)
            pa_mainloop_quit(loop_.get(), 0);
    });
    thread_.join();
}

void PulseLoop::post(std::function<void()> function)
{
    const std::scoped_lock lock(mutex_);
    if (stopped_)
        return;
    functions_.push_back(std::move(function));
    if (!thread_.joinable())
        thread_ = std::thread([this] { run(); });
    eventfd_write(wakeUp_, 1);
}

pa_mainloop_api* PulseLoop::api() const
{
    return loop_ ? pa_mainloop_get_api(loop_.get()) : nullptr;
}

void PulseLoop::run()
{
    pthread_setname_np(pthread_self(), "velmo.sound");
    // A server that goes away must not take the program with it.
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    if (pulseLibrary.load()) {
        loop_.reset(pa_mainloop_new());
        runWithLibrary();
    } else {
        runWithoutLibrary();
    }
}

void PulseLoop::runWithLibrary()
{
    // The library's own way to wake a loop is forgotten when it comes between two rounds; a descriptor is
    // not.
    pa_io_event* event = api()->io_new(
        api(), wakeUp_, PA_IO_EVENT_INPUT,
        [](pa_mainloop_api*, pa_io_event*, int descriptor, pa_io_event_flags_t, void* self) {
            eventfd_t count = 0;
            eventfd_read(descriptor, &count);
            static_cast<PulseLoop*>(self)->runPosted();
        },
        this);
    pa_mainloop_run(loop_.get(), nullptr);
    api()->io_free(event);
}

void PulseLoop::runWithoutLibrary()
{
    pollfd posted{wakeUp_, POLLIN, 0};
    while (!stopped_) {
        poll(&posted, 1, -1);
        eventfd_t count = 0;
        eventfd_read(wakeUp_, &count);
        runPosted();
    }
}

void PulseLoop::runPosted()
{
    std::vector<std::function<void()>> functions;
    {
        const std::scoped_lock lock(mutex_);
        functions.swap(functions_);
    }
    for (auto& function : functions) {
        function();
        function = nullptr; // What it owns goes before the next one runs.
    }
}

PulseTimer::PulseTimer(PulseLoop& loop, std::function<void()> onElapsed)
    : descriptor_(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK))
    , loop_(loop)
    , onElapsed_(std::move(onElapsed))
    , event_(loop.api() == nullptr
                 ? nullptr
                 : loop.api()->io_new(
                       loop.api(), descriptor_, PA_IO_EVENT_INPUT,
                       [](pa_mainloop_api*, pa_io_event*, int descriptor, pa_io_event_flags_t, void* self) {
                           uint64_t count = 0;
                           if (read(descriptor, &count, sizeof count) <= 0)
                               return;
                           // It may end the timer.
                           const auto handler = static_cast<PulseTimer*>(self)->onElapsed_;
                           handler();
                       },
                       this))
{}

PulseTimer::~PulseTimer()
{
    if (event_ != nullptr)
        loop_.api()->io_free(event_);
    close(descriptor_);
}

void PulseTimer::start(std::chrono::milliseconds delay) const
{
    itimerspec timing{};
    timing.it_value.tv_sec = delay.count() / 1000;
    timing.it_value.tv_nsec = delay.count() % 1000 * 1'000'000;
    timerfd_settime(descriptor_, 0, &timing, nullptr);
}

void PulseTimer::stop() const
{
    start(std::chrono::milliseconds(0));
}

} // namespace velmo
