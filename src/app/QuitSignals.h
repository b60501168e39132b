#pragma once

#include <QSocketNotifier>
#include <functional>
#include <memory>

namespace velmo {

/// Turns the signals that ask a process to end into a call on the main thread. One at a time.
class QuitSignals {
public:
    explicit QuitSignals(std::function<void()> onQuit);
    QuitSignals(const QuitSignals&) = delete;
    QuitSignals& operator=(const QuitSignals&) = delete;
    ~QuitSignals();

private:
    std::unique_ptr<QSocketNotifier> notifier_;
};

} // namespace velmo
