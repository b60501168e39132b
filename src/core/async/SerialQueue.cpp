#include "core/async/SerialQueue.h"

#include <pthread.h>

#include <future>

namespace velmo::async {

SerialQueue::SerialQueue(std::string label)
    : label_(std::move(label))
{}

SerialQueue::~SerialQueue()
{
    {
        const std::scoped_lock lock(mutex_);
        closing_ = true;
    }
    changed_.notify_all();
    if (thread_.joinable())
        thread_.join();
}

void SerialQueue::async(std::function<void()> function)
{
    {
        const std::scoped_lock lock(mutex_);
        functions_.push_back(std::move(function));
        if (!thread_.joinable())
            thread_ = std::thread([this] { run(); });
    }
    changed_.notify_one();
}

void SerialQueue::sync(std::function<void()> function)
{
    std::promise<void> done;
    async([&] {
        function();
        done.set_value();
    });
    done.get_future().wait();
}

void SerialQueue::run()
{
    constexpr size_t kKernelNameLimit = 15;
    pthread_setname_np(pthread_self(), label_.substr(0, kKernelNameLimit).c_str());
    std::unique_lock lock(mutex_);
    while (true) {
        changed_.wait(lock, [this] { return closing_ || !functions_.empty(); });
        if (functions_.empty())
            return;
        auto function = std::move(functions_.front());
        functions_.pop_front();
        lock.unlock();
        function();
        function = nullptr; // What it owns may use this queue as it goes.
        lock.lock();
    }
}

} // namespace velmo::async
