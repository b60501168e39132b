#pragma once

#include <array>
#include <csignal>
#include <cstddef>

namespace velmo {

/// Signals that would end the program, or suspend it, are kept for as long as this lives, but for the moments
/// of waiting, where they end the wait. Those that are ignored stay so. One at a time; main thread.
class InputSignals {
public:
    enum class Event {
        Input,     ///< There is something to read, or the end of it.
        Silence,   ///< Nothing came in time.
        Suspended, ///< suspend() is due.
        Ended,     ///< The program is to end; it does when this is destroyed.
    };

    InputSignals();
    InputSignals(const InputSignals&) = delete;
    InputSignals& operator=(const InputSignals&) = delete;
    /// Lets the signal that came have its usual effect.
    ~InputSignals();

    /// Waits for standard input, without a limit if that is negative.
    [[nodiscard]] Event awaitInput(int milliseconds = -1) const;
    /// Returns when this process has the terminal in front, however long it is stopped for that; false if
    /// that cannot be, because there is no terminal, or a signal came.
    [[nodiscard]] bool awaitForeground() const;
    /// Stops here, and returns when the program is continued.
    void suspend();

private:
    static constexpr std::array kSignals{SIGINT,  SIGTERM, SIGHUP,  SIGQUIT,
                                         SIGALRM, SIGUSR1, SIGUSR2, SIGTSTP};
    std::array<struct sigaction, kSignals.size()> before_{};
    sigset_t mask_{};
};

} // namespace velmo
