#include "platform/x11/XcbSupport.h"

#include <xcb/shape.h>

namespace velmo {
namespace {

/// The longest property that is read, in 32-bit units.
constexpr quint32 kLongestProperty = 4096;

} // namespace

xcb_get_property_cookie_t requestProperty(xcb_connection_t* connection, xcb_window_t window,
                                          xcb_atom_t property)
{
    return xcb_get_property(connection, 0, window, property, XCB_GET_PROPERTY_TYPE_ANY, 0, kLongestProperty);
}

std::vector<quint32> awaitNumbers(xcb_connection_t* connection, xcb_get_property_cookie_t cookie)
{
    const auto reply = awaitReply(connection, xcb_get_property_reply, cookie);
    if (!reply || reply->format != 32)
        return {};
    const auto* first = static_cast<const quint32*>(xcb_get_property_value(reply.get()));
    return {first, first + reply->value_len};
}

QByteArray awaitBytes(xcb_connection_t* connection, xcb_get_property_cookie_t cookie)
{
    const auto reply = awaitReply(connection, xcb_get_property_reply, cookie);
    if (!reply || reply->format != 8)
        return {};
    return {static_cast<const char*>(xcb_get_property_value(reply.get())),
            xcb_get_property_value_length(reply.get())};
}

std::vector<quint32> readNumbers(xcb_connection_t* connection, xcb_window_t window, xcb_atom_t property)
{
    return awaitNumbers(connection, requestProperty(connection, window, property));
}

quint32 readNumber(xcb_connection_t* connection, xcb_window_t window, xcb_atom_t property)
{
    const auto numbers = readNumbers(connection, window, property);
    return numbers.empty() ? 0 : numbers.front();
}

std::vector<xcb_window_t> awaitChildren(xcb_connection_t* connection, xcb_query_tree_cookie_t cookie)
{
    const auto tree = awaitReply(connection, xcb_query_tree_reply, cookie);
    if (!tree)
        return {};
    const xcb_window_t* first = xcb_query_tree_children(tree.get());
    return {first, first + xcb_query_tree_children_length(tree.get())};
}

QRect readArea(xcb_connection_t* connection, xcb_window_t window)
{
    const auto geometry =
        awaitReply(connection, xcb_get_geometry_reply, xcb_get_geometry(connection, window));
    return geometry ? QRect(geometry->x, geometry->y, geometry->width, geometry->height) : QRect();
}

QRegion readShape(xcb_connection_t* connection, xcb_window_t window)
{
    const auto reply = awaitReply(connection, xcb_shape_get_rectangles_reply,
                                  xcb_shape_get_rectangles(connection, window, XCB_SHAPE_SK_BOUNDING));
    QRegion shape;
    if (!reply)
        return shape;
    const auto* parts = xcb_shape_get_rectangles_rectangles(reply.get());
    for (int i = 0; i < xcb_shape_get_rectangles_rectangles_length(reply.get()); ++i)
        shape += QRect(parts[i].x, parts[i].y, parts[i].width, parts[i].height);
    return shape;
}

} // namespace velmo
