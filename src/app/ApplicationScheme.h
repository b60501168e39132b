#pragma once

#include "platform/ColorScheme.h"

namespace velmo {

/// Has all our windows light or dark as the desktop prefers it, and as the toolkit's own colours are where it
/// has no preference. Needs the application object. Main thread.
class ApplicationScheme {
public:
    /// The scheme outlives it, and its handler is this object's own.
    explicit ApplicationScheme(ColorScheme& scheme);
    ApplicationScheme(const ApplicationScheme&) = delete;
    ApplicationScheme& operator=(const ApplicationScheme&) = delete;
    ~ApplicationScheme();

private:
    void follow();

    ColorScheme& scheme_;
    bool replacesColors_ = false; ///< The toolkit's own.
    bool hasDarkColors_ = false;  ///< The toolkit, before they were replaced.
};

} // namespace velmo
