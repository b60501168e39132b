#pragma once

#include "core/AnnotationSession.h"
#include "overlay/DrawingCanvasView.h"
#include "overlay/DrawingToolbarContentView.h"
#include "overlay/OverlayBackdrop.h"
#include "overlay/OverlaySurface.h"
#include "platform/WindowSurfaces.h"

#include <QObject>

namespace velmo {

/// What an overlay needs of the desktop. Everything outlives it.
struct OverlayDesktop {
    const Screens& screens;
    WindowSurfaces& windows;
    DisplayCapture& capture;
};

/// The transparent layer over all screens: a surface per screen, the canvas that they show, the toolbar, and
/// the Escape key. One per annotation. Main thread.
class OverlayWindowController final : public QObject, public AnnotationOverlay {
public:
    /// The session outlives it.
    OverlayWindowController(AnnotationSession& session, bool showToolbar, const OverlayDesktop& desktop);
    ~OverlayWindowController() override;

    void showWindow() override;
    void close() override;
    void hideToolbar() override;
    [[nodiscard]] ScreenRect unionRect() const override { return unionRect_; }
    [[nodiscard]] DrawingCanvas* canvas() override { return canvasView_.get(); }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    struct ShownScreen {
        Screen screen;
        std::size_t region = 0; ///< Its place in the canvas.
        std::unique_ptr<OverlaySurface> surface;
    };

    void setupCanvas();
    void addSurface(const Screen& screen, std::size_t region);
    void showDesktopAsItWas();
    void followDesktop();
    void setupToolbar();
    void setupKeyHandler();
    void watchScreens();
    void followScreens();
    [[nodiscard]] CanvasPoint canvasPoint(const ShownScreen& from, QPointF local) const;
    void confirmByKey();
    void takeKeyboard();
    [[nodiscard]] bool tryTakingKeyboard();
    async::Task<> keepTakingKeyboard();

    AnnotationSession& session_;
    OverlayDesktop desktop_;
    ScreenRect unionRect_;
    std::vector<Screen> screens_;
    std::shared_ptr<DrawingState> drawingState_ = std::make_shared<DrawingState>();
    std::unique_ptr<DrawingCanvasView> canvasView_;
    std::vector<std::unique_ptr<ShownScreen>> shown_;
    std::unique_ptr<OverlayBackdrop> backdrop_;
    std::unique_ptr<FloatingWindow> toolbarPanel_;
    bool monitorsKeys_ = false;
    async::TaskScope tasks_;
};

} // namespace velmo
