#include "platform/x11/X11Restackings.h"

#include "platform/x11/X11Toolkit.h"
#include "platform/x11/XcbSupport.h"

#include <QCoreApplication>
#include <utility>

namespace velmo {

namespace {

constexpr std::chrono::seconds kLongest{2};

} // namespace

X11Restackings::X11Restackings(std::function<void()> onRestacked)
{
    later_.setSingleShot(true);
    later_.callOnTimeout(std::move(onRestacked));
}

void X11Restackings::watch()
{
    xcb_connection_t* connection = toolkitConnection();
    if (connection == nullptr)
        return;
    // A window manager that is started later may be the first to use the name.
    if (order_ == XCB_NONE) {
        order_ = existingAtom(connection, "_NET_CLIENT_LIST_STACKING");
        QCoreApplication::instance()->installNativeEventFilter(this);
    }
    end_ = Clock::now() + kLongest;
}

bool X11Restackings::nativeEventFilter(const QByteArray& /*kind*/, void* message, qintptr* /*result*/)
{
    const auto* event = static_cast<const xcb_generic_event_t*>(message);
    if ((event->response_type & 0x7f) == XCB_PROPERTY_NOTIFY &&
        reinterpret_cast<const xcb_property_notify_event_t*>(event)->atom == order_ && Clock::now() < end_)
        later_.start(0);
    return false;
}

} // namespace velmo
