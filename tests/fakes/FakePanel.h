#pragma once

#include "core/SessionCollaborators.h"

#include <QStringList>

namespace velmo {

/// A question panel without a window. What happened to it outlives it, for tests to look at.
class FakePanel final : public QuestionPanel {
public:
    struct State {
        std::optional<Screen> screen; ///< Where it was asked to open.
        bool isVisible = false;
        bool isDestroyed = false;
        QStringList calls;
    };

    explicit FakePanel(std::shared_ptr<State> state)
        : state_(std::move(state))
    {}
    FakePanel(const FakePanel&) = delete;
    FakePanel& operator=(const FakePanel&) = delete;
    ~FakePanel() override { state_->isDestroyed = true; }

    void showWindow() override { become(true, QStringLiteral("show")); }
    void close() override { become(false, QStringLiteral("close")); }
    void hideWindow() override { become(false, QStringLiteral("hide")); }
    void bringToFront() override { become(true, QStringLiteral("front")); }
    void focusInput() override { state_->calls.append(QStringLiteral("focusInput")); }
    [[nodiscard]] bool isWindowVisible() const override { return state_->isVisible; }

private:
    void become(bool visible, const QString& call)
    {
        state_->isVisible = visible;
        state_->calls.append(call);
    }
    std::shared_ptr<State> state_;
};

} // namespace velmo
