#include "platform/x11/X11SceneCompositor.h"

#include <cmath>

namespace velmo {
namespace {

xcb_render_picture_t createPicture(X11Connection& connection, xcb_drawable_t drawable,
                                   xcb_render_pictformat_t format)
{
    const xcb_render_picture_t picture = xcb_generate_id(connection.get());
    xcb_render_create_picture(connection.get(), picture, drawable, format, 0, nullptr);
    return picture;
}

/// The part of source whose top left is at sourceOrigin, onto the bounds of the target.
void composite(X11Connection& connection, xcb_render_pict_op_t operation, xcb_render_picture_t source,
               xcb_render_picture_t mask, QPoint sourceOrigin, xcb_render_picture_t target,
               const QRect& bounds)
{
    xcb_render_composite(connection.get(), static_cast<uint8_t>(operation), source, mask, target,
                         static_cast<int16_t>(sourceOrigin.x()), static_cast<int16_t>(sourceOrigin.y()), 0, 0,
                         static_cast<int16_t>(bounds.x()), static_cast<int16_t>(bounds.y()),
                         static_cast<uint16_t>(bounds.width()), static_cast<uint16_t>(bounds.height()));
}

} // namespace

X11SceneCompositor::X11SceneCompositor(X11Connection& connection, const X11RenderFormats& formats,
                                       xcb_pixmap_t target, const QRect& area)
    : connection_(connection)
    , formats_(formats)
    , area_(area)
    , target_(createPicture(connection, target, formats.argb32()))
{}

X11SceneCompositor::~X11SceneCompositor()
{
    xcb_render_free_picture(connection_.get(), target_);
}

bool X11SceneCompositor::isTranslucent(const X11StackedWindow& window, Blending blending) const
{
    return blending == Blending::Translucent &&
           (window.opacity < 1 || formats_.ofVisual(window.visual).hasAlpha);
}

QRegion X11SceneCompositor::cull(std::vector<X11StackedWindow>& stack, Blending blending) const
{
    QRegion uncovered(area_);
    for (auto window = stack.rbegin(); window != stack.rend(); ++window) {
        window->region &= uncovered;
        if (!isTranslucent(*window, blending))
            uncovered -= window->region;
    }
    return uncovered;
}

void X11SceneCompositor::clipTo(const QRegion& region)
{
    std::vector<xcb_rectangle_t> rectangles;
    rectangles.reserve(static_cast<std::size_t>(region.rectCount()));
    for (const QRect& part : region.translated(-area_.topLeft())) {
        rectangles.push_back({static_cast<int16_t>(part.x()), static_cast<int16_t>(part.y()),
                              static_cast<uint16_t>(part.width()), static_cast<uint16_t>(part.height())});
    }
    xcb_render_set_picture_clip_rectangles(connection_.get(), target_, 0, 0,
                                           static_cast<uint32_t>(rectangles.size()), rectangles.data());
}

void X11SceneCompositor::drawBackground(const X11Background& background, const QRegion& region)
{
    if (region.isEmpty())
        return;
    clipTo(region);
    const auto picture =
        createPicture(connection_, background.pixmap, formats_.ofVisual(connection_.screen().root_visual).id);
    if (background.repeats) {
        const uint32_t repeat = XCB_RENDER_REPEAT_NORMAL;
        xcb_render_change_picture(connection_.get(), picture, XCB_RENDER_CP_REPEAT, &repeat);
    }
    const QRect bounds = region.boundingRect();
    composite(connection_, XCB_RENDER_PICT_OP_SRC, picture, XCB_NONE, bounds.topLeft() - background.origin,
              target_, bounds.translated(-area_.topLeft()));
    xcb_render_free_picture(connection_.get(), picture);
}

void X11SceneCompositor::drawWindows(const std::vector<X11StackedWindow>& stack, Blending blending)
{
    for (const auto& window : stack) {
        if (!window.region.isEmpty())
            drawWindow(window, blending);
    }
}

void X11SceneCompositor::drawWindow(const X11StackedWindow& window, Blending blending)
{
    xcb_connection_t* xcb = connection_.get();
    const auto picture = createPicture(connection_, window.pixmap, formats_.ofVisual(window.visual).id);
    xcb_render_picture_t mask = XCB_NONE;
    if (blending == Blending::Translucent && window.opacity < 1) {
        mask = xcb_generate_id(xcb);
        const auto alpha = static_cast<uint16_t>(std::lround(window.opacity * 0xffff));
        xcb_render_create_solid_fill(xcb, mask, {0, 0, 0, alpha});
    }
    clipTo(window.region);
    const QRect bounds = window.region.boundingRect();
    composite(connection_, isTranslucent(window, blending) ? XCB_RENDER_PICT_OP_OVER : XCB_RENDER_PICT_OP_SRC,
              picture, mask, bounds.topLeft() - window.frame.topLeft(), target_,
              bounds.translated(-area_.topLeft()));
    if (mask != XCB_NONE)
        xcb_render_free_picture(xcb, mask);
    xcb_render_free_picture(xcb, picture);
}

} // namespace velmo
