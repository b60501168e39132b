#pragma once

#include <optional>
#include <sys/types.h>
#include <vector>

namespace velmo::test {

/// Everything that a process started, and what that started, and so on.
[[nodiscard]] std::vector<pid_t> descendants(pid_t process);

/// Signals a process that this one started, or that those started. False, and nothing, for any other number:
/// the system takes some for all processes there are.
[[nodiscard]] bool signalDescendant(pid_t process, int signal);

/// A process of the test's own that halts until this is destroyed or ended.
class Halt {
public:
    explicit Halt(std::optional<pid_t> process);
    Halt(const Halt&) = delete;
    Halt& operator=(const Halt&) = delete;
    ~Halt() { end(); }

    /// False if there was nothing to halt.
    [[nodiscard]] bool isHalted() const { return process_ > 0; }
    void end();

private:
    pid_t process_ = -1;
};

} // namespace velmo::test
