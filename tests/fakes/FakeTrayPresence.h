#pragma once

#include "platform/TrayPresence.h"

#include <utility>

namespace velmo {

/// A tray that comes and goes as a test says.
class FakeTrayPresence final : public TrayPresence {
public:
    explicit FakeTrayPresence(State state, Kind kind = Kind::Bus)
        : kind_(kind)
        , state_(state)
    {}

    [[nodiscard]] Kind kind() const override { return kind_; }
    [[nodiscard]] State state() const override { return state_; }
    [[nodiscard]] bool mayCome() const override { return mayYetCome; }
    [[nodiscard]] std::optional<QColor> symbolColor() const override { return color_; }
    void setChangeHandler(std::function<void()> handler) override { handler_ = std::move(handler); }

    void become(State state, std::optional<QColor> color = std::nullopt)
    {
        state_ = state;
        color_ = color;
        if (handler_)
            handler_();
    }
    [[nodiscard]] bool isWatched() const { return handler_ != nullptr; }

    bool mayYetCome = true;

private:
    Kind kind_;
    State state_;
    std::optional<QColor> color_;
    std::function<void()> handler_;
};

} // namespace velmo
