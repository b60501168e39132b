#pragma once

#include "platform/linux/FocusLookup.h"

#include <memory>

namespace velmo {

/// Gives the focus to what a lookup finds. The application is asked for a sign of life first: one that is
/// held up would carry the request out whenever it goes on, when the user has long been elsewhere. One
/// thread; nothing waits.
class FocusGrab {
public:
    FocusGrab(std::shared_ptr<const FocusLookup> lookup, Clock::TimePoint deadline);
    FocusGrab(const FocusGrab&) = delete;
    FocusGrab& operator=(const FocusGrab&) = delete;

    /// Goes on as soon as the lookup is finished.
    void proceed(BusConnection* bus);

    /// Nothing more will happen.
    [[nodiscard]] bool isOver() const { return isOver_ || Clock::now() >= deadline_; }
    [[nodiscard]] Clock::TimePoint deadline() const { return deadline_; }

private:
    const std::shared_ptr<const FocusLookup> lookup_;
    const Clock::TimePoint deadline_;
    BusListener signOfLife_;
    bool hasBegun_ = false;
    bool isOver_ = false;
};

} // namespace velmo
