#include "platform/x11/X11Permissions.h"

#include "platform/x11/X11CaptureServer.h"
#include "platform/x11/X11InputExtensions.h"

#include <xcb/xcbext.h>

namespace velmo {

namespace {

xcb_get_image_cookie_t askForPixel(const X11Connection& connection)
{
    return xcb_get_image(connection.get(), XCB_IMAGE_FORMAT_Z_PIXMAP, connection.root(), 0, 0, 1, 1,
                         0xffffffff);
}

} // namespace

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
    question_.reset();
    connection_ = X11Connection::open();
    screenIsShown_ = connection_ && !belongsToWayland(*connection_);
    inputIsWatchable_ = connection_ && X11InputExtensions::probe(*connection_).missing.isEmpty();
    screenIsReadable_ =
        screenIsShown_ && connection_->await(xcb_get_image_reply, askForPixel(*connection_)) != nullptr;
    return connection_ != nullptr;
}

bool X11Permissions::accessibilityGranted()
{
    return connect() && inputIsWatchable_;
}

/// If it is there.
void X11Permissions::readAnswer()
{
    void* pixel = nullptr;
    xcb_generic_error_t* error = nullptr;
    if (xcb_poll_for_reply(connection_->get(), question_->sequence, &pixel, &error) == 0)
        return;
    const XcbPointer<void> owned(pixel);
    const XcbPointer<xcb_generic_error_t> ownedError(error);
    screenIsReadable_ = pixel != nullptr;
    question_.reset();
}

bool X11Permissions::screenRecordingGranted()
{
    if (!connect() || !screenIsShown_)
        return false;
    if (question_)
        readAnswer();
    if (!question_) {
        question_ = askForPixel(*connection_);
        xcb_flush(connection_->get());
    }
    return screenIsReadable_;
}

} // namespace velmo
