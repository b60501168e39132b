#pragma once

#include "platform/Screens.h"
#include "platform/WindowSurfaces.h"

#include <QImage>
#include <QString>
#include <memory>
#include <optional>

namespace velmo {

class ImagePreviewWindow;

/// Shows one picture at a comfortable size in an ordinary window above everything else; Escape and Space
/// close it. Closing keeps the window, so it can be shown again. Main thread.
class ImagePreviewWindowController {
public:
    /// The picture in points. Screens are asked now; the window system outlives the controller.
    ImagePreviewWindowController(const QImage& image, const QString& title, const Screens& screens,
                                 WindowSurfaces& windows);
    ~ImagePreviewWindowController();
    ImagePreviewWindowController(const ImagePreviewWindowController&) = delete;
    ImagePreviewWindowController& operator=(const ImagePreviewWindowController&) = delete;

    void showWindow();
    [[nodiscard]] bool isVisible() const;

    /// The size of the window's content for a picture of that size, in points: reduced to fit, never
    /// enlarged, but no smaller than a window should be.
    [[nodiscard]] static ScreenSize contentSize(ScreenSize image,
                                                const std::optional<ScreenRect>& visibleFrame);

private:
    std::unique_ptr<ImagePreviewWindow> window_;
};

} // namespace velmo
