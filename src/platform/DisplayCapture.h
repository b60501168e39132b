#pragma once

#include "core/Result.h"
#include "platform/PlatformError.h"

#include <QImage>
#include <vector>

namespace velmo {

struct ShareableDisplay {
    quint32 id = 0;
    int width = 0;  ///< Points, rounded down.
    int height = 0; ///< Points, rounded down.
};

/// What could be captured at one moment.
struct ShareableContent {
    std::vector<ShareableDisplay> displays;
    int windowCount = 0; ///< Viewable top-level windows, our own included.
};

/// Pictures of a display without this program's own windows.
///
/// prepare() and release() are called on the main thread; shareableContent() and captureDisplay() on a
/// worker, one at a time. The backend owns its connection and never touches the main thread's.
class DisplayCapture {
public:
    virtual ~DisplayCapture() = default;

    /// A session begins and none of our windows is on the screen yet: keep what later captures need.
    virtual void prepare() = 0;

    /// The session is over: give back what prepare() took.
    virtual void release() = 0;

    [[nodiscard]] virtual Result<ShareableContent, PlatformError> shareableContent() = 0;

    /// The display in native pixels, device pixel ratio 1, without the mouse pointer and without our windows.
    [[nodiscard]] virtual Result<QImage, PlatformError> captureDisplay(quint32 id) = 0;
};

} // namespace velmo
