#pragma once

#include <utility>
#include <variant>

namespace velmo {

/// Wraps an error, so that a Result can be built from it even where value and error have the same type.
template <typename E>
struct Failure {
    E error;
};

template <typename E>
Failure(E) -> Failure<E>;

/// An expected outcome: a value, or a typed error. Plain value, any thread.
template <typename T, typename E>
class [[nodiscard]] Result {
public:
    Result(T value)
        : outcome_(std::in_place_index<0>, std::move(value))
    {}
    Result(Failure<E> failure)
        : outcome_(std::in_place_index<1>, std::move(failure.error))
    {}

    [[nodiscard]] bool hasValue() const { return outcome_.index() == 0; }
    explicit operator bool() const { return hasValue(); }

    /// Only with hasValue().
    [[nodiscard]] T& value() { return std::get<0>(outcome_); }
    [[nodiscard]] const T& value() const { return std::get<0>(outcome_); }

    /// Only without hasValue().
    [[nodiscard]] E& error() { return std::get<1>(outcome_); }
    [[nodiscard]] const E& error() const { return std::get<1>(outcome_); }

private:
    std::variant<T, E> outcome_;
};

} // namespace velmo
