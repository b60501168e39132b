#include "support/x11/RootBackground.h"

#include <stdexcept>

namespace velmo::test {

RootBackground::RootBackground(Announced announced)
    : connection_(X11Connection::open())
{
    if (!connection_)
        throw std::runtime_error("no display");
    xcb_connection_t* xcb = connection_->get();
    const auto& screen = connection_->screen();
    picture_ = xcb_generate_id(xcb);
    xcb_create_pixmap(xcb, screen.root_depth, picture_, screen.root, screen.width_in_pixels,
                      screen.height_in_pixels);
    const xcb_gcontext_t context = xcb_generate_id(xcb);
    xcb_create_gc(xcb, context, picture_, 0, nullptr);
    constexpr int kTile = 24;
    for (int y = 0; y < screen.height_in_pixels; y += kTile) {
        for (int x = 0; x < screen.width_in_pixels; x += kTile) {
            const auto color =
                static_cast<uint32_t>((x / kTile) * 0x020001 + (y / kTile) * 0x000401 + 0x102010);
            xcb_change_gc(xcb, context, XCB_GC_FOREGROUND, &color);
            const xcb_rectangle_t tile{static_cast<int16_t>(x), static_cast<int16_t>(y), kTile, kTile};
            xcb_poly_fill_rectangle(xcb, picture_, context, 1, &tile);
        }
    }
    xcb_free_gc(xcb, context);
    xcb_change_window_attributes(xcb, screen.root, XCB_CW_BACK_PIXMAP, &picture_);
    if (announced == Announced::Yes)
        xcb_change_property(xcb, XCB_PROP_MODE_REPLACE, screen.root, connection_->atom("_XROOTPMAP_ID"),
                            XCB_ATOM_PIXMAP, 32, 1, &picture_);
    xcb_clear_area(xcb, 0, screen.root, 0, 0, 0, 0);
    connection_->sync();
}

RootBackground::~RootBackground()
{
    xcb_connection_t* xcb = connection_->get();
    xcb_delete_property(xcb, connection_->root(), connection_->atom("_XROOTPMAP_ID"));
    const uint32_t black = connection_->screen().black_pixel;
    xcb_change_window_attributes(xcb, connection_->root(), XCB_CW_BACK_PIXEL, &black);
    xcb_clear_area(xcb, 0, connection_->root(), 0, 0, 0, 0);
    xcb_free_pixmap(xcb, picture_);
    connection_->sync();
}

} // namespace velmo::test
