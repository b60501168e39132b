#pragma once

#include "core/async/MainLoop.h"
#include "core/async/TaskContext.h"

#include <memory>
#include <mutex>
#include <optional>

namespace velmo::async {

/// A value that comes once, from any thread, to a task on the main thread. It bridges callbacks into tasks.
template <typename T>
class OneShot {
    struct State {
        std::mutex mutex;
        std::optional<T> value;
        Wait* waiter = nullptr; ///< Main thread only.
    };

public:
    class ValueWait final : public Wait {
    public:
        explicit ValueWait(std::shared_ptr<State> state)
            : state_(std::move(state))
        {}
        ~ValueWait() override { endWait(); }
        T await_resume()
        {
            throwIfCancelled();
            const std::scoped_lock lock(state_->mutex);
            return std::move(*state_->value);
        }

    private:
        bool arm() override
        {
            const std::scoped_lock lock(state_->mutex);
            if (state_->value)
                return false;
            state_->waiter = this;
            return true;
        }
        void disarm() override { state_->waiter = nullptr; }
        std::shared_ptr<State> state_;
    };

    /// Any thread; the first value counts. Copies of a OneShot share it.
    void resolve(T value) const
    {
        {
            const std::scoped_lock lock(state_->mutex);
            if (state_->value)
                return;
            state_->value.emplace(std::move(value));
        }
        postToMainLoop([state = state_] {
            if (state->waiter)
                state->waiter->wake();
        });
    }

    /// Once, by one task.
    [[nodiscard]] ValueWait value() const { return ValueWait(state_); }

private:
    std::shared_ptr<State> state_ = std::make_shared<State>();
};

} // namespace velmo::async
