#pragma once

#include "platform/x11/X11EventTap.h"
#include "support/x11/Await.h"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <vector>

namespace velmo::test {

/// A tap with a handler that swallows the hotkey and remembers what it was told.
class TapRecorder {
public:
    /// Ctrl+Alt+Space unless another interest is given. Returns when the tap has reported.
    EventTap::StartReport start(const TapInterest& interest = {})
    {
        const auto before = reports().size();
        startWithoutWaiting(interest);
        awaitCondition([&] { return reports().size() > before; });
        return reports().empty() ? EventTap::StartReport{} : reports().back();
    }

    void startWithoutWaiting(const TapInterest& interest = {})
    {
        tap_.start(
            interest,
            [this, interest](TapEventType type, const TapEvent& event) {
                const std::lock_guard lock(mutex_);
                events_.push_back({type, event});
                if (type == TapEventType::KeyDown)
                    return event.keyCode == interest.hotkeyKeyCode && event.flags == interest.hotkeyModifiers
                               ? TapVerdict::Swallow
                               : TapVerdict::Pass;
                if (type == TapEventType::OtherMouseUp && replaysClicks)
                    tap_.replayPress(event);
                return verdict.load();
            },
            [this](const EventTap::StartReport& report) {
                const std::lock_guard lock(mutex_);
                reports_.push_back(report);
            });
    }

    [[nodiscard]] X11EventTap& tap() { return tap_; }

    struct Seen {
        TapEventType type;
        TapEvent event;
    };

    [[nodiscard]] std::vector<Seen> events()
    {
        const std::lock_guard lock(mutex_);
        return events_;
    }

    [[nodiscard]] std::vector<EventTap::StartReport> reports()
    {
        const std::lock_guard lock(mutex_);
        return reports_;
    }

    [[nodiscard]] std::vector<TapEvent> eventsOf(TapEventType type)
    {
        std::vector<TapEvent> result;
        for (const Seen& seen : events()) {
            if (seen.type == type)
                result.push_back(seen.event);
        }
        return result;
    }

    [[nodiscard]] std::vector<TapEvent> keyDowns(int keyCode)
    {
        auto result = eventsOf(TapEventType::KeyDown);
        std::erase_if(result, [keyCode](const TapEvent& event) { return event.keyCode != keyCode; });
        return result;
    }

    [[nodiscard]] bool await(TapEventType type, std::size_t count)
    {
        return awaitCondition([&] { return eventsOf(type).size() >= count; });
    }

    [[nodiscard]] bool awaitKeyDowns(int keyCode, std::size_t count)
    {
        return awaitCondition([&] { return keyDowns(keyCode).size() >= count; });
    }

    /// While this is held the tap's thread comes no farther than its next event.
    [[nodiscard]] std::unique_lock<std::mutex> block() { return std::unique_lock(mutex_); }

    /// For mouse events.
    std::atomic<TapVerdict> verdict = TapVerdict::Swallow;
    /// Whether a middle press is given back at its release.
    std::atomic<bool> replaysClicks = false;

private:
    std::mutex mutex_;
    std::vector<Seen> events_;
    std::vector<EventTap::StartReport> reports_;
    X11EventTap tap_; ///< Last: its thread uses the members above.
};

} // namespace velmo::test
