#include "platform/x11/X11TrayPresence.h"

#include <QSocketNotifier>
#include <QTimer>
#include <algorithm>
#include <utility>
#include <xcb/xfixes.h>

namespace velmo {
namespace {

constexpr const char* kColors = "_NET_SYSTEM_TRAY_COLORS";

} // namespace

X11TrayPresence::X11TrayPresence()
    : connection_(X11Connection::open())
{
    if (!connection_)
        return;
    selection_ = connection_->screenSelection("_NET_SYSTEM_TRAY");
    notifier_ = std::make_unique<QSocketNotifier>(connection_->fileDescriptor(), QSocketNotifier::Read);
    QObject::connect(notifier_.get(), &QSocketNotifier::activated, notifier_.get(), [this] { readEvents(); });
    watch();
    lookForOwner();
    // What arrived together with an answer does not wake the notifier any more.
    QTimer::singleShot(0, notifier_.get(), [this] { readEvents(); });
}

X11TrayPresence::~X11TrayPresence() = default;

TrayPresence::State X11TrayPresence::state() const
{
    return owner_ == XCB_NONE ? State::Absent : State::Present;
}

void X11TrayPresence::watch()
{
    const auto* extension = connection_->extension(xcb_xfixes_id);
    if (extension == nullptr || !connection_->await(xcb_xfixes_query_version_reply,
                                                    xcb_xfixes_query_version(connection_->get(), 1, 0)))
        return;
    selectionEvent_ = extension->first_event + XCB_XFIXES_SELECTION_NOTIFY;
    xcb_xfixes_select_selection_input(connection_->get(), connection_->root(), selection_,
                                      XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER |
                                          XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_WINDOW_DESTROY |
                                          XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_CLIENT_CLOSE);
}

void X11TrayPresence::lookForOwner()
{
    owner_ = connection_->ownerOf(selection_);
    if (owner_ != XCB_NONE) {
        const uint32_t events = XCB_EVENT_MASK_PROPERTY_CHANGE;
        xcb_change_window_attributes(connection_->get(), owner_, XCB_CW_EVENT_MASK, &events);
    }
    readColor();
}

/// Four colours of three channels, the first of them for symbols. Some trays give that one alone.
void X11TrayPresence::readColor()
{
    symbolColor_.reset();
    if (owner_ == XCB_NONE)
        return;
    const auto channels = readNumbers(connection_->get(), owner_, connection_->atom(kColors));
    const auto channel = [&](std::size_t index) {
        constexpr float kFull = 65535;
        return std::min(static_cast<float>(channels[index]) / kFull, 1.0F);
    };
    if (channels.size() >= 3)
        symbolColor_ = QColor::fromRgbF(channel(0), channel(1), channel(2));
}

void X11TrayPresence::readEvents()
{
    const auto before = std::pair(state(), symbolColor_);
    while (const auto event = connection_->nextEvent()) {
        const int type = event->response_type & 0x7f;
        if (type == selectionEvent_) {
            lookForOwner();
        } else if (type == XCB_PROPERTY_NOTIFY &&
                   reinterpret_cast<const xcb_property_notify_event_t&>(*event).atom ==
                       connection_->atom(kColors)) {
            readColor();
        }
    }
    if (connection_->isBroken()) {
        // A lost connection stays readable for ever.
        notifier_->setEnabled(false);
        owner_ = XCB_NONE;
        symbolColor_.reset();
    }
    if (std::pair(state(), symbolColor_) != before && handler_) {
        const auto handler = handler_;
        handler();
    }
}

} // namespace velmo
