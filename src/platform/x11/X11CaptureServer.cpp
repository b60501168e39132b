#include "platform/x11/X11CaptureServer.h"

#include <xcb/composite.h>
#include <xcb/render.h>
#include <xcb/shape.h>

namespace velmo {

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
    if (!enableComposite(*connection)) {
        server->missing = QStringLiteral("the X server lacks the Composite extension");
    } else if (connection->extension(xcb_shape_id) == nullptr) {
        server->missing = QStringLiteral("the X server lacks the Shape extension");
    } else if (connection->extension(xcb_render_id) == nullptr) {
        server->missing = QStringLiteral("the X server lacks the Render extension");
    } else {
        static_cast<void>(connection->await(xcb_render_query_version_reply,
                                            xcb_render_query_version(connection->get(), 0, 11)));
        server->formats = X11RenderFormats::read(*connection);
        if (server->formats.isEmpty())
            server->missing = QStringLiteral("the X server offers no pictures of 32 bits");
    }
    server->connection = std::move(connection);
    return server;
}

} // namespace velmo
