#pragma once

#include "platform/Screens.h"

#include <mutex>
#include <vector>

namespace velmo {

/// Where a native pixel is in points. Told about the screens on one thread and asked on another.
class X11PointerSpace {
public:
    void setScreens(const std::vector<Screen>& screens);

    /// A pixel on no screen, as there are some beside screens of unequal size, counts for the nearest one.
    [[nodiscard]] TopDownPoint fromNative(PixelPoint pixel) const;

private:
    mutable std::mutex mutex_;
    std::vector<Screen> screens_;
    double mainTop_ = 0;
};

} // namespace velmo
