#include "platform/linux/FocusGrab.h"

#include "platform/linux/AtSpiNames.h"

#include <utility>

namespace velmo {

FocusGrab::FocusGrab(std::shared_ptr<const FocusLookup> lookup, Clock::TimePoint deadline)
    : lookup_(std::move(lookup))
    , deadline_(deadline)
{}

void FocusGrab::proceed(BusConnection* bus)
{
    if (hasBegun_ || isOver() || !lookup_->isFinished())
        return;
    hasBegun_ = true;
    isOver_ = bus == nullptr || !lookup_->element();
    if (isOver_)
        return;
    const BusObject element = *lookup_->element();
    signOfLife_ =
        bus->call(atspi::getState(element), atspi::kAnswerLimit, [this, bus, element](BusMessage& message) {
            const auto states = atspi::readStates(message);
            if (states && (*states & atspi::kDefunct) == 0 && !isOver())
                bus->tell(atspi::grabFocus(element));
            isOver_ = true;
        });
}

} // namespace velmo
