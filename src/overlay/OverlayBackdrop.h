#pragma once

#include "core/async/TaskScope.h"
#include "platform/DisplayCapture.h"
#include "platform/WindowSurfaces.h"

#include <QPixmap>
#include <functional>
#include <vector>

namespace velmo {

/// Follows what the desktop shows below our windows, for surfaces that cannot be translucent: what is under
/// the strokes then stays what would be sent. Main thread.
class OverlayBackdrop {
public:
    struct Target {
        quint32 displayID = 0;
        std::function<void(const QPixmap&)> show; ///< Called with native pixels; null: nothing is needed.
    };

    /// Follows until it is destroyed. The window system outlives it, the capture also every picture under
    /// way.
    OverlayBackdrop(DisplayCapture& capture, const WindowSurfaces& windows, std::vector<Target> targets);
    ~OverlayBackdrop();
    OverlayBackdrop(const OverlayBackdrop&) = delete;
    OverlayBackdrop& operator=(const OverlayBackdrop&) = delete;

private:
    void follow();
    async::Task<> refresh();

    DisplayCapture& capture_;
    const WindowSurfaces& windows_;
    std::vector<Target> targets_;
    bool isRefreshing_ = false;
    bool isOutdated_ = false; ///< Something changed while the last picture was being taken.
    async::TaskScope tasks_;
};

} // namespace velmo
