#include "platform/x11/X11Connection.h"

namespace velmo {
namespace {

xcb_screen_t* screenOf(xcb_connection_t* connection, int number)
{
    auto iterator = xcb_setup_roots_iterator(xcb_get_setup(connection));
    for (int i = 0; i < number && iterator.rem > 1; ++i)
        xcb_screen_next(&iterator);
    return iterator.data;
}

} // namespace

std::unique_ptr<X11Connection> X11Connection::open()
{
    int number = 0;
    xcb_connection_t* connection = xcb_connect(nullptr, &number);
    if (xcb_connection_has_error(connection) != 0) {
        xcb_disconnect(connection);
        return nullptr;
    }
    return std::unique_ptr<X11Connection>(
        new X11Connection(connection, number, screenOf(connection, number)));
}

X11Connection::X11Connection(xcb_connection_t* connection, int screenNumber, xcb_screen_t* screen)
    : connection_(connection)
    , screenNumber_(screenNumber)
    , screen_(screen)
{}

X11Connection::~X11Connection()
{
    xcb_disconnect(connection_);
}

const xcb_query_extension_reply_t* X11Connection::extension(xcb_extension_t& extension) const
{
    const auto* data = xcb_get_extension_data(connection_, &extension);
    return data != nullptr && data->present != 0 ? data : nullptr;
}

xcb_atom_t X11Connection::atom(const char* name)
{
    const QByteArray key(name);
    const auto known = atoms_.constFind(key);
    if (known != atoms_.constEnd())
        return *known;
    const auto reply = await(xcb_intern_atom_reply,
                             xcb_intern_atom(connection_, 0, static_cast<uint16_t>(key.size()), name));
    const xcb_atom_t atom = reply ? reply->atom : xcb_atom_t{XCB_NONE};
    if (atom != XCB_NONE)
        atoms_.insert(key, atom);
    return atom;
}

xcb_atom_t X11Connection::screenSelection(const QByteArray& name)
{
    const QByteArray selection = name + "_S" + QByteArray::number(screenNumber_);
    return atom(selection.constData());
}

xcb_window_t X11Connection::ownerOf(xcb_atom_t selection) const
{
    const auto reply = await(xcb_get_selection_owner_reply, xcb_get_selection_owner(connection_, selection));
    return reply ? reply->owner : xcb_window_t{XCB_NONE};
}

xcb_atom_t X11Connection::compositorSelection()
{
    return screenSelection("_NET_WM_CM");
}

xcb_window_t X11Connection::compositingManager()
{
    return ownerOf(compositorSelection());
}

XcbPointer<xcb_generic_event_t> X11Connection::nextEvent()
{
    if (!waiting_.empty()) {
        auto event = std::move(waiting_.front());
        waiting_.pop_front();
        return event;
    }
    return XcbPointer<xcb_generic_event_t>(xcb_poll_for_event(connection_));
}

int X11Connection::discardEvents()
{
    int errors = 0;
    while (const auto event = nextEvent())
        errors += event->response_type == 0 ? 1 : 0;
    return errors;
}

xcb_timestamp_t X11Connection::serverTime()
{
    if (clockWindow_ == XCB_NONE) {
        clockWindow_ = xcb_generate_id(connection_);
        const uint32_t mask = XCB_EVENT_MASK_PROPERTY_CHANGE;
        xcb_create_window(connection_, XCB_COPY_FROM_PARENT, clockWindow_, root(), -1, -1, 1, 1, 0,
                          XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, XCB_CW_EVENT_MASK, &mask);
    }
    // Appending nothing changes no property, but the server reports it with its own time.
    xcb_change_property(connection_, XCB_PROP_MODE_APPEND, clockWindow_, XCB_ATOM_WM_NAME, XCB_ATOM_STRING, 8,
                        0, nullptr);
    xcb_flush(connection_);
    while (XcbPointer<xcb_generic_event_t> event{xcb_wait_for_event(connection_)}) {
        if ((event->response_type & 0x7f) == XCB_PROPERTY_NOTIFY) {
            const auto* change = reinterpret_cast<const xcb_property_notify_event_t*>(event.get());
            if (change->window == clockWindow_)
                return change->time;
        }
        waiting_.push_back(std::move(event));
    }
    return XCB_CURRENT_TIME;
}

void X11Connection::sync() const
{
    // Any request with a reply will do: the server answers in order.
    static_cast<void>(await(xcb_get_input_focus_reply, xcb_get_input_focus(connection_)));
}

} // namespace velmo
