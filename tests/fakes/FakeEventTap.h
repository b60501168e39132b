#pragma once

#include "platform/EventTap.h"

#include <optional>

namespace velmo {

/// A tap whose input the test makes. Verdicts and replays are written down.
class FakeEventTap final : public EventTap {
public:
    void start(const TapInterest& wanted, Handler handler, StartHandler onStarted) override
    {
        ++starts;
        interest = wanted;
        handler_ = std::move(handler);
        onStarted_ = std::move(onStarted);
        tell(nextReport);
    }
    void stop() override
    {
        ++stops;
        handler_ = {};
        onStarted_ = {};
        report_ = {};
    }
    void setScreens(const std::vector<Screen>& all) override { screens = all; }
    void replayPress(const TapEvent& press) override { replays.push_back(press); }
    [[nodiscard]] StartReport report() const override { return report_; }

    /// As the tap's thread does when the desktop has answered.
    void tell(const StartReport& report)
    {
        report_ = report;
        if (onStarted_)
            onStarted_(report);
    }

    /// Input from the desktop; it passes where nobody listens.
    TapVerdict input(TapEventType type, const TapEvent& event)
    {
        return handler_ ? handler_(type, event) : TapVerdict::Pass;
    }

    StartReport nextReport{true, {}};
    std::optional<TapInterest> interest;
    std::vector<Screen> screens;
    std::vector<TapEvent> replays;
    int starts = 0;
    int stops = 0;

private:
    Handler handler_;
    StartHandler onStarted_;
    StartReport report_;
};

} // namespace velmo
