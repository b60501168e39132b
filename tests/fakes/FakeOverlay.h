#pragma once

#include "fakes/FakeCanvas.h"

namespace velmo {

/// An overlay without a window. What happened to it outlives it, for tests to look at.
class FakeOverlay final : public AnnotationOverlay {
public:
    struct State {
        bool showToolbar = false;
        bool isVisible = false;
        bool isToolbarHidden = false;
        bool isDestroyed = false;
        int closes = 0;
        bool hasCanvas = true;
        ScreenRect unionRect;
        FakeCanvas canvas;
    };

    explicit FakeOverlay(std::shared_ptr<State> state)
        : state_(std::move(state))
    {}
    FakeOverlay(const FakeOverlay&) = delete;
    FakeOverlay& operator=(const FakeOverlay&) = delete;
    ~FakeOverlay() override { state_->isDestroyed = true; }

    void showWindow() override { state_->isVisible = true; }
    void close() override
    {
        state_->isVisible = false;
        ++state_->closes;
    }
    void hideToolbar() override { state_->isToolbarHidden = true; }
    [[nodiscard]] ScreenRect unionRect() const override { return state_->unionRect; }
    [[nodiscard]] DrawingCanvas* canvas() override { return state_->hasCanvas ? &state_->canvas : nullptr; }

private:
    std::shared_ptr<State> state_;
};

} // namespace velmo
