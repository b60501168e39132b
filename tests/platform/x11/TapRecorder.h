#pragma once

#include "platform/x11/X11EventTap.h"
#include "support/x11/Await.h"

#include <algorithm>
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
            [this, interest](const TapEvent& event) {
                const std::lock_guard lock(mutex_);
                events_.push_back(event);
                const bool isHotkey =
                    event.keyCode == interest.hotkeyKeyCode && event.flags == interest.hotkeyModifiers;
                return isHotkey ? TapVerdict::Swallow : TapVerdict::Pass;
            },
            [this](const EventTap::StartReport& report) {
                const std::lock_guard lock(mutex_);
                reports_.push_back(report);
            });
    }

    [[nodiscard]] X11EventTap& tap() { return tap_; }

    [[nodiscard]] std::vector<TapEvent> events()
    {
        const std::lock_guard lock(mutex_);
        return events_;
    }

    [[nodiscard]] std::vector<EventTap::StartReport> reports()
    {
        const std::lock_guard lock(mutex_);
        return reports_;
    }

    [[nodiscard]] std::vector<TapEvent> keyDowns(int keyCode)
    {
        auto result = events();
        std::erase_if(result, [keyCode](const TapEvent& event) {
            return event.type != TapEvent::Type::KeyDown || event.keyCode != keyCode;
        });
        return result;
    }

    [[nodiscard]] bool awaitKeyDowns(int keyCode, std::size_t count)
    {
        return awaitCondition([&] { return keyDowns(keyCode).size() >= count; });
    }

private:
    std::mutex mutex_;
    std::vector<TapEvent> events_;
    std::vector<EventTap::StartReport> reports_;
    X11EventTap tap_; ///< Last: its thread uses the members above.
};

} // namespace velmo::test
