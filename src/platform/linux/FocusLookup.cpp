#include "platform/linux/FocusLookup.h"

#include "platform/linux/AtSpiNames.h"

#include <utility>

namespace velmo {

FocusLookup::FocusLookup(qint32 processID, Clock::TimePoint deadline,
                         std::shared_ptr<std::atomic<FocusFinding>> finding)
    : processID_(processID)
    , deadline_(deadline)
    , finding_(std::move(finding))
{}

void FocusLookup::proceed(FocusTracker* tracker)
{
    if (isFinished())
        return;
    if (Clock::now() >= deadline_)
        conclude();
    else if (tracker != nullptr && !hasBegun_)
        begin(*tracker);
}

void FocusLookup::begin(FocusTracker& tracker)
{
    auto roots = tracker.roots(processID_);
    if (roots.empty())
        return;
    hasBegun_ = true;
    told_ = tracker.lastFocused(processID_);
    BusConnection& bus = tracker.bus();
    if (!told_) {
        tracker.announceAgain();
        search(bus, roots);
        return;
    }
    confirmation_ = bus.call(atspi::getState(*told_), atspi::kAnswerLimit,
                             [this, &bus, roots = std::move(roots)](BusMessage& message) {
                                 const auto states = atspi::readStates(message);
                                 if (states && (*states & atspi::kFocused) != 0) {
                                     finish(FocusFinding::Told, told_);
                                     return;
                                 }
                                 if (!states || (*states & atspi::kDefunct) != 0)
                                     told_.reset();
                                 search(bus, roots);
                             });
}

void FocusLookup::search(BusConnection& bus, const std::vector<BusObject>& roots)
{
    search_ = std::make_unique<FocusSearch>(bus, roots, [this] { onSearched(); });
}

void FocusLookup::onSearched()
{
    if (search_->found())
        conclude();
    else if (search_->hasActiveWindow())
        told_.reset();
    // An application may still be busy with becoming active, and will tell.
}

void FocusLookup::conclude()
{
    if (search_ && search_->found())
        finish(FocusFinding::Sought, search_->found());
    else if (told_)
        finish(FocusFinding::Told, told_);
    else
        finish(FocusFinding::Nothing, std::nullopt);
}

void FocusLookup::onFocus(const BusObject& element)
{
    if (!isFinished())
        finish(FocusFinding::Told, element);
}

void FocusLookup::onBusLost()
{
    finish(FocusFinding::Nothing, std::nullopt);
}

void FocusLookup::finish(FocusFinding finding, std::optional<BusObject> element)
{
    element_ = std::move(element);
    confirmation_ = {};
    search_.reset();
    finding_->store(finding);
}

} // namespace velmo
