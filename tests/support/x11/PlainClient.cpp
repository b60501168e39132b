#include "support/x11/PlainClient.h"

#include "support/x11/Await.h"

#include <algorithm>
#include <array>
#include <optional>
#include <stdexcept>
#include <xcb/shape.h>

namespace velmo::test {
namespace {

xcb_visualid_t visualOfDepth(const xcb_screen_t& screen, uint8_t depth)
{
    for (auto allowed = xcb_screen_allowed_depths_iterator(&screen); allowed.rem > 0;
         xcb_depth_next(&allowed)) {
        if (allowed.data->depth == depth && xcb_depth_visuals_length(allowed.data) > 0)
            return xcb_depth_visuals(allowed.data)->visual_id;
    }
    return XCB_NONE;
}

std::optional<PlainClient::Event> inputEvent(const xcb_generic_event_t& event)
{
    using Type = PlainClient::Event::Type;
    const int detail = reinterpret_cast<const xcb_key_press_event_t&>(event).detail;
    switch (event.response_type & 0x7f) {
    case XCB_KEY_PRESS:
        return {{Type::KeyPress, detail}};
    case XCB_KEY_RELEASE:
        return {{Type::KeyRelease, detail}};
    case XCB_BUTTON_PRESS:
        return {{Type::ButtonPress, detail}};
    case XCB_BUTTON_RELEASE:
        return {{Type::ButtonRelease, detail}};
    case XCB_FOCUS_IN:
        return {{Type::FocusIn, 0}};
    case XCB_FOCUS_OUT:
        return {{Type::FocusOut, 0}};
    default:
        return std::nullopt;
    }
}

} // namespace

PlainClient::PlainClient(const Options& options)
    : connection_(X11Connection::open())
{
    if (!connection_)
        throw std::runtime_error("no display");
    create(options);
    describe(options);
    xcb_map_window(connection_->get(), window_);
    const bool isShown = awaitCondition([this] {
        const auto attributes = connection_->await(xcb_get_window_attributes_reply,
                                                   xcb_get_window_attributes(connection_->get(), window_));
        return attributes && attributes->map_state == XCB_MAP_STATE_VIEWABLE;
    });
    if (!isShown)
        throw std::runtime_error("the window was not shown");
}

PlainClient::~PlainClient()
{
    xcb_destroy_window(connection_->get(), window_);
    connection_->sync();
}

void PlainClient::create(const Options& options)
{
    xcb_connection_t* xcb = connection_->get();
    const auto& screen = connection_->screen();
    const uint8_t depth = options.isTranslucent ? 32 : screen.root_depth;
    const xcb_visualid_t visual = options.isTranslucent ? visualOfDepth(screen, 32) : screen.root_visual;
    const xcb_colormap_t colormap = xcb_generate_id(xcb);
    xcb_create_colormap(xcb, XCB_COLORMAP_ALLOC_NONE, colormap, screen.root, visual);
    window_ = xcb_generate_id(xcb);
    const std::array<uint32_t, 4> values{0xff203040, options.bypassesManager ? 1U : 0U,
                                         XCB_EVENT_MASK_KEY_PRESS | XCB_EVENT_MASK_KEY_RELEASE |
                                             XCB_EVENT_MASK_BUTTON_PRESS | XCB_EVENT_MASK_BUTTON_RELEASE |
                                             XCB_EVENT_MASK_FOCUS_CHANGE,
                                         colormap};
    xcb_create_window(xcb, depth, window_, screen.root, static_cast<int16_t>(options.area.x()),
                      static_cast<int16_t>(options.area.y()), static_cast<uint16_t>(options.area.width()),
                      static_cast<uint16_t>(options.area.height()), static_cast<uint16_t>(options.border),
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, visual,
                      XCB_CW_BORDER_PIXEL | XCB_CW_OVERRIDE_REDIRECT | XCB_CW_EVENT_MASK | XCB_CW_COLORMAP,
                      values.data());
    paint(options, depth);
    std::vector<xcb_rectangle_t> shape;
    for (const QRect& part : options.shape) {
        shape.push_back({static_cast<int16_t>(part.x()), static_cast<int16_t>(part.y()),
                         static_cast<uint16_t>(part.width()), static_cast<uint16_t>(part.height())});
    }
    if (!shape.empty())
        xcb_shape_rectangles(xcb, XCB_SHAPE_SO_SET, XCB_SHAPE_SK_BOUNDING, XCB_CLIP_ORDERING_UNSORTED,
                             window_, 0, 0, static_cast<uint32_t>(shape.size()), shape.data());
}

void PlainClient::paint(const Options& options, uint8_t depth)
{
    xcb_connection_t* xcb = connection_->get();
    const auto width = static_cast<uint16_t>(options.area.width());
    const auto height = static_cast<uint16_t>(options.area.height());
    const xcb_pixmap_t pattern = xcb_generate_id(xcb);
    xcb_create_pixmap(xcb, depth, pattern, window_, width, height);
    const xcb_gcontext_t context = xcb_generate_id(xcb);
    xcb_create_gc(xcb, context, pattern, XCB_GC_FOREGROUND, &options.color);
    const xcb_rectangle_t all{0, 0, width, height};
    xcb_poly_fill_rectangle(xcb, pattern, context, 1, &all);
    // No two places look alike, so that a shifted or a stale picture shows.
    for (int i = 0; i * 16 < height && !options.isPlain; ++i) {
        const uint32_t color = options.color ^ static_cast<uint32_t>(i * 0x000305);
        xcb_change_gc(xcb, context, XCB_GC_FOREGROUND, &color);
        const xcb_rectangle_t bar{static_cast<int16_t>((i * 29) % (width / 2 + 1)),
                                  static_cast<int16_t>(i * 16), static_cast<uint16_t>(width / 2), 9};
        xcb_poly_fill_rectangle(xcb, pattern, context, 1, &bar);
    }
    xcb_change_window_attributes(xcb, window_, XCB_CW_BACK_PIXMAP, &pattern);
    xcb_free_gc(xcb, context);
    xcb_free_pixmap(xcb, pattern);
}

void PlainClient::describe(const Options& options)
{
    const auto setBytes = [this](xcb_atom_t property, const QByteArray& bytes) {
        xcb_change_property(connection_->get(), XCB_PROP_MODE_REPLACE, window_, property, XCB_ATOM_STRING, 8,
                            static_cast<uint32_t>(bytes.size()), bytes.constData());
    };
    const auto setNumbers = [this](xcb_atom_t property, xcb_atom_t type,
                                   const std::vector<quint32>& numbers) {
        xcb_change_property(connection_->get(), XCB_PROP_MODE_REPLACE, window_, property, type, 32,
                            static_cast<uint32_t>(numbers.size()), numbers.data());
    };
    setBytes(XCB_ATOM_WM_NAME, options.title);
    if (!options.windowClass.isEmpty())
        setBytes(XCB_ATOM_WM_CLASS, options.windowClass);
    if (!options.windowType.isEmpty())
        setNumbers(connection_->atom("_NET_WM_WINDOW_TYPE"), XCB_ATOM_ATOM,
                   {connection_->atom(options.windowType.constData())});
    if (options.isFullScreen)
        setNumbers(connection_->atom("_NET_WM_STATE"), XCB_ATOM_ATOM,
                   {connection_->atom("_NET_WM_STATE_FULLSCREEN")});
    if (options.processID > 0)
        setNumbers(connection_->atom("_NET_WM_PID"), XCB_ATOM_CARDINAL,
                   {static_cast<quint32>(options.processID)});
    if (options.opacity < 1)
        setNumbers(connection_->atom("_NET_WM_WINDOW_OPACITY"), XCB_ATOM_CARDINAL,
                   {static_cast<quint32>(options.opacity * 0xffffffff)});
    // A position of the user's is kept by window managers. Flags, then four old fields, the sizes and
    // gravity.
    std::vector<quint32> hints(18);
    hints[0] = 1;
    hints[1] = static_cast<quint32>(options.area.x());
    hints[2] = static_cast<quint32>(options.area.y());
    setNumbers(XCB_ATOM_WM_NORMAL_HINTS, XCB_ATOM_WM_SIZE_HINTS, hints);
}

const std::vector<PlainClient::Event>& PlainClient::events()
{
    connection_->sync();
    while (const auto event = connection_->nextEvent()) {
        const auto input = inputEvent(*event);
        if (!input)
            continue;
        events_.push_back(*input);
        if (input->type != Event::Type::FocusIn && input->type != Event::Type::FocusOut)
            lastState_ = reinterpret_cast<const xcb_key_press_event_t&>(*event).state;
    }
    return events_;
}

int PlainClient::count(Event::Type type, int detail)
{
    return static_cast<int>(std::ranges::count(events(), Event{type, detail}));
}

void PlainClient::forgetEvents()
{
    static_cast<void>(events());
    events_.clear();
}

void PlainClient::takeFocus()
{
    xcb_set_input_focus(connection_->get(), XCB_INPUT_FOCUS_POINTER_ROOT, window_, XCB_CURRENT_TIME);
    connection_->sync();
}

bool PlainClient::hasFocus()
{
    const auto reply = connection_->await(xcb_get_input_focus_reply, xcb_get_input_focus(connection_->get()));
    return reply && reply->focus == window_;
}

} // namespace velmo::test
