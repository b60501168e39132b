#pragma once

#include "core/async/MainLoop.h"
#include "core/async/Task.h"

#include <memory>
#include <type_traits>
#include <vector>

namespace velmo::async {

/// What became of a started task. A task without a value has only `cancelled`.
template <typename T>
struct TaskOutcome {
    bool cancelled = false;
    std::optional<T> value;
};

template <>
struct TaskOutcome<void> {
    bool cancelled = false;
};

/// A started task, seen from outside. Copies name the same task. Dropping it changes nothing: the scope owns
/// the task. Main thread.
template <typename T = void>
class TaskHandle {
public:
    TaskHandle() = default;

    [[nodiscard]] bool isValid() const { return state_ != nullptr; }
    [[nodiscard]] bool isFinished() const { return state_ && state_->finished; }
    void cancel() const
    {
        if (state_ && !state_->finished)
            state_->context->cancel();
    }
    friend bool operator==(const TaskHandle& a, const TaskHandle& b) { return a.state_ == b.state_; }

    /// Waits for the task's end, from another task. Cancelling the waiter leaves the task alone.
    [[nodiscard]] auto outcome() const { return OutcomeWait(state_); }

private:
    friend class TaskScope;
    class OutcomeWait;

    struct State {
        std::shared_ptr<TaskContext> context = std::make_shared<TaskContext>();
        bool finished = false;
        TaskOutcome<T> outcome;
        std::vector<OutcomeWait*> waiters;
    };

    class OutcomeWait final : public Wait {
    public:
        explicit OutcomeWait(std::shared_ptr<State> state)
            : state_(std::move(state))
        {}
        ~OutcomeWait() override { endWait(); }
        TaskOutcome<T> await_resume()
        {
            throwIfCancelled();
            return state_->outcome;
        }

    private:
        bool arm() override
        {
            if (state_->finished)
                return false;
            state_->waiters.push_back(this);
            return true;
        }
        void disarm() override { std::erase(state_->waiters, this); }
        std::shared_ptr<State> state_;
    };

    static void wakeWaiters(const std::shared_ptr<State>& state);
    explicit TaskHandle(std::shared_ptr<State> state)
        : state_(std::move(state))
    {}
    std::shared_ptr<State> state_;
};

/// Owns the tasks of one object; it is that object's last member, so that it is destroyed first. Destroying
/// it destroys the frames of unfinished tasks. Main thread.
class TaskScope {
public:
    TaskScope() = default;
    TaskScope(const TaskScope&) = delete;
    TaskScope& operator=(const TaskScope&) = delete;
    ~TaskScope();

    /// The body begins on a later turn of the main loop, never inside this call.
    template <typename T>
    TaskHandle<T> start(Task<T> task)
    {
        auto state = std::make_shared<typename TaskHandle<T>::State>();
        adopt(run<T>(std::move(task), state), state->context);
        return TaskHandle<T>(std::move(state));
    }

    /// Whether a task is still unfinished.
    [[nodiscard]] bool isBusy() const;

private:
    /// The outermost frame of a started task; it turns Cancelled into an outcome.
    struct Root {
        struct promise_type {
            TaskContext* context = nullptr;
            Root get_return_object() { return {std::coroutine_handle<promise_type>::from_promise(*this)}; }
            std::suspend_always initial_suspend() noexcept { return {}; }
            std::suspend_always final_suspend() noexcept { return {}; }
            void return_void() {}
            /// An exception that nobody caught is a mistake in the program, as it is on any thread.
            void unhandled_exception() { std::terminate(); }
        };
        std::coroutine_handle<promise_type> handle;
    };

    template <typename T>
    static Root run(Task<T> task, std::shared_ptr<typename TaskHandle<T>::State> state)
    {
        try {
            if constexpr (std::is_void_v<T>)
                co_await std::move(task);
            else
                state->outcome.value.emplace(co_await std::move(task));
        } catch (const Cancelled&) {
            state->outcome.cancelled = true;
        }
        state->finished = true;
        TaskHandle<T>::wakeWaiters(state);
    }

    void adopt(Root root, const std::shared_ptr<TaskContext>& context);
    static bool isFinished(const TaskContext& context);

    std::vector<std::shared_ptr<TaskContext>> tasks_;
};

/// Tasks that nobody owns: they run to their natural end, or until the application object is destroyed.
[[nodiscard]] TaskScope& detachedTasks();

template <typename T>
void TaskHandle<T>::wakeWaiters(const std::shared_ptr<State>& state)
{
    if (state->waiters.empty())
        return;
    // On a later turn, so that one task never runs inside another.
    postToMainLoop([state] {
        // A woken waiter deregisters itself.
        while (!state->waiters.empty())
            state->waiters.front()->wake();
    });
}

} // namespace velmo::async
