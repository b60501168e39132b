#include "platform/linux/FocusGrab.h"

#include "platform/linux/AtSpiNames.h"

#include <utility>

namespace velmo {
namespace {

/// What remains of the time for asking once more and for the request itself.
constexpr std::chrono::milliseconds kTimeToTake{50};

} // namespace

FocusGrab::FocusGrab(std::shared_ptr<const FocusLookup> lookup, Clock::TimePoint deadline)
    : lookup_(std::move(lookup))
    , deadline_(deadline)
    , patienceEnd_(deadline - kTimeToTake)
{}

void FocusGrab::proceed(FocusTracker* tracker)
{
    if (isOver() || !lookup_->isFinished())
        return;
    if (tracker == nullptr || !lookup_->element()) {
        isOver_ = true;
    } else if (tracker_ == nullptr) {
        tracker_ = tracker;
        ask();
    } else if (isWaiting_ && Clock::now() >= patienceEnd_) {
        ask();
    }
}

void FocusGrab::onFocus(qint32 processID, const BusObject& element)
{
    if (tracker_ == nullptr || isOver() || processID != lookup_->processID())
        return;
    if (element == *lookup_->element()) {
        isOver_ = true;
        return;
    }
    // It may be one of several on the way to ours, as a window is.
    isOtherFocused_ = true;
    if (isWaiting_)
        ask();
}

void FocusGrab::ask()
{
    isWaiting_ = false;
    ownState_ = tracker_->bus().call(atspi::getState(*lookup_->element()), atspi::kAnswerLimit,
                                     [this](BusMessage& message) { onState(atspi::readStates(message)); });
}

void FocusGrab::onState(std::optional<quint64> states)
{
    if (isOver())
        return;
    if (!states || (*states & (atspi::kDefunct | atspi::kFocused)) != 0) {
        isOver_ = true;
    } else if (isOtherFocused_ || Clock::now() >= patienceEnd_) {
        take();
    } else {
        isWaiting_ = true;
        const auto other = tracker_->lastFocused(lookup_->processID());
        if (other && *other != *lookup_->element())
            askOther(*other);
    }
}

/// What was told of long ago may have the focus still, in a window that is active already.
void FocusGrab::askOther(const BusObject& other)
{
    othersState_ =
        tracker_->bus().call(atspi::getState(other), atspi::kAnswerLimit, [this](BusMessage& message) {
            const auto states = atspi::readStates(message);
            if (isWaiting_ && !isOver() && states && (*states & atspi::kFocused) != 0)
                take();
        });
}

void FocusGrab::take()
{
    tracker_->bus().tell(atspi::grabFocus(*lookup_->element()));
    isOver_ = true;
}

} // namespace velmo
