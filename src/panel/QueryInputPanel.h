#pragma once

#include "platform/WindowSurfaces.h"

#include <QRegion>
#include <QVariantAnimation>
#include <QWidget>
#include <functional>

namespace velmo {

/// The panel's window. It keeps one size, and the card inside it moves and grows: resizing a window leaves
/// its contents behind for a frame. What the card does not cover is no part of the window. Main thread.
class QueryInputPanel final : public QWidget {
public:
    static constexpr int kWidth = 620;
    static constexpr int kMinimumHeight = 130;
    static constexpr int kMaximumHeight = 720;

    /// cardBottomLeft is where the card's bottom left rests, in the toolkit's global coordinates. The window
    /// system outlives the panel.
    QueryInputPanel(QPoint cardBottomLeft, WindowSurfaces& windows);

    /// Fills the card.
    void setCard(QWidget* card);

    std::function<void()> onEscape;

    /// Fades and moves in; then onShown.
    void enter(std::function<void()> onShown);
    /// Fades out and is then deleted.
    void leaveAndDelete();
    /// The card grows upwards to the height, which is clamped to the limits.
    void animateHeight(int height);

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;

private:
    void freezeCard();
    void layOutCard();

    WindowSurfaces& windows_;
    QWidget* card_ = nullptr;
    double cardHeight_ = kMinimumHeight;
    double entranceOffset_ = 0;
    QPoint dragStart_;
    QVariantAnimation entrance_;
    QVariantAnimation resize_;
    QVariantAnimation exit_;
};

} // namespace velmo
