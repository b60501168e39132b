#include "platform/x11/X11CaptureServer.h"

#include <algorithm>
#include <xcb/composite.h>
#include <xcb/render.h>
#include <xcb/shape.h>

namespace velmo {
namespace {

bool speaksOfMonitors(const X11Connection& connection)
{
    if (connection.extension(xcb_randr_id) == nullptr)
        return false;
    const auto version =
        connection.await(xcb_randr_query_version_reply, xcb_randr_query_version(connection.get(), 1, 5));
    return version &&
           (version->major_version > 1 || (version->major_version == 1 && version->minor_version >= 5));
}

QByteArray nameOf(const X11Connection& connection, xcb_atom_t atom)
{
    const auto reply = connection.await(xcb_get_atom_name_reply, xcb_get_atom_name(connection.get(), atom));
    return reply ? QByteArray(xcb_get_atom_name_name(reply.get()), xcb_get_atom_name_name_length(reply.get()))
                 : QByteArray();
}

/// What keeps windows from being put together; empty when nothing does.
QString missingFor(X11CaptureServer& server)
{
    const auto& connection = *server.connection;
    if (!enableComposite(connection))
        return QStringLiteral("the X server lacks the Composite extension");
    if (connection.extension(xcb_shape_id) == nullptr)
        return QStringLiteral("the X server lacks the Shape extension");
    if (connection.extension(xcb_render_id) == nullptr)
        return QStringLiteral("the X server lacks the Render extension");
    static_cast<void>(
        connection.await(xcb_render_query_version_reply, xcb_render_query_version(connection.get(), 0, 11)));
    server.formats = X11RenderFormats::read(connection);
    if (server.formats.isEmpty())
        return QStringLiteral("the X server offers no pictures of 32 bits");
    if (server.formats.ofVisual(connection.screen().root_visual).id == XCB_NONE)
        return QStringLiteral("the X server cannot draw with the colours of its own screen");
    return {};
}

} // namespace

bool enableComposite(const X11Connection& connection)
{
    if (connection.extension(xcb_composite_id) == nullptr)
        return false;
    const auto version = connection.await(xcb_composite_query_version_reply,
                                          xcb_composite_query_version(connection.get(), 0, 4));
    return version && (version->major_version > 0 || version->minor_version >= 2);
}

std::unique_ptr<X11CaptureServer> X11CaptureServer::open()
{
    auto connection = X11Connection::open();
    if (!connection)
        return nullptr;
    auto server = std::make_unique<X11CaptureServer>();
    server->connection = std::move(connection);
    server->namesMonitors = speaksOfMonitors(*server->connection);
    server->isRootless = belongsToWayland(*server->connection);
    server->missing = missingFor(*server);
    return server;
}

/// Newer servers of that kind have an extension only to say so, older ones name their outputs after
/// themselves.
bool belongsToWayland(const X11Connection& connection)
{
    const QByteArray extension = QByteArrayLiteral("XWAYLAND");
    const auto reply =
        connection.await(xcb_query_extension_reply,
                         xcb_query_extension(connection.get(), static_cast<uint16_t>(extension.size()),
                                             extension.constData()));
    if (reply && reply->present != 0)
        return true;
    return std::ranges::any_of(readMonitors(connection.get(), connection.root()), [&](const auto& monitor) {
        return nameOf(connection, monitor.id).startsWith(extension);
    });
}

std::vector<X11Monitor> X11CaptureServer::displays()
{
    // The root's size changes while the connection lives.
    const auto geometry =
        connection->await(xcb_get_geometry_reply, xcb_get_geometry(connection->get(), connection->root()));
    if (!geometry)
        return {};
    const QRect root(0, 0, geometry->width, geometry->height);
    if (!namesMonitors)
        return {{0, root}};
    auto monitors = readMonitors(connection->get(), connection->root());
    for (auto& monitor : monitors)
        monitor.area &= root;
    std::erase_if(monitors, [](const X11Monitor& monitor) { return monitor.area.isEmpty(); });
    return monitors;
}

} // namespace velmo
