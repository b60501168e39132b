#pragma once

#include "core/async/TaskContext.h"

#include <coroutine>
#include <exception>
#include <optional>
#include <utility>

/// Tasks: the one way to wait. A Task<T> is a coroutine on the main thread; it does nothing until it is
/// awaited by another task or started in a TaskScope. Parameters of a task go by value, since the caller's
/// are gone when the body runs; never make a capturing lambda a coroutine. Nor write a capturing lambda
/// inside a co_await expression: g++ 12 destroys such a temporary twice. Name it first and move it in.
namespace velmo::async {

template <typename T>
class Task;

namespace detail {

template <typename T>
struct PromiseValue {
    std::optional<T> value;
    template <typename U>
    void return_value(U&& result)
    {
        value.emplace(std::forward<U>(result));
    }
    T take() { return std::move(*value); }
};

template <>
struct PromiseValue<void> {
    void return_void() {}
    void take() {}
};

} // namespace detail

template <typename T = void>
class [[nodiscard]] Task {
public:
    struct promise_type : detail::PromiseValue<T> {
        TaskContext* context = nullptr;
        std::coroutine_handle<> continuation = std::noop_coroutine();
        std::exception_ptr exception;

        struct FinalAwaiter {
            bool await_ready() noexcept { return false; }
            std::coroutine_handle<> await_suspend(std::coroutine_handle<promise_type> handle) noexcept
            {
                return handle.promise().continuation;
            }
            void await_resume() noexcept {}
        };

        Task get_return_object() { return Task(std::coroutine_handle<promise_type>::from_promise(*this)); }
        std::suspend_always initial_suspend() noexcept { return {}; }
        FinalAwaiter final_suspend() noexcept { return {}; }
        void unhandled_exception() { exception = std::current_exception(); }
    };

    Task(Task&& other) noexcept
        : handle_(std::exchange(other.handle_, nullptr))
    {}
    Task& operator=(Task&& other) noexcept
    {
        std::swap(handle_, other.handle_);
        return *this;
    }
    Task(const Task&) = delete;
    Task& operator=(const Task&) = delete;
    ~Task()
    {
        if (handle_)
            handle_.destroy();
    }

    bool await_ready() const noexcept { return false; }

    template <typename Promise>
    std::coroutine_handle<> await_suspend(std::coroutine_handle<Promise> caller) noexcept
    {
        handle_.promise().context = caller.promise().context;
        handle_.promise().continuation = caller;
        return handle_;
    }

    T await_resume()
    {
        if (handle_.promise().exception)
            std::rethrow_exception(handle_.promise().exception);
        return handle_.promise().take();
    }

private:
    explicit Task(std::coroutine_handle<promise_type> handle)
        : handle_(handle)
    {}
    std::coroutine_handle<promise_type> handle_;
};

} // namespace velmo::async
