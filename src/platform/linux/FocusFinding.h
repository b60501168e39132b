#pragma once

namespace velmo {

/// How far the lookup of a focused element has come.
enum class FocusFinding {
    Pending,
    Told,    ///< The application told of the element by an event.
    Sought,  ///< A walk through the application's elements met it.
    Nothing, ///< The application has none, or cannot be read.
};

} // namespace velmo
