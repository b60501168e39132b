#pragma once

#include "platform/x11/X11CaptureBackground.h"
#include "platform/x11/X11RenderFormats.h"
#include "platform/x11/X11WindowStack.h"

#include <QRect>

namespace velmo {

/// Draws windows over a background into a pixmap in the server, as the screen shows them. The caller has
/// grabbed the server, and the root's children are redirected.
class X11SceneCompositor {
public:
    /// How overlapping windows are shown.
    enum class Blending {
        Opaque,     ///< No compositing manager: every window covers what is below it.
        Translucent ///< A compositing manager blends alpha channels and opacities.
    };

    /// area: the part of the root, in root coordinates, that the target pixmap (depth 32) shows.
    X11SceneCompositor(X11Connection& connection, const X11RenderFormats& formats, xcb_pixmap_t target,
                       const QRect& area);
    ~X11SceneCompositor();
    X11SceneCompositor(const X11SceneCompositor&) = delete;
    X11SceneCompositor& operator=(const X11SceneCompositor&) = delete;

    /// Removes what cannot be seen from every window's region and returns what no window covers.
    [[nodiscard]] QRegion cull(std::vector<X11StackedWindow>& stack, Blending blending) const;

    void drawBackground(const X11Background& background, const QRegion& region);
    /// Their contents have names.
    void drawWindows(const std::vector<X11StackedWindow>& stack, Blending blending);

private:
    [[nodiscard]] bool isTranslucent(const X11StackedWindow& window, Blending blending) const;
    void drawWindow(const X11StackedWindow& window, Blending blending);
    void clipTo(const QRegion& region);

    X11Connection& connection_;
    const X11RenderFormats& formats_;
    QRect area_;
    xcb_render_picture_t target_;
};

} // namespace velmo
