#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace velmo::async {

/// Runs functions one after the other, in the order they came, on a thread of its own that starts with the
/// first one. Any thread.
class SerialQueue {
public:
    /// The label names the thread; the kernel shows its first 15 bytes.
    explicit SerialQueue(std::string label);
    SerialQueue(const SerialQueue&) = delete;
    SerialQueue& operator=(const SerialQueue&) = delete;
    /// Runs what is queued, then ends the thread.
    ~SerialQueue();

    [[nodiscard]] const std::string& label() const { return label_; }

    void async(std::function<void()> function);
    /// Waits until the function, and all before it, have run. Not from a function of this queue.
    void sync(std::function<void()> function);

private:
    void run();

    const std::string label_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<std::function<void()>> functions_;
    bool closing_ = false;
    std::thread thread_;
};

} // namespace velmo::async
