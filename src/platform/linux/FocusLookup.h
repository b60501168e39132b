#pragma once

#include "platform/linux/FocusFinding.h"
#include "platform/linux/FocusSearch.h"
#include "platform/linux/FocusTracker.h"

#include <QtGlobal>
#include <atomic>
#include <memory>
#include <optional>

namespace velmo {

/// Finds out which element of a process has the focus. What was told before is asked whether it still has it;
/// otherwise the application's elements are searched; an event meanwhile settles it. What was told is
/// believed of an application that does not answer, or that has no active window, as while another program
/// holds the keyboard. Nothing changes any more once it is finished. One thread; nothing waits.
class FocusLookup {
public:
    /// The finding is also readable from other threads.
    FocusLookup(qint32 processID, Clock::TimePoint deadline,
                std::shared_ptr<std::atomic<FocusFinding>> finding);
    FocusLookup(const FocusLookup&) = delete;
    FocusLookup& operator=(const FocusLookup&) = delete;

    /// Starts as soon as the process is known to the tracker, and ends when its time is up.
    void proceed(FocusTracker* tracker);
    void onFocus(const BusObject& element);
    /// The bus is gone, and with it what every name on it meant.
    void onBusLost();

    [[nodiscard]] qint32 processID() const { return processID_; }
    [[nodiscard]] bool isFinished() const { return finding_->load() != FocusFinding::Pending; }
    [[nodiscard]] const std::optional<BusObject>& element() const { return element_; }
    [[nodiscard]] Clock::TimePoint deadline() const { return deadline_; }

private:
    void begin(FocusTracker& tracker);
    void search(BusConnection& bus, const std::vector<BusObject>& roots);
    void onSearched();
    void conclude();
    void finish(FocusFinding finding, std::optional<BusObject> element);

    const qint32 processID_;
    const Clock::TimePoint deadline_;
    const std::shared_ptr<std::atomic<FocusFinding>> finding_;
    std::optional<BusObject> element_;
    std::optional<BusObject> told_; ///< Before the lookup began, and not disproved yet.
    bool hasBegun_ = false;
    BusListener confirmation_;
    std::unique_ptr<FocusSearch> search_;
};

} // namespace velmo
