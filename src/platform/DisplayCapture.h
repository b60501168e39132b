#pragma once

#include "core/Result.h"
#include "platform/PlatformError.h"

#include <QImage>
#include <functional>
#include <optional>
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

/// Which moment a picture of a display shows.
enum class CaptureMoment {
    Now,
    Frozen ///< When freeze() kept it; now, if it did not keep that display.
};

/// Pictures of a display without this program's own windows.
///
/// shareableContent() and captureDisplay() are called on workers, and calls may overlap; everything else on
/// the main thread. The backend owns its connections and never touches the toolkit's.
class DisplayCapture {
public:
    virtual ~DisplayCapture() = default;

    /// A session begins and none of our windows is on the screen yet: keep what later captures need. Repeated
    /// calls change nothing.
    virtual void prepare() = 0;

    /// The session is over: give back what prepare() and freeze() took.
    virtual void release() = 0;

    /// Keeps the display (the first one, without an id) as it shows at this moment, for the next capture of
    /// it that asks for the frozen picture. For the moment before our windows take the keyboard: window
    /// managers repaint the frames of the others then. Keeps nothing where the windows cannot be told apart.
    virtual void freeze(std::optional<quint32> id) = 0;

    /// Told, at most ten times a second and only between prepare() and release(), that windows other than
    /// ours look different now, or that a compositor has come or gone; never where the desktop cannot tell.
    /// An empty handler ends it.
    virtual void setChangeHandler(std::function<void()> handler) = 0;

    [[nodiscard]] virtual Result<ShareableContent, PlatformError> shareableContent() = 0;

    /// The display in native pixels, device pixel ratio 1, without the mouse pointer and without our windows.
    /// Where our windows cannot be left out, Frozen gives the screen from before any of them was there, and
    /// Now fails.
    [[nodiscard]] virtual Result<QImage, PlatformError> captureDisplay(quint32 id, CaptureMoment moment) = 0;
};

} // namespace velmo
