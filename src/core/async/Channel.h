#pragma once

#include "core/async/MainLoop.h"
#include "core/async/TaskContext.h"

#include <iterator>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

namespace velmo::async {

/// An unbounded stream of values from any thread to one task on the main thread, ending normally or with an
/// error. Values arrive in order and in batches: one wake-up for all that has come.
template <typename T, typename E>
class Channel {
    struct State {
        std::mutex mutex;
        std::vector<T> pending;
        std::optional<E> error;
        bool ended = false;
        bool abandoned = false;
        bool wakePosted = false;
        Wait* waiter = nullptr; ///< Main thread only.
    };

    static void wake(const std::shared_ptr<State>& state)
    {
        postToMainLoop([state] {
            bool somethingCame = false;
            {
                const std::scoped_lock lock(state->mutex);
                state->wakePosted = false;
                // A reader that was busy may have taken what this wake-up was for; waking it for nothing
                // would look like the end.
                somethingCame = !state->pending.empty() || state->ended;
            }
            if (somethingCame && state->waiter)
                state->waiter->wake();
        });
    }

public:
    /// Copies write to the same channel; exactly one of them ends it. Any thread.
    class Writer {
    public:
        explicit Writer(std::shared_ptr<State> state)
            : state_(std::move(state))
        {}

        /// A batch is delivered whole. Dropped when the reader is gone.
        void push(std::vector<T> values) const
        {
            change([&values](State& state) {
                if (state.abandoned || values.empty())
                    return false;
                if (state.pending.empty())
                    state.pending = std::move(values);
                else
                    std::move(values.begin(), values.end(), std::back_inserter(state.pending));
                return true;
            });
        }

        void finish() const
        {
            change([](State& state) { return state.ended = true; });
        }

        void fail(E error) const
        {
            change([&error](State& state) {
                state.error = std::move(error);
                return state.ended = true;
            });
        }

    private:
        template <typename Change>
        void change(Change apply) const
        {
            {
                const std::scoped_lock lock(state_->mutex);
                if (state_->ended || !apply(*state_))
                    return;
                if (std::exchange(state_->wakePosted, true))
                    return;
            }
            wake(state_);
        }
        std::shared_ptr<State> state_;
    };

    /// The only reader. Destroying it drops what is still coming; the writer is not told.
    class Reader {
        class BatchWait final : public Wait {
        public:
            explicit BatchWait(std::shared_ptr<State> state)
                : state_(std::move(state))
            {}
            ~BatchWait() override { endWait(); }
            std::vector<T> await_resume()
            {
                throwIfCancelled();
                const std::scoped_lock lock(state_->mutex);
                return std::exchange(state_->pending, {});
            }

        private:
            bool arm() override
            {
                const std::scoped_lock lock(state_->mutex);
                if (!state_->pending.empty() || state_->ended)
                    return false;
                state_->waiter = this;
                return true;
            }
            void disarm() override { state_->waiter = nullptr; }
            std::shared_ptr<State> state_;
        };

    public:
        explicit Reader(std::shared_ptr<State> state)
            : state_(std::move(state))
        {}
        Reader(Reader&&) noexcept = default;
        Reader& operator=(Reader&&) noexcept = default;
        ~Reader()
        {
            if (!state_)
                return;
            const std::scoped_lock lock(state_->mutex);
            state_->abandoned = true;
            state_->pending.clear();
        }

        /// All that has come since the last call, waiting for at least one value. Empty: it has ended.
        [[nodiscard]] auto nextBatch() const { return BatchWait(state_); }

        /// After the end: why, if it failed.
        [[nodiscard]] std::optional<E> error() const
        {
            const std::scoped_lock lock(state_->mutex);
            return state_->error;
        }

    private:
        std::shared_ptr<State> state_;
    };

    [[nodiscard]] static std::pair<Writer, Reader> open()
    {
        auto state = std::make_shared<State>();
        return {Writer(state), Reader(state)};
    }
};

} // namespace velmo::async
