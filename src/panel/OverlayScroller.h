#pragma once

#include <QScrollBar>
#include <QTimer>
#include <QVariantAnimation>
#include <QWidget>
#include <optional>

namespace velmo {

/// A thin handle over the right edge of what scrolls, shown while it scrolls and near the pointer. It shows
/// and moves a scroll bar that is itself not shown. Main thread.
class OverlayScroller final : public QWidget {
public:
    static constexpr int kWidth = 12; ///< Of the part that takes the mouse.

    /// A child of the widget that scrolls.
    OverlayScroller(QScrollBar& bar, QWidget& parent);

    /// Shows it for a moment.
    void flash();

protected:
    void paintEvent(QPaintEvent* event) override;
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    void hideSoon();

    QScrollBar& bar_;
    QTimer rest_;
    QVariantAnimation fade_;
    bool isHovered_ = false;
    std::optional<double> grabbedAt_; ///< Below the handle's top.
};

} // namespace velmo
