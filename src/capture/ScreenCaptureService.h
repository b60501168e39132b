#pragma once

#include "core/SessionCollaborators.h"
#include "platform/DisplayCapture.h"

namespace velmo {

/// What can go wrong beside the platform's own errors.
enum class ScreenCaptureError {
    NoDisplay,        ///< The system reported no displays.
    ConversionFailed, ///< The composed image could not be turned into PNG.
};

/// Takes the picture that is sent: one display without this program's windows, the strokes laid over it, no
/// edge longer than the models accept, as PNG. Called on the main thread; the work is done on a worker. Calls
/// may overlap.
class ScreenCaptureService final : public AnnotatedCapture {
public:
    /// Longest edge of a sent image, in points.
    static constexpr double kMaxAnthropicVisionEdge = 1568;

    /// The backend outlives the service and every capture.
    explicit ScreenCaptureService(DisplayCapture& displays)
        : displays_(displays)
    {}

    void freezeScreen(std::optional<quint32> displayID) override { displays_.freeze(displayID); }

    [[nodiscard]] async::Task<Result<QByteArray, PlatformError>>
    captureWithAnnotations(std::optional<quint32> displayID, QImage drawingOverlay) override;

    /// The size, in points, to which an image of that size is reduced; the same size if it is small enough.
    [[nodiscard]] static QSize sizeForVision(QSize size);

private:
    DisplayCapture& displays_;
};

} // namespace velmo
