#pragma once

#include "platform/x11/XcbSupport.h"

#include <QRect>
#include <vector>
#include <xcb/randr.h>

namespace velmo {

/// A monitor in native pixels of the root. Its id is the atom of its name: unlike outputs, every monitor has
/// one, and the toolkit calls its screens by the same name.
struct X11Monitor {
    quint32 id = 0;
    QRect area;
};

/// The monitors of the desktop; empty when the server lacks RandR 1.5.
[[nodiscard]] inline std::vector<X11Monitor> readMonitors(xcb_connection_t* connection, xcb_window_t root)
{
    const auto* extension = xcb_get_extension_data(connection, &xcb_randr_id);
    if (extension == nullptr || extension->present == 0)
        return {};
    // Both at once; an older server refuses the second.
    const auto pendingVersion = xcb_randr_query_version(connection, 1, 5);
    const auto pendingMonitors = xcb_randr_get_monitors(connection, root, 1);
    const auto version = awaitReply(connection, xcb_randr_query_version_reply, pendingVersion);
    const auto reply = awaitReply(connection, xcb_randr_get_monitors_reply, pendingMonitors);
    if (!version || (version->major_version == 1 && version->minor_version < 5) || !reply)
        return {};
    std::vector<X11Monitor> monitors;
    for (auto monitor = xcb_randr_get_monitors_monitors_iterator(reply.get()); monitor.rem > 0;
         xcb_randr_monitor_info_next(&monitor)) {
        monitors.push_back({monitor.data->name, QRect(monitor.data->x, monitor.data->y, monitor.data->width,
                                                      monitor.data->height)});
    }
    return monitors;
}

} // namespace velmo
