#include "platform/x11/X11Permissions.h"

#include "platform/x11/X11CaptureServer.h"
#include "platform/x11/X11InputExtensions.h"

namespace velmo {

X11Permissions::X11Permissions() = default;
X11Permissions::~X11Permissions() = default;

bool X11Permissions::connect()
{
    // Reading what has arrived shows that the server has gone. A question would show it, too, and wake the
    // program once more every second.
    if (connection_)
        connection_->discardEvents();
    if (connection_ && !connection_->isBroken())
        return true;
    connection_ = X11Connection::open();
    screenIsShown_ = connection_ && !belongsToWayland(*connection_);
    inputIsWatchable_ = connection_ && X11InputExtensions::probe(*connection_).missing.isEmpty();
    return connection_ != nullptr;
}

bool X11Permissions::accessibilityGranted()
{
    return connect() && inputIsWatchable_;
}

bool X11Permissions::screenRecordingGranted()
{
    if (!connect() || !screenIsShown_)
        return false;
    const auto image =
        connection_->await(xcb_get_image_reply, xcb_get_image(connection_->get(), XCB_IMAGE_FORMAT_Z_PIXMAP,
                                                              connection_->root(), 0, 0, 1, 1, 0xffffffff));
    return image != nullptr;
}

} // namespace velmo
