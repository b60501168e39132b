#include "platform/x11/X11RenderFormats.h"

namespace velmo {
namespace {

bool isArgb32(const xcb_render_pictforminfo_t& format)
{
    const auto& direct = format.direct;
    return format.type == XCB_RENDER_PICT_TYPE_DIRECT && format.depth == 32 && direct.alpha_shift == 24 &&
           direct.alpha_mask == 0xff && direct.red_shift == 16 && direct.red_mask == 0xff &&
           direct.green_shift == 8 && direct.green_mask == 0xff && direct.blue_shift == 0 &&
           direct.blue_mask == 0xff;
}

} // namespace

X11RenderFormats X11RenderFormats::read(const X11Connection& connection)
{
    X11RenderFormats result;
    const auto reply = connection.await(xcb_render_query_pict_formats_reply,
                                        xcb_render_query_pict_formats(connection.get()));
    if (!reply)
        return result;
    std::unordered_map<xcb_render_pictformat_t, bool> alpha;
    const auto* formats = xcb_render_query_pict_formats_formats(reply.get());
    for (int i = 0; i < xcb_render_query_pict_formats_formats_length(reply.get()); ++i) {
        alpha[formats[i].id] = formats[i].direct.alpha_mask != 0;
        if (result.argb32_ == 0 && isArgb32(formats[i]))
            result.argb32_ = formats[i].id;
    }
    for (auto screen = xcb_render_query_pict_formats_screens_iterator(reply.get()); screen.rem > 0;
         xcb_render_pictscreen_next(&screen)) {
        for (auto depth = xcb_render_pictscreen_depths_iterator(screen.data); depth.rem > 0;
             xcb_render_pictdepth_next(&depth)) {
            const auto* visuals = xcb_render_pictdepth_visuals(depth.data);
            for (int i = 0; i < xcb_render_pictdepth_visuals_length(depth.data); ++i)
                result.visuals_[visuals[i].visual] = {visuals[i].format, alpha[visuals[i].format]};
        }
    }
    return result;
}

X11RenderFormat X11RenderFormats::ofVisual(xcb_visualid_t visual) const
{
    const auto found = visuals_.find(visual);
    return found == visuals_.end() ? X11RenderFormat{} : found->second;
}

} // namespace velmo
