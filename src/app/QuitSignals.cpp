#include "app/QuitSignals.h"

#include <array>
#include <csignal>
#include <sys/eventfd.h>
#include <unistd.h>

namespace velmo {

namespace {

constexpr std::array kSignals{SIGTERM, SIGINT, SIGHUP};

/// A handler may do next to nothing; writing to a descriptor is allowed.
int wakeDescriptor = -1;

void handleSignal(int)
{
    const uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = write(wakeDescriptor, &one, sizeof one);
}

} // namespace

QuitSignals::QuitSignals(std::function<void()> onQuit)
{
    wakeDescriptor = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    notifier_ = std::make_unique<QSocketNotifier>(wakeDescriptor, QSocketNotifier::Read);
    QObject::connect(notifier_.get(), &QSocketNotifier::activated, notifier_.get(),
                     [onQuit = std::move(onQuit)] {
                         uint64_t count = 0;
                         if (read(wakeDescriptor, &count, sizeof count) > 0)
                             onQuit();
                     });
    for (const int number : kSignals) {
        // Whoever started the program may want it to outlive a terminal.
        if (std::signal(number, handleSignal) == SIG_IGN)
            std::signal(number, SIG_IGN);
    }
}

QuitSignals::~QuitSignals()
{
    // The end has begun, and is not to be cut short before the settings are written.
    for (const int number : kSignals)
        std::signal(number, SIG_IGN);
    notifier_.reset();
    close(wakeDescriptor);
    wakeDescriptor = -1;
}

} // namespace velmo
