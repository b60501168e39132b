#pragma once

#include <QScrollBar>
#include <optional>

namespace velmo {

/// A thin handle without a track, as the scroll bar of ordinary windows. Main thread.
class ThinScrollBar final : public QScrollBar {
public:
    /// The inset is between the handle's way and the bar's ends.
    explicit ThinScrollBar(int endInset, QWidget* parent = nullptr);

    [[nodiscard]] QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;

private:
    const int endInset_;
    std::optional<double> grabbedAt_; ///< Below the handle's top.
};

} // namespace velmo
