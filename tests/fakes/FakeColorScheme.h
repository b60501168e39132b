#pragma once

#include "platform/ColorScheme.h"

#include <utility>

namespace velmo {

/// A desktop that prefers what a test says.
class FakeColorScheme final : public ColorScheme {
public:
    [[nodiscard]] Preference preference() const override { return preference_; }
    void setChangeHandler(std::function<void()> handler) override { handler_ = std::move(handler); }

    void become(Preference preference)
    {
        preference_ = preference;
        if (handler_)
            handler_();
    }
    [[nodiscard]] bool isWatched() const { return handler_ != nullptr; }

private:
    Preference preference_ = Preference::None;
    std::function<void()> handler_;
};

} // namespace velmo
