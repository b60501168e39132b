#pragma once

#include <functional>

namespace velmo {

/// Whether the desktop wants windows to be light or dark, which the toolkit does not hear of on every
/// desktop, and on most not while the program runs. Main thread.
class ColorScheme {
public:
    enum class Preference {
        None, ///< The desktop has none, does not tell, or has not answered yet.
        Dark,
        Light,
    };

    virtual ~ColorScheme() = default;
    [[nodiscard]] virtual Preference preference() const = 0;

    /// Called after each change, from the event loop.
    virtual void setChangeHandler(std::function<void()> handler) = 0;
};

} // namespace velmo
