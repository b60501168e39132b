#include "platform/x11/X11EventTap.h"

#include "core/Identity.h"
#include "platform/x11/X11TapSession.h"

#include <csignal>
#include <pthread.h>
#include <string>
#include <sys/eventfd.h>
#include <thread>
#include <unistd.h>

namespace velmo {
namespace {

void prepareThread()
{
    // The kernel keeps 15 characters of a thread's name.
    const std::string name = std::string(kApplicationIdentifier) + ".hotkeymonitor";
    pthread_setname_np(pthread_self(), name.substr(0, 15).c_str());
    // Signals are the main thread's business.
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, nullptr);
}

} // namespace

/// One thread of the tap. Destroying it stops and joins the thread.
class X11EventTap::Run {
public:
    Run(X11EventTap& tap, std::unique_ptr<Run> previous, const TapInterest& interest, Handler handler,
        StartHandler onStarted)
        : tap_(tap)
        , stopDescriptor_(eventfd(0, EFD_CLOEXEC))
        , thread_([this, previous = std::move(previous), interest, handler = std::move(handler),
                   onStarted = std::move(onStarted)]() mutable {
            prepareThread();
            // The run before us may still hold the keys that we are about to reserve.
            previous.reset();
            work(interest, std::move(handler), onStarted);
        })
    {}

    ~Run()
    {
        requestStop();
        thread_.join();
        close(stopDescriptor_);
    }

    void requestStop()
    {
        stopping_ = true;
        eventfd_write(stopDescriptor_, 1);
    }

private:
    void work(const TapInterest& interest, Handler handler, const StartHandler& onStarted)
    {
        if (stopping_)
            return;
        const auto guarded = [this, handler = std::move(handler)](TapEventType type, const TapEvent& event) {
            return stopping_ ? TapVerdict::Pass : handler(type, event);
        };
        const auto tell = [this, &onStarted](const StartReport& report) {
            {
                const std::lock_guard lock(tap_.reportMutex_);
                if (stopping_)
                    return;
                tap_.report_ = report;
            }
            if (onStarted)
                onStarted(report);
        };
        tap_.replayRequested_ = false;
        X11TapSession session(
            interest, guarded,
            {stopDescriptor_, tap_.ownKeyboardHeld_, tap_.pointerSpace_, tap_.replayRequested_, tell});
        const StartReport report = session.setUp();
        tell(report);
        if (report.started && !session.run())
            tell({false, {QStringLiteral("The connection to the X display was lost.")}, {}});
    }

    X11EventTap& tap_;
    int stopDescriptor_;
    std::atomic<bool> stopping_ = false;
    std::thread thread_; ///< Last: it uses the members above.
};

X11EventTap::X11EventTap() = default;
X11EventTap::~X11EventTap() = default;

void X11EventTap::start(const TapInterest& interest, Handler handler, StartHandler onStarted)
{
    stop();
    run_ = std::make_unique<Run>(*this, std::move(run_), interest, std::move(handler), std::move(onStarted));
}

void X11EventTap::stop()
{
    if (!run_)
        return;
    const std::lock_guard lock(reportMutex_);
    run_->requestStop();
    report_ = {};
}

void X11EventTap::replayPress(const TapEvent&)
{
    replayRequested_ = true;
}

EventTap::StartReport X11EventTap::report() const
{
    const std::lock_guard lock(reportMutex_);
    return report_;
}

} // namespace velmo
