#include "platform/x11/X11TapPointer.h"

#include <algorithm>
#include <span>
#include <xcb/xtest.h>

namespace velmo {
namespace {

constexpr quint8 kLeft = 1;
constexpr quint8 kMiddle = 2;

/// The bit of a button among those that an event says are down.
constexpr quint32 bit(quint32 button)
{
    return quint32{1} << button;
}

/// The buttons that were down just before the event.
quint32 buttonsDown(const xcb_input_button_press_event_t& event)
{
    return event.buttons_len == 0 ? 0 : *xcb_input_button_press_button_mask(&event);
}

/// The button to press so that applications see this one: users may have exchanged some.
quint8 physicalButton(const X11Connection& connection, quint8 button)
{
    const auto reply =
        connection.await(xcb_get_pointer_mapping_reply, xcb_get_pointer_mapping(connection.get()));
    if (!reply)
        return button;
    const std::span map(xcb_get_pointer_mapping_map(reply.get()), reply->map_len);
    const auto found = std::ranges::find(map, button);
    return found == map.end() ? button : static_cast<quint8>(found - map.begin() + 1);
}

} // namespace

X11TapPointer::X11TapPointer(X11Connection& connection, const TapInterest& interest, const Context& context)
    : connection_(connection)
    , context_(context)
    , grabs_(connection, interest)
{}

QStringList X11TapPointer::install(const X11KeyboardLayout& layout)
{
    return grabs_.install(layout);
}

void X11TapPointer::handlePress(const xcb_input_button_press_event_t& event, const X11KeyboardLayout& layout)
{
    if (event.detail == kMiddle) {
        static_cast<void>(report(TapEventType::OtherMouseDown, event, layout, kMiddleButton));
    } else if (event.detail == kLeft) {
        const TapVerdict verdict = report(TapEventType::LeftMouseDown, event, layout, 0);
        // The pointer stands still until somebody has the press.
        const uint8_t mode = verdict == TapVerdict::Swallow ? XCB_INPUT_EVENT_MODE_ASYNC_DEVICE
                                                            : XCB_INPUT_EVENT_MODE_REPLAY_DEVICE;
        xcb_input_xi_allow_events(connection_.get(), XCB_CURRENT_TIME, event.deviceid, mode, 0,
                                  connection_.root());
        xcb_flush(connection_.get());
    }
}

void X11TapPointer::handleMotion(const xcb_input_button_press_event_t& event, const X11KeyboardLayout& layout)
{
    const quint32 down = buttonsDown(event);
    if ((down & bit(kLeft)) != 0)
        static_cast<void>(report(TapEventType::LeftMouseDragged, event, layout, 0));
    else if ((down & bit(kMiddle)) != 0)
        static_cast<void>(report(TapEventType::OtherMouseDragged, event, layout, kMiddleButton));
}

void X11TapPointer::handleRelease(const xcb_input_button_press_event_t& event,
                                  const X11KeyboardLayout& layout)
{
    if (event.detail == kMiddle)
        static_cast<void>(report(TapEventType::OtherMouseUp, event, layout, kMiddleButton));
    else if (event.detail == kLeft)
        static_cast<void>(report(TapEventType::LeftMouseUp, event, layout, 0));
    if (context_.replayRequested.exchange(false))
        ++clicksToGiveBack_;
    // While another button is down the pointer is still ours, and a click would only come back to us.
    if ((buttonsDown(event) & ~bit(event.detail)) == 0)
        giveBackClicks();
}

/// The press that was held back cannot be sent on, so the whole click is made again. Our own hold on the
/// button is off meanwhile, and all of it goes out at once, so that the user's next press finds it on again.
void X11TapPointer::giveBackClicks()
{
    if (clicksToGiveBack_ == 0)
        return;
    xcb_connection_t* xcb = connection_.get();
    const quint8 button = physicalButton(connection_, kMiddle);
    grabs_.suspendMiddle();
    for (; clicksToGiveBack_ > 0; --clicksToGiveBack_) {
        xcb_test_fake_input(xcb, XCB_BUTTON_PRESS, button, XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
        xcb_test_fake_input(xcb, XCB_BUTTON_RELEASE, button, XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
    }
    grabs_.resumeMiddle();
    xcb_flush(xcb);
}

TapVerdict X11TapPointer::report(TapEventType type, const xcb_input_button_press_event_t& event,
                                 const X11KeyboardLayout& layout, int buttonNumber) const
{
    TapEvent tapEvent;
    tapEvent.flags = layout.flags(event.mods.effective);
    tapEvent.buttonNumber = buttonNumber;
    tapEvent.location = context_.space.fromNative({wholePixels(event.root_x), wholePixels(event.root_y)});
    tapEvent.time = context_.clock.time(event.time);
    return context_.handler(type, tapEvent);
}

} // namespace velmo
