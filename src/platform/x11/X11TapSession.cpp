#include "platform/x11/X11TapSession.h"

#include "platform/x11/X11InputExtensions.h"
#include "platform/x11/XcbXkb.h"

#include <algorithm>
#include <array>
#include <poll.h>
#include <utility>
#include <xcb/xinput.h>

namespace velmo {
namespace {

/// Soon enough for somebody who has just ended the other program, and seldom enough to cost nothing.
constexpr std::chrono::milliseconds kRetryInterval{2000};

} // namespace

X11TapSession::X11TapSession(const TapInterest& interest, EventTap::Handler handler, Controls controls)
    : interest_(interest)
    , handler_(std::move(handler))
    , controls_(std::move(controls))
{}

X11TapSession::~X11TapSession()
{
    if (!connection_ || connection_->isBroken())
        return;
    if (hotkey_)
        hotkey_->remove();
    if (pointer_)
        pointer_->grabs().remove();
    // Returning only when the server has let go means that whoever starts next finds keys and buttons free.
    connection_->sync();
    // A press that came until then waits for its verdict, with the pointer.
    while (const auto event = connection_->nextEvent())
        handle(*event);
    connection_->sync();
}

EventTap::StartReport X11TapSession::setUp()
{
    connection_ = X11Connection::open();
    if (!connection_)
        return {false, {QStringLiteral("No X display can be reached.")}, {}};
    const auto extensions = X11InputExtensions::probe(*connection_);
    if (!extensions.missing.isEmpty()) {
        connection_.reset();
        return {false, {extensions.missing}, {}};
    }
    inputOpcode_ = extensions.inputOpcode;
    keyboardEvent_ = extensions.keyboardEvent;
    selectEvents();
    readModifiers();
    layout_ = X11KeyboardLayout::read(*connection_);
    flags_ = layout_.flags(modifiers_);
    hotkey_.emplace(*connection_, interest_);
    pointer_.emplace(
        *connection_, interest_,
        X11TapPointer::Context{handler_, controls_.pointerSpace, clock_, controls_.replayRequested});
    report_ = installGrabs();
    scheduleRetry();
    return report_;
}

EventTap::StartReport X11TapSession::installGrabs()
{
    pointer_->grabs().install(layout_);
    return reportOn(hotkey_->install(layout_));
}

EventTap::StartReport X11TapSession::reportOn(const QStringList& hotkeyProblems)
{
    const QStringList& chord = pointer_->grabs().chordProblems();
    const QStringList& middleButton = pointer_->grabs().middleButtonProblems();
    return {true, hotkeyProblems + chord + middleButton, hotkeyProblems, chord, middleButton};
}

/// From then on the state is what events say: a question would be answered ahead of those that are under way.
void X11TapSession::readModifiers()
{
    const auto state = connection_->await(xcb_xkb_get_state_reply,
                                          xcb_xkb_get_state(connection_->get(), XCB_XKB_ID_USE_CORE_KBD));
    if (state)
        modifiers_ = state->mods;
}

void X11TapSession::selectEvents() const
{
    // Only the modifier state is of interest; groups and compatibility states would wake us for nothing.
    xcb_xkb_select_events_details_t details{};
    details.affectNewKeyboard = XCB_XKB_NKN_DETAIL_KEYCODES;
    details.newKeyboardDetails = XCB_XKB_NKN_DETAIL_KEYCODES;
    details.affectNames = XCB_XKB_NAME_DETAIL_KEY_NAMES;
    details.namesDetails = XCB_XKB_NAME_DETAIL_KEY_NAMES;
    details.affectState = XCB_XKB_STATE_PART_MODIFIER_STATE;
    details.stateDetails = XCB_XKB_STATE_PART_MODIFIER_STATE;
    constexpr uint16_t kEvents = XCB_XKB_EVENT_TYPE_NEW_KEYBOARD_NOTIFY | XCB_XKB_EVENT_TYPE_MAP_NOTIFY |
                                 XCB_XKB_EVENT_TYPE_NAMES_NOTIFY | XCB_XKB_EVENT_TYPE_STATE_NOTIFY;
    constexpr uint16_t kMapParts =
        XCB_XKB_MAP_PART_KEY_TYPES | XCB_XKB_MAP_PART_KEY_SYMS | XCB_XKB_MAP_PART_MODIFIER_MAP;
    xcb_xkb_select_events_aux(connection_->get(), XCB_XKB_ID_USE_CORE_KBD, kEvents, 0, 0, kMapParts,
                              kMapParts, &details);
    // The probe has seen that the server agrees.
    static_cast<void>(selectInput(*connection_, XCB_INPUT_DEVICE_ALL, XCB_INPUT_XI_EVENT_MASK_RAW_KEY_PRESS));
}

bool X11TapSession::run()
{
    for (;;) {
        // Replies carry events with them, so the queue must be empty before waiting on the descriptor.
        while (const auto event = connection_->nextEvent())
            handle(*event);
        if (stopRequested())
            return true;
        if (connection_->isBroken())
            return false;
        if (layoutChanged_) {
            layoutChanged_ = false;
            updateLayout();
            continue;
        }
        if (nextRetry_ && Clock::now() >= *nextRetry_) {
            retryRefused();
            continue;
        }
        if (const auto attempt = pointer_->nextAttempt(); attempt && Clock::now() >= *attempt) {
            pointer_->giveBackClicks();
            continue;
        }
        waitForInput();
    }
}

void X11TapSession::waitForInput() const
{
    std::array<pollfd, 2> waits{
        {{connection_->fileDescriptor(), POLLIN, 0}, {controls_.stopDescriptor, POLLIN, 0}}};
    int timeout = -1;
    for (const auto& next : {nextRetry_, pointer_->nextAttempt()}) {
        if (!next)
            continue;
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(*next - Clock::now());
        const int wait = static_cast<int>(std::clamp<int64_t>(left.count(), 0, kRetryInterval.count()));
        timeout = timeout < 0 ? wait : std::min(timeout, wait);
    }
    xcb_flush(connection_->get());
    poll(waits.data(), waits.size(), timeout);
}

bool X11TapSession::stopRequested() const
{
    pollfd wait{controls_.stopDescriptor, POLLIN, 0};
    return poll(&wait, 1, 0) > 0;
}

void X11TapSession::handle(const xcb_generic_event_t& event)
{
    const int type = event.response_type & 0x7f;
    if (type == XCB_GE_GENERIC) {
        const auto& generic = reinterpret_cast<const xcb_ge_generic_event_t&>(event);
        if (generic.extension == inputOpcode_)
            handleInput(generic);
    } else if (type == keyboardEvent_) {
        handleKeyboard(event);
    }
}

void X11TapSession::handleInput(const xcb_ge_generic_event_t& event)
{
    switch (event.event_type) {
    case XCB_INPUT_KEY_PRESS:
        handleHotkeyPress(event);
        break;
    case XCB_INPUT_RAW_KEY_PRESS:
        handleRawKeyPress(event);
        break;
    case XCB_INPUT_BUTTON_PRESS:
        pointer_->handlePress(reinterpret_cast<const xcb_input_button_press_event_t&>(event), layout_);
        break;
    case XCB_INPUT_BUTTON_RELEASE:
        pointer_->handleRelease(reinterpret_cast<const xcb_input_button_press_event_t&>(event), layout_);
        break;
    case XCB_INPUT_MOTION:
        pointer_->handleMotion(reinterpret_cast<const xcb_input_button_press_event_t&>(event), layout_);
        break;
    default:
        break;
    }
}

void X11TapSession::handleKeyboard(const xcb_generic_event_t& event)
{
    const auto& state = reinterpret_cast<const xcb_xkb_state_notify_event_t&>(event);
    if (state.xkbType == XCB_XKB_STATE_NOTIFY) {
        modifiers_ = state.mods;
        updateFlags();
    } else {
        layoutChanged_ = true;
    }
}

void X11TapSession::handleHotkeyPress(const xcb_ge_generic_event_t& event)
{
    const auto& press = reinterpret_cast<const xcb_input_key_press_event_t&>(event);
    // The press is ours now. Letting go of the keyboard at once gives the application the releases of the
    // modifiers, and whatever is typed next; knowing that it is done before anybody is told lets our own
    // windows take the keyboard in answer.
    xcb_input_xi_ungrab_device(connection_->get(), XCB_CURRENT_TIME, press.deviceid);
    connection_->sync();
    // Whoever has just recorded it may still hold it down.
    hotkeyWasPressed_ |= (press.flags & XCB_INPUT_KEY_EVENT_FLAGS_KEY_REPEAT) == 0;
    if (!hotkeyWasPressed_)
        return;
    TapEvent tapEvent;
    tapEvent.flags = layout_.flags(press.mods.effective);
    tapEvent.keyCode = layout_.virtualKeyCode(press.detail);
    tapEvent.time = clock_.time(press.time);
    handler_(TapEventType::KeyDown, tapEvent);
}

void X11TapSession::handleRawKeyPress(const xcb_ge_generic_event_t& event)
{
    const auto& press = reinterpret_cast<const xcb_input_raw_key_press_event_t&>(event);
    // Each press comes a second time as its master device's copy.
    if (press.deviceid != press.sourceid)
        return;
    if (press.detail < layout_.modifierKeys.size() && layout_.modifierKeys.test(press.detail))
        return;
    // The grab reports the hotkey. It cannot while the keyboard is held: by another program the hotkey is
    // then meant for that program, by one of our own windows it is still meant for us.
    if (hotkey_->matches(press.detail, flags_) && !controls_.ownKeyboardHeld)
        return;
    TapEvent tapEvent;
    tapEvent.flags = flags_;
    tapEvent.keyCode = layout_.virtualKeyCode(press.detail);
    tapEvent.time = clock_.time(press.time);
    handler_(TapEventType::KeyDown, tapEvent);
}

void X11TapSession::updateFlags()
{
    const quint64 flags = layout_.flags(modifiers_);
    if (flags == flags_)
        return;
    flags_ = flags;
    TapEvent tapEvent;
    tapEvent.flags = flags;
    handler_(TapEventType::FlagsChanged, tapEvent);
}

void X11TapSession::updateLayout()
{
    // The server also sends this whenever input moves from one keyboard to another, with the same map.
    layout_ = X11KeyboardLayout::read(*connection_);
    updateFlags();
    tellIfNew(installGrabs());
    scheduleRetry();
}

void X11TapSession::scheduleRetry()
{
    if (hotkey_->isRefused() || pointer_->grabs().isRefused())
        nextRetry_ = Clock::now() + kRetryInterval;
    else
        nextRetry_.reset();
}

void X11TapSession::retryRefused()
{
    pointer_->grabs().retry(layout_);
    tellIfNew(reportOn(hotkey_->retry(layout_)));
    scheduleRetry();
}

void X11TapSession::tellIfNew(EventTap::StartReport report)
{
    if (report == report_)
        return;
    report_ = std::move(report);
    controls_.onReport(report_);
}

} // namespace velmo
