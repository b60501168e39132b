#include "platform/x11/X11PressWatch.h"

#include "platform/x11/X11InputExtensions.h"

#include <utility>
#include <xcb/xinput.h>

namespace velmo {
namespace {

constexpr uint32_t kLastButtonOfHands = 3; ///< The next ones are the wheels.

} // namespace

X11PressWatch::X11PressWatch(X11Connection& connection)
    : connection_(connection)
    , inputOpcode_(X11InputExtensions::probe(connection).inputOpcode)
    , notifier_(connection.fileDescriptor(), QSocketNotifier::Read)
{
    QObject::connect(&notifier_, &QSocketNotifier::activated, &notifier_, [this] { readEvents(); });
    select(XCB_INPUT_XI_EVENT_MASK_RAW_BUTTON_PRESS);
}

X11PressWatch::~X11PressWatch()
{
    select(0);
    connection_.discardEvents();
}

void X11PressWatch::select(quint32 events) const
{
    if (inputOpcode_ == 0)
        return;
    static_cast<void>(selectInput(connection_, XCB_INPUT_DEVICE_ALL_MASTER, events));
}

bool X11PressWatch::sawPress()
{
    connection_.sync();
    readEvents();
    return std::exchange(saw_, false);
}

void X11PressWatch::readEvents()
{
    while (const auto event = connection_.nextEvent()) {
        const auto* input = reinterpret_cast<const xcb_ge_generic_event_t*>(event.get());
        if ((input->response_type & 0x7f) != XCB_GE_GENERIC || input->extension != inputOpcode_ ||
            input->event_type != XCB_INPUT_RAW_BUTTON_PRESS)
            continue;
        const auto* press = reinterpret_cast<const xcb_input_raw_button_press_event_t*>(input);
        saw_ = saw_ || press->detail <= kLastButtonOfHands;
    }
    // A lost connection stays readable for ever.
    if (connection_.isBroken())
        notifier_.setEnabled(false);
}

} // namespace velmo
