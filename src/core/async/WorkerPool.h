#pragma once

#include "core/async/OneShot.h"

#include <functional>
#include <type_traits>

namespace velmo::async {

/// Runs the function on one of the few worker threads that capturing, scaling and encoding share. Any thread.
void runOnWorker(std::function<void()> function);

/// Awaited by a task: the function's result, computed on a worker. Cancelling the task drops the result.
template <typename Function>
[[nodiscard]] auto onWorker(Function function)
{
    using Value = std::invoke_result_t<Function>;
    const OneShot<Value> result;
    runOnWorker([result, function = std::move(function)]() mutable { result.resolve(function()); });
    return result.value();
}

/// Drops what has not begun and returns when nothing runs any more: for whoever is about to take away what
/// the functions work with.
void finishWorkers();

/// At exit: waits for what is running, and starts nothing more.
void shutDownWorkers();

} // namespace velmo::async
