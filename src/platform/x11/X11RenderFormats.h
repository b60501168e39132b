#pragma once

#include "platform/x11/X11Connection.h"

#include <unordered_map>
#include <xcb/render.h>

namespace velmo {

/// How the pixels of a visual are laid out, for the Render extension.
struct X11RenderFormat {
    xcb_render_pictformat_t id = 0;
    bool hasAlpha = false;
};

/// The server's picture formats, read once per connection. Plain value.
class X11RenderFormats {
public:
    /// Empty when the server does not answer.
    [[nodiscard]] static X11RenderFormats read(const X11Connection& connection);

    [[nodiscard]] bool isEmpty() const { return argb32_ == 0; }

    /// 32 bits with premultiplied alpha, which every server with Render has.
    [[nodiscard]] xcb_render_pictformat_t argb32() const { return argb32_; }

    /// With id 0 for a visual that Render does not know.
    [[nodiscard]] X11RenderFormat ofVisual(xcb_visualid_t visual) const;

private:
    xcb_render_pictformat_t argb32_ = 0;
    std::unordered_map<xcb_visualid_t, X11RenderFormat> visuals_;
};

} // namespace velmo
