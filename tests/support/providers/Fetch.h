#pragma once

#include "platform/HttpClient.h"

#include <condition_variable>
#include <mutex>

namespace velmo {

/// One request to a client, with all that comes of it. The callbacks arrive on the client's thread; the
/// functions here may block, since no event loop is needed.
class Fetch {
public:
    Fetch(HttpClient& client, HttpRequest request)
    {
        exchange_ = client.send(std::move(request), [state = state_](Result<HttpResponse, HttpError> result) {
            const std::scoped_lock lock(state->mutex);
            ++state->heads;
            if (result) {
                state->head = result.value().head;
                state->body = std::move(result.value().body);
            } else {
                state->error = result.error();
                state->ended = true;
            }
            state->changed.notify_all();
        });
    }

    /// False: the time ran out.
    [[nodiscard]] bool waitForHead() const
    {
        return waitUntil([](const State& state) { return state.heads > 0; });
    }

    void read() const
    {
        std::unique_ptr<HttpBody> body;
        {
            const std::scoped_lock lock(state_->mutex);
            body = std::move(state_->body);
        }
        body->read(
            [state = state_](QByteArrayView bytes) {
                const std::scoped_lock lock(state->mutex);
                state->bytes.append(bytes);
                state->changed.notify_all();
            },
            [state = state_](std::optional<HttpError> error) {
                const std::scoped_lock lock(state->mutex);
                ++state->ends;
                state->error = std::move(error);
                state->ended = true;
                state->changed.notify_all();
            });
        const std::scoped_lock lock(state_->mutex);
        state_->body = std::move(body);
    }

    [[nodiscard]] bool waitForBytes(qsizetype count) const
    {
        return waitUntil([count](const State& state) { return state.bytes.size() >= count; });
    }

    [[nodiscard]] bool waitForEnd() const
    {
        return waitUntil([](const State& state) { return state.ended; });
    }

    /// Head and body to the end.
    [[nodiscard]] bool run() const
    {
        if (!waitForHead())
            return false;
        if (!error())
            read();
        return waitForEnd();
    }

    void dropExchange() { exchange_.reset(); }
    void dropBody() const
    {
        std::unique_ptr<HttpBody> body;
        const std::scoped_lock lock(state_->mutex);
        body = std::move(state_->body);
    }

    [[nodiscard]] HttpHead head() const { return locked(&State::head); }
    [[nodiscard]] QByteArray bytes() const { return locked(&State::bytes); }
    [[nodiscard]] std::optional<HttpError> error() const { return locked(&State::error); }
    [[nodiscard]] int heads() const { return locked(&State::heads); }
    [[nodiscard]] int ends() const { return locked(&State::ends); }

private:
    struct State {
        std::mutex mutex;
        std::condition_variable changed;
        HttpHead head;
        std::unique_ptr<HttpBody> body;
        QByteArray bytes;
        std::optional<HttpError> error;
        int heads = 0;
        int ends = 0;
        bool ended = false;
    };

    template <typename Condition>
    bool waitUntil(Condition condition) const
    {
        std::unique_lock lock(state_->mutex);
        return state_->changed.wait_for(lock, std::chrono::seconds(10), [&] { return condition(*state_); });
    }

    template <typename Value>
    Value locked(Value State::*member) const
    {
        const std::scoped_lock lock(state_->mutex);
        return state_.get()->*member;
    }

    std::shared_ptr<State> state_ = std::make_shared<State>();
    std::unique_ptr<HttpExchange> exchange_;
};

} // namespace velmo
