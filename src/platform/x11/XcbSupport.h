#pragma once

#include <QByteArray>
#include <QRect>
#include <QRegion>
#include <QtGlobal>
#include <cstdlib>
#include <memory>
#include <vector>
#include <xcb/xcb.h>

/// Owning pointers and property reading for any xcb connection, ours or the toolkit's. Any thread.
namespace velmo {

struct XcbFree {
    void operator()(void* memory) const { std::free(memory); }
};

/// A reply, event or error, which xcb allocates and its receiver frees.
template <typename T>
using XcbPointer = std::unique_ptr<T, XcbFree>;

/// Waits for a reply. Null after an error, which is dropped: callers only care that there is no answer.
template <typename Reply, typename Cookie>
[[nodiscard]] XcbPointer<Reply>
awaitReply(xcb_connection_t* connection, Reply* (*function)(xcb_connection_t*, Cookie, xcb_generic_error_t**),
           Cookie cookie)
{
    return XcbPointer<Reply>(function(connection, cookie, nullptr));
}

/// Asks for a property of any type, without waiting. The answer goes to one of the functions below.
[[nodiscard]] xcb_get_property_cookie_t requestProperty(xcb_connection_t* connection, xcb_window_t window,
                                                        xcb_atom_t property);

/// The numbers of a 32-bit property; empty when it is absent or of another format.
[[nodiscard]] std::vector<quint32> awaitNumbers(xcb_connection_t* connection,
                                                xcb_get_property_cookie_t cookie);

/// The bytes of an 8-bit property; empty when it is absent or of another format.
[[nodiscard]] QByteArray awaitBytes(xcb_connection_t* connection, xcb_get_property_cookie_t cookie);

[[nodiscard]] std::vector<quint32> readNumbers(xcb_connection_t* connection, xcb_window_t window,
                                               xcb_atom_t property);

/// The first number of a property; 0, which no window and no process has, when there is none.
[[nodiscard]] quint32 readNumber(xcb_connection_t* connection, xcb_window_t window, xcb_atom_t property);

/// The windows inside another one, bottom-most first; none when it is gone.
[[nodiscard]] std::vector<xcb_window_t> awaitChildren(xcb_connection_t* connection,
                                                      xcb_query_tree_cookie_t cookie);

/// Without borders, in its parent, as all areas here in native pixels; empty when the window is gone.
[[nodiscard]] QRect readArea(xcb_connection_t* connection, xcb_window_t window);

/// What there is of the window, in itself; nothing when it is gone.
[[nodiscard]] QRegion readShape(xcb_connection_t* connection, xcb_window_t window);

/// The input extension's 16.16 fixed-point coordinate, without its fraction.
[[nodiscard]] constexpr int wholePixels(qint32 fixed)
{
    return fixed / 65536;
}

} // namespace velmo
