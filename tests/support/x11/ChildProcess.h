#pragma once

#include <QByteArray>
#include <QList>
#include <sys/types.h>

namespace velmo::test {

/// A program that ends with the test: with this object, or with the test's process however that ends. Its
/// output is dropped. Start it on the main thread.
class ChildProcess {
public:
    ChildProcess() = default;
    /// keptDescriptor stays open in the program under the same number; -1 for none.
    explicit ChildProcess(const QList<QByteArray>& command, int keptDescriptor = -1);
    ~ChildProcess() { stop(); }
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;
    ChildProcess(ChildProcess&& other) noexcept;
    ChildProcess& operator=(ChildProcess&& other) noexcept;

    [[nodiscard]] bool isRunning();
    [[nodiscard]] pid_t processID() const { return pid_; }

    /// Lets it do nothing more until it is stopped, and returns when it rests.
    void halt();

    /// Asks it to end, then insists, and returns when it is gone.
    void stop();

private:
    pid_t pid_ = -1;
};

} // namespace velmo::test
