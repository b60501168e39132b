#pragma once

#include <coroutine>
#include <memory>

namespace velmo::async {

/// Thrown at a task's point of waiting when the task was cancelled, so that the code can log and tidy up. It
/// never leaves the task: its handle reports a cancelled outcome.
struct Cancelled {};

class Wait;

/// What all the nested coroutines of one started task share. Main thread.
class TaskContext : public std::enable_shared_from_this<TaskContext> {
public:
    /// Asks the task to stop: if it waits, it resumes on a later turn with Cancelled; every later wait throws
    /// too.
    void cancel();
    [[nodiscard]] bool isCancelled() const { return cancelled_; }

    /// Destroys the frames; if the task is running right now, as soon as it waits or ends.
    void destroy();

private:
    friend class Wait;
    template <typename T>
    friend class TaskHandle;
    friend class TaskScope;

    void setRoot(std::coroutine_handle<> root) { root_ = root; }
    void resume(std::coroutine_handle<> point);
    void resumeLater(std::coroutine_handle<> point);

    std::coroutine_handle<> root_;
    Wait* wait_ = nullptr;
    bool cancelled_ = false;
    bool running_ = false;
    bool destroyed_ = false;
};

/// Base of everything that a task can wait for. It lives in the waiting coroutine's frame, so its destructor
/// is the place where a source must forget it: every derived class calls endWait() in its own, where disarm()
/// still is its own. Main thread.
class Wait {
public:
    Wait() = default;
    Wait(const Wait&) = delete;
    Wait& operator=(const Wait&) = delete;
    virtual ~Wait() = default;

    bool await_ready() const noexcept { return false; }

    template <typename Promise>
    bool await_suspend(std::coroutine_handle<Promise> handle)
    {
        return beginWait(handle, *handle.promise().context);
    }

    /// Called by the source, from the event loop: the task goes on.
    void wake();

protected:
    /// Registers with the source. False if there is nothing to wait for.
    virtual bool arm() = 0;
    /// Makes the source forget this; called at most once after arm() returned true.
    virtual void disarm() = 0;

    /// First thing in await_resume().
    void throwIfCancelled() const;

    /// Nothing is waited for any more.
    void endWait();

private:
    friend class TaskContext;
    bool beginWait(std::coroutine_handle<> handle, TaskContext& context);

    std::coroutine_handle<> handle_;
    TaskContext* context_ = nullptr;
    bool armed_ = false;
};

} // namespace velmo::async
