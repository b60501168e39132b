#pragma once

#include "core/async/WorkerPool.h"
#include "overlay/OverlayWindowController.h"
#include "platform/x11/X11Platform.h"
#include "platform/x11/X11ReadablePixmap.h"
#include "support/core/SessionTest.h"
#include "support/widgets/ShownWidgets.h"
#include "support/x11/ActiveWindow.h"
#include "support/x11/Await.h"
#include "support/x11/InputDriver.h"
#include "support/x11/VirtualDisplay.h"

#include <QApplication>
#include <QScreen>
#include <QWindow>

namespace velmo::test {

/// A session with real overlays on a real display; only what follows the drawing is a stand-in.
class OverlayDesk : public SessionTest {
protected:
    OverlayDesk()
    {
        auto parts = collaborators();
        parts.makeOverlay = [this](AnnotationSession& owner, bool showToolbar) {
            auto overlay = std::make_unique<OverlayWindowController>(
                owner, showToolbar,
                OverlayDesktop{*platform_.screens, *platform_.windowSurfaces, *platform_.displayCapture});
            controller_ = overlay.get();
            return overlay;
        };
        session = std::make_unique<AnnotationSession>(
            SessionCollaborators{parts.makeOverlay, parts.makePanel, capture, focus, *platform_.screens,
                                 anthropic.factory(), openAI.factory()});
        session->setSettings(settings);
    }

    ~OverlayDesk() override
    {
        session->end();
        velmo::settle();
        async::finishWorkers();
        platform_.displayCapture->release();
        display().stopCompositor();
        display().stopWindowManager();
    }

    /// Begins as the program does, and returns when the overlay can be drawn on.
    void begin(bool showToolbar)
    {
        platform_.displayCapture->prepare();
        session->begin(showToolbar);
        ASSERT_TRUE(awaitCondition([] {
            const auto windows = surfaces();
            return !windows.empty() && std::ranges::all_of(windows, [](const OverlaySurface* surface) {
                return surface->windowHandle() != nullptr && surface->windowHandle()->isExposed();
            });
        }));
    }

    [[nodiscard]] static std::vector<OverlaySurface*> surfaces() { return shownWidgets<OverlaySurface>(); }
    [[nodiscard]] static QWidget* toolbar()
    {
        const auto found = shownWidgets<DrawingToolbarContentView>();
        return found.empty() ? nullptr : found.front()->window();
    }
    [[nodiscard]] static xcb_window_t idOf(const QWidget* widget)
    {
        return static_cast<xcb_window_t>(widget->window()->winId());
    }

    /// All windows of the desktop, bottom-most first.
    [[nodiscard]] std::vector<xcb_window_t> stack() const
    {
        const auto tree = eye_->await(xcb_query_tree_reply, xcb_query_tree(eye_->get(), eye_->root()));
        if (!tree)
            return {};
        const auto* first = xcb_query_tree_children(tree.get());
        return {first, first + xcb_query_tree_children_length(tree.get())};
    }

    /// The window's place among all, or its frame's; -1 when it is not there.
    [[nodiscard]] std::ptrdiff_t levelOf(xcb_window_t window) const
    {
        const auto windows = stack();
        for (int depth = 0; depth < 4; ++depth) {
            const auto found = std::ranges::find(windows, window);
            if (found != windows.end())
                return found - windows.begin();
            const auto tree = eye_->await(xcb_query_tree_reply, xcb_query_tree(eye_->get(), window));
            if (!tree)
                break;
            window = tree->parent;
        }
        return -1;
    }

    [[nodiscard]] quint32 activeWindow() const { return test::activeWindow(*eye_); }

    /// The whole desktop in native pixels.
    [[nodiscard]] QImage screenNow() const
    {
        const auto& screen = eye_->screen();
        return readRootImage(*eye_, QRect(0, 0, screen.width_in_pixels, screen.height_in_pixels));
    }

    [[nodiscard]] static int differingPixels(const QImage& a, const QImage& b, const QRect& except = {})
    {
        int count = 0;
        for (int y = 0; y < a.height(); ++y) {
            for (int x = 0; x < a.width(); ++x)
                count += a.pixel(x, y) != b.pixel(x, y) && !except.contains(x, y) ? 1 : 0;
        }
        return count;
    }

    void drag(QPoint from, QPoint to)
    {
        input_.moveTo(from.x(), from.y());
        input_.pressButton(1);
        constexpr int kSteps = 20;
        for (int step = 1; step <= kSteps; ++step) {
            const QPointF at = QPointF(from) + QPointF(to - from) * step / kSteps;
            input_.moveTo(static_cast<int>(at.x()), static_cast<int>(at.y()));
        }
        input_.releaseButton(1);
    }

    /// Of the overlay that is up.
    [[nodiscard]] const DrawingCanvasView& canvas() const
    {
        return dynamic_cast<DrawingCanvasView&>(*controller_->canvas());
    }

    OverlayWindowController* controller_ = nullptr;
    InputDriver input_;
    X11Platform platform_ = X11Platform::create();
    std::unique_ptr<X11Connection> eye_ = X11Connection::open();
};

} // namespace velmo::test
