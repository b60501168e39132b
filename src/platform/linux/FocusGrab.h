#pragma once

#include "platform/linux/FocusLookup.h"

#include <memory>

namespace velmo {

/// Gives the focus to what a lookup finds, unless it has it. An application whose window has just become
/// active gives the focus back by itself, a moment later, and is left that moment: to ask for what is there
/// anyway does harm, since some fields select all of their text then, which the next key replaces. It is
/// asked at once when another of its elements has the focus.
///
/// The application is asked for a sign of life first: one that is held up would carry the request out
/// whenever it goes on, when the user has long been elsewhere. One thread; nothing waits.
class FocusGrab {
public:
    FocusGrab(std::shared_ptr<const FocusLookup> lookup, Clock::TimePoint deadline);
    FocusGrab(const FocusGrab&) = delete;
    FocusGrab& operator=(const FocusGrab&) = delete;

    /// Goes on as soon as the lookup is finished.
    void proceed(FocusTracker* tracker);
    /// An element has got the focus.
    void onFocus(qint32 processID, const BusObject& element);

    /// Nothing more will happen.
    [[nodiscard]] bool isOver() const { return isOver_ || Clock::now() >= deadline_; }
    /// When to proceed, whatever is told until then.
    [[nodiscard]] Clock::TimePoint nextMoment() const { return isWaiting_ ? patienceEnd_ : deadline_; }

private:
    void ask();
    void onState(std::optional<quint64> states);
    void askOther(const BusObject& other);
    void take();

    const std::shared_ptr<const FocusLookup> lookup_;
    const Clock::TimePoint deadline_;
    const Clock::TimePoint patienceEnd_; ///< How long the application may take to give it back by itself.
    FocusTracker* tracker_ = nullptr;    ///< From the beginning on.
    BusListener ownState_;
    BusListener othersState_;
    bool isWaiting_ = false; ///< For the application.
    bool isOtherFocused_ = false;
    bool isOver_ = false;
};

} // namespace velmo
