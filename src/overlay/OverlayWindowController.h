#pragma once

#include "core/AnnotationSession.h"
#include "core/async/TaskScope.h"
#include "overlay/DrawingCanvasView.h"
#include "overlay/DrawingToolbarPanel.h"
#include "overlay/OverlaySurface.h"
#include "platform/WindowSurfaces.h"

#include <QObject>

namespace velmo {

/// The transparent layer over all screens: a surface per screen, the canvas that they show, the toolbar, and
/// the Escape key. One per annotation. Main thread.
class OverlayWindowController final : public QObject, public AnnotationOverlay {
public:
    /// Session, screens and window system outlive it.
    OverlayWindowController(AnnotationSession& session, bool showToolbar, const Screens& screens,
                            WindowSurfaces& windows);
    ~OverlayWindowController() override;

    void showWindow() override;
    void close() override;
    void hideToolbar() override;
    [[nodiscard]] ScreenRect unionRect() const override { return unionRect_; }
    [[nodiscard]] DrawingCanvas* canvas() override { return canvasView_.get(); }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void addSurface(const QRect& geometry, const Screen& screen);
    void strokeBegan(QPointF topDown);
    void strokeEnded();
    async::Task<> advanceAfterStroke();
    async::Task<> holdKeyboard();

    AnnotationSession& session_;
    WindowSurfaces& windows_;
    ScreenRect unionRect_;
    std::shared_ptr<DrawingState> drawingState_ = std::make_shared<DrawingState>();
    std::unique_ptr<DrawingCanvasView> canvasView_;
    std::vector<std::unique_ptr<OverlaySurface>> surfaces_;
    std::unique_ptr<DrawingToolbarPanel> toolbarPanel_;
    bool monitorsKeys_ = false;
    async::TaskScope tasks_;
};

} // namespace velmo
