#pragma once

#include "core/Clock.h"

#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <thread>

namespace velmo {

/// Finds something out on a thread of its own, which is left to itself if that takes too long: what it waits
/// for may never answer.
template <typename T>
class Probe {
public:
    explicit Probe(std::function<T()> function)
    {
        auto promise = std::make_shared<std::promise<T>>();
        result_ = promise->get_future();
        std::thread([promise, function = std::move(function)] { promise->set_value(function()); }).detach();
    }

    /// Once. Nothing when it is not known by then.
    [[nodiscard]] std::optional<T> resultUntil(Clock::TimePoint end)
    {
        if (result_.wait_until(end) != std::future_status::ready)
            return std::nullopt;
        return result_.get();
    }

private:
    std::future<T> result_;
};

} // namespace velmo
