#include "platform/x11/X11TapPointer.h"

#include <algorithm>
#include <cstdlib>
#include <span>
#include <utility>
#include <xcb/xtest.h>

namespace velmo {
namespace {

constexpr quint8 kLeft = 1;
constexpr quint8 kMiddle = 2;

/// How soon the buttons are looked at again while a click waits for them: not to be felt.
constexpr std::chrono::milliseconds kAttemptInterval{20};

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

/// The buttons in a pointer's state.
constexpr quint16 kAnyButton =
    XCB_BUTTON_MASK_1 | XCB_BUTTON_MASK_2 | XCB_BUTTON_MASK_3 | XCB_BUTTON_MASK_4 | XCB_BUTTON_MASK_5;

bool isNear(PixelPoint one, PixelPoint other)
{
    constexpr int kReach = 10;
    return std::abs(one.x - other.x) <= kReach && std::abs(one.y - other.y) <= kReach;
}

/// The button to press so that applications see the middle one: users may have exchanged some.
quint8 physicalButton(const xcb_get_pointer_mapping_reply_t* mapping)
{
    if (mapping == nullptr)
        return kMiddle;
    const std::span map(xcb_get_pointer_mapping_map(mapping), mapping->map_len);
    const auto found = std::ranges::find(map, kMiddle);
    return found == map.end() ? kMiddle : static_cast<quint8>(found - map.begin() + 1);
}

} // namespace

X11TapPointer::X11TapPointer(X11Connection& connection, const TapInterest& interest, const Context& context)
    : connection_(connection)
    , context_(context)
    , grabs_(connection, interest)
{}

void X11TapPointer::handlePress(const xcb_input_button_press_event_t& event, const X11KeyboardLayout& layout)
{
    if (event.detail == kMiddle) {
        nextAttempt_.reset(); // Its release comes here, too, and is the time for it.
        static_cast<void>(report(TapEventType::OtherMouseDown, event, layout, kMiddleButton));
    } else if (event.detail == kLeft) {
        const TapVerdict verdict = report(TapEventType::LeftMouseDown, event, layout, 0);
        if (verdict == TapVerdict::Swallow)
            nextAttempt_.reset();
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
        clicksToGiveBack_.push_back({wholePixels(event.root_x), wholePixels(event.root_y)});
    clicksPointer_ = event.deviceid;
    // Until the last button is up the next release comes here.
    if (!clicksToGiveBack_.empty() && (buttonsDown(event) & ~bit(event.detail)) == 0)
        giveBackClicks();
}

/// The press that was held back cannot be sent on, so the whole click is made again. Our own hold on the
/// button is off meanwhile, and all of it goes out at once, so that the user's next press finds it on again.
/// Nobody else is served in between, however long this thread is kept from running: a press that another
/// program makes after the look at the buttons would be taken for the click's, and be released with it.
void X11TapPointer::giveBackClicks()
{
    xcb_connection_t* xcb = connection_.get();
    nextAttempt_.reset();
    // What is made goes to the pointer that it came from, where there are several.
    xcb_input_xi_set_client_pointer(xcb, XCB_NONE, clicksPointer_);
    const auto mapping = xcb_get_pointer_mapping(xcb);
    xcb_grab_server(xcb);
    const auto state = xcb_query_pointer(xcb, connection_.root());
    const quint8 button = physicalButton(connection_.await(xcb_get_pointer_mapping_reply, mapping).get());
    const auto now = connection_.await(xcb_query_pointer_reply, state);
    // While a button is down the pointer belongs to somebody, and the middle one cannot be pressed twice. It
    // may be a press that is still on its way here; or a window manager holds the click that was given back
    // just before until it has looked at it, and nobody tells when it is done.
    if (!now || (now->mask & kAnyButton) != 0) {
        nextAttempt_ = Clock::now() + kAttemptInterval;
        xcb_ungrab_server(xcb);
        xcb_flush(xcb);
        return;
    }
    const PixelPoint here{now->root_x, now->root_y};
    PixelPoint pointerPlace = here;
    const auto moveTo = [&](PixelPoint place) {
        if (isNear(place, pointerPlace))
            return;
        xcb_test_fake_input(xcb, XCB_MOTION_NOTIFY, 0, XCB_CURRENT_TIME, connection_.root(),
                            static_cast<int16_t>(place.x), static_cast<int16_t>(place.y), 0);
        pointerPlace = place;
    };
    grabs_.suspendMiddle();
    for (const PixelPoint& place : std::exchange(clicksToGiveBack_, {})) {
        // One that had to wait belongs to where it was made, and the user may be elsewhere by now.
        moveTo(place);
        xcb_test_fake_input(xcb, XCB_BUTTON_PRESS, button, XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
        xcb_test_fake_input(xcb, XCB_BUTTON_RELEASE, button, XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
    }
    moveTo(here);
    grabs_.resumeMiddle();
    xcb_ungrab_server(xcb);
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
