#pragma once

#include "panel/CardMetrics.h"
#include "platform/WindowSurfaces.h"

#include <QVariantAnimation>
#include <QWidget>
#include <functional>
#include <memory>
#include <optional>

namespace velmo {

/// The panel's window. It keeps one size, and the card inside it moves and grows: resizing a window leaves
/// its contents behind for a frame. What the card does not cover is no part of the window.
///
/// Main thread; positions are in the toolkit's global coordinates. It belongs to its maker until
/// leaveAndDelete().
class QueryInputPanel final : public QWidget {
public:
    /// cardBottomLeft is where the card's bottom left rests. The window system outlives the panel up to
    /// leaveAndDelete().
    QueryInputPanel(QPoint cardBottomLeft, WindowSurfaces& windows);

    /// Fills the card, which paints its own rounded corners.
    void setCard(QWidget* card);

    std::function<void()> onEscape;
    /// On a turn after the screens have changed, or what bars leave of them.
    std::function<void()> onScreensChanged;

    /// Where the card rests, at its bottom left.
    [[nodiscard]] QPoint cardBottomLeft() const;
    void moveCard(QPoint bottomLeft);

    /// Shows the window in front and begins to fade and move it in; then onShown.
    void enter(std::function<void()> onShown);
    /// Gives the window the keyboard, now and whenever it is lost without the user's doing.
    void takeKeyboard();
    /// Out of sight for a while, and the keyboard back where it was.
    void stepAside();
    /// In front again, without the keyboard.
    void comeBack();
    /// Fades out, gives the keyboard back, and is then deleted. Nothing else is called any more.
    void leaveAndDelete();

    /// The card grows upwards to the height, which is clamped to the limits.
    void animateHeight(int height);
    /// The card as it is at this moment of its animations.
    [[nodiscard]] QRect cardFrame() const;

protected:
    bool event(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    void buildAnimations();
    void watchScreens();
    void freezeCard();
    void order();
    void orderOut();
    void layOutCard();
    [[nodiscard]] QPoint reachable(QPoint position) const;

    WindowSurfaces& windows_;
    std::unique_ptr<KeptFocus> focus_; ///< While the panel is there to type into.
    QWidget* card_ = nullptr;
    double cardHeight_ = CardMetrics::kMinimumHeight;
    double entranceOffset_ = 0;
    bool isLeaving_ = false;         ///< The window system may be gone by now.
    bool isComposited_ = true;       ///< When it was last shown.
    std::optional<QPoint> dragHold_; ///< Where the window is held, from its top left corner.
    // Children with names, so that they can be watched.
    QVariantAnimation entrance_{this};
    QVariantAnimation resize_{this};
    QVariantAnimation exit_{this};
};

} // namespace velmo
