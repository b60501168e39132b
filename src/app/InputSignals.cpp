#include "app/InputSignals.h"

#include <cerrno>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

namespace velmo {

namespace {

volatile std::sig_atomic_t endingSignal = 0;
volatile std::sig_atomic_t isToBeSuspended = 0;

void remember(int signal)
{
    if (signal == SIGTSTP)
        isToBeSuspended = 1;
    else
        endingSignal = signal;
}

struct sigaction remembering()
{
    struct sigaction action = {};
    action.sa_handler = remember;
    return action;
}

} // namespace

InputSignals::InputSignals()
{
    endingSignal = 0;
    isToBeSuspended = 0;
    const struct sigaction action = remembering();
    sigset_t blocked;
    sigemptyset(&blocked);
    for (size_t index = 0; index < kSignals.size(); ++index) {
        sigaction(kSignals.at(index), nullptr, &before_.at(index));
        if (before_.at(index).sa_handler == SIG_IGN)
            continue;
        sigaddset(&blocked, kSignals.at(index));
        sigaction(kSignals.at(index), &action, nullptr);
    }
    pthread_sigmask(SIG_BLOCK, &blocked, &mask_);
}

InputSignals::~InputSignals()
{
    for (size_t index = 0; index < kSignals.size(); ++index)
        sigaction(kSignals.at(index), &before_.at(index), nullptr);
    pthread_sigmask(SIG_SETMASK, &mask_, nullptr);
    if (endingSignal != 0)
        raise(endingSignal);
}

InputSignals::Event InputSignals::awaitInput(int milliseconds) const
{
    pollfd input{STDIN_FILENO, POLLIN, 0};
    const timespec limit{milliseconds / 1000, (milliseconds % 1000) * 1'000'000L};
    while (true) {
        if (endingSignal != 0)
            return Event::Ended;
        if (isToBeSuspended != 0)
            return Event::Suspended;
        const int count = ppoll(&input, 1, milliseconds < 0 ? nullptr : &limit, &mask_);
        if (count > 0)
            return Event::Input;
        if (count == 0)
            return Event::Silence;
        if (errno != EINTR)
            return Event::Input; // Reading will tell.
    }
}

bool InputSignals::awaitForeground() const
{
    // In the background this stops the job as every change of the terminal does, but changes nothing when it
    // is continued. A signal that came while it was stopped must get through.
    sigset_t kept;
    pthread_sigmask(SIG_SETMASK, &mask_, &kept);
    int result = -1;
    while (endingSignal == 0 && (result = tcdrain(STDIN_FILENO)) != 0 && errno == EINTR) {
    }
    pthread_sigmask(SIG_SETMASK, &kept, nullptr);
    return result == 0 && endingSignal == 0;
}

void InputSignals::suspend()
{
    isToBeSuspended = 0;
    struct sigaction usual = {};
    usual.sa_handler = SIG_DFL;
    sigset_t kept;
    sigaction(SIGTSTP, &usual, nullptr);
    pthread_sigmask(SIG_SETMASK, &mask_, &kept);
    raise(SIGTSTP);
    pthread_sigmask(SIG_SETMASK, &kept, nullptr);
    const struct sigaction action = remembering();
    sigaction(SIGTSTP, &action, nullptr);
}

} // namespace velmo
