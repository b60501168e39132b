#pragma once

#include <QObject>
#include <QPointer>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

namespace velmo {

/// An observer's registration; destroying it unsubscribes, also in the middle of a notification. Main thread.
class [[nodiscard]] Subscription {
public:
    Subscription() = default;
    explicit Subscription(std::shared_ptr<void> registration)
        : registration_(std::move(registration))
    {}
    void cancel() { registration_.reset(); }
    [[nodiscard]] bool isActive() const { return registration_ != nullptr; }

private:
    std::shared_ptr<void> registration_;
};

/// Observers of one kind of change. An observer added during a notification hears of the next one. Main
/// thread.
template <typename... Change>
class Observers {
public:
    using Handler = std::function<void(const Change&...)>;

    Subscription add(Handler handler) const
    {
        auto registration = std::make_shared<Handler>(std::move(handler));
        handlers_.push_back(registration);
        return Subscription(std::move(registration));
    }

    void notify(const Change&... change) const
    {
        std::erase_if(handlers_, [](const auto& handler) { return handler.expired(); });
        // A copy, because observers may come and go while they are told.
        const auto handlers = handlers_;
        for (const auto& weak : handlers) {
            if (const auto handler = weak.lock())
                (*handler)(change...);
        }
    }

private:
    mutable std::vector<std::weak_ptr<Handler>> handlers_;
};

/// A value that tells its observers before it changes: they are handed the new value while value() still
/// gives the old one. Every assignment is told, also one of an equal value. Main thread.
template <typename T>
class Observable {
public:
    Observable(const Observable&) = delete;
    Observable& operator=(const Observable&) = delete;

    [[nodiscard]] const T& value() const { return value_; }
    Subscription subscribe(std::function<void(const T&)> handler) const
    {
        return observers_.add(std::move(handler));
    }

protected:
    explicit Observable(T initial = T())
        : value_(std::move(initial))
    {}
    ~Observable() = default;

    void assign(T value)
    {
        observers_.notify(value);
        value_ = std::move(value);
    }

    /// The first value, before anybody could observe it: nobody is told.
    void initialise(T value) { value_ = std::move(value); }

private:
    T value_;
    Observers<T> observers_;
};

/// An observable value that its owner keeps private and hands out as const, so that only the owner can set
/// it.
template <typename T>
class Published final : public Observable<T> {
public:
    explicit Published(T initial = T())
        : Observable<T>(std::move(initial))
    {}
    void set(T value) { this->assign(std::move(value)); }
};

/// For views: calls refresh on a later turn of the main loop, once for all the changes of this turn, and
/// never after the context object is gone. By then the new state is visible.
class LaterRefresh {
public:
    LaterRefresh(QObject* context, std::function<void()> refresh)
        : context_(context)
        , state_(std::make_shared<State>(State{std::move(refresh), false}))
    {}

    void request() const
    {
        if (std::exchange(state_->pending, true) || !context_)
            return;
        QMetaObject::invokeMethod(
            context_,
            [state = state_] {
                state->pending = false;
                state->refresh();
            },
            Qt::QueuedConnection);
    }

    /// Nothing is refreshed any more, not even what was requested before.
    void cancel() const
    {
        state_->refresh = [] {};
    }

private:
    struct State {
        std::function<void()> refresh;
        bool pending;
    };
    QPointer<QObject> context_;
    std::shared_ptr<State> state_;
};

} // namespace velmo
